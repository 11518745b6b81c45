// A user's database, over the system's driver manager: unixODBC, or that of Windows.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "living/FeedsFile.h"

namespace quoteserver::living {

// The driver's own words, in which there may be secrets.
class DatabaseError : public std::runtime_error {
public:
    DatabaseError(State state, const std::string& what)
        : std::runtime_error(what), m_state(state) {}

    State What() const { return m_state; }

private:
    State m_state;
};

// Connects when it is first asked, and keeps the connection. Not for several threads at once.
class Database {
public:
    Database(std::string connection, std::chrono::seconds timeout);
    ~Database();

    // The parameters are the ticker, the first of all days and the last, as many as the statement
    // has. A kept connection that fails is opened again, once. Throws DatabaseError.
    Table Run(const std::string& statement, const std::string& ticker, Date last);

private:
    struct Connection;

    void Open();
    Table Fetch(const std::string& statement, const std::string& ticker, Date last);

    const std::string m_text;  // for the driver
    const std::chrono::seconds m_timeout;
    std::unique_ptr<Connection> m_connection;
};

}  // namespace quoteserver::living
