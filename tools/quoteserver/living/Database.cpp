#include "living/Database.h"

#define SQL_NOUNICODEMAP
#ifdef _WIN32
#include <windows.h>
#endif
#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "Http.h"
#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

constexpr std::size_t cellBytes = 128;  // with a zero; no number and no date is longer
constexpr std::size_t rowsAtOnce = 256;
constexpr std::size_t mostCells = 4'000'000;

template <SQLSMALLINT Type>
struct FreeIt {
    void operator()(SQLHANDLE handle) const { SQLFreeHandle(Type, handle); }
};
template <SQLSMALLINT Type>
using Handle = std::unique_ptr<void, FreeIt<Type>>;

template <SQLSMALLINT Type>
Handle<Type> MakeHandle(SQLHANDLE parent) {
    SQLHANDLE handle = nullptr;
    if (!SQL_SUCCEEDED(SQLAllocHandle(Type, parent, &handle))) {
        throw DatabaseError(State::Down, "the driver manager has no room");
    }
    return Handle<Type>(handle);
}

// Every function of the interface takes texts that it may change, and changes none.
SQLCHAR* Text(const std::string& text) {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str()));
}

// Texts that may have any character pass as UTF-16 on Windows, where bytes are of its code page.
#ifdef _WIN32
constexpr auto driverConnect = SQLDriverConnectW;
constexpr auto prepare = SQLPrepareW;
constexpr auto getDiagRec = SQLGetDiagRecW;
using Letter = SQLWCHAR;

std::wstring Letters(const std::string& text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), 0);
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    return wide;
}

std::string Utf8(const Letter* letters) {
    const std::wstring wide(letters);
    const int size = static_cast<int>(wide.size()), most = 3 * size;
    std::string text(3 * wide.size(), 0);
    text.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, text.data(), most, nullptr, nullptr)));
    return text;
}
#else
constexpr auto driverConnect = SQLDriverConnect;
constexpr auto prepare = SQLPrepare;
constexpr auto getDiagRec = SQLGetDiagRec;
using Letter = SQLCHAR;

std::basic_string<Letter> Letters(const std::string& text) { return {text.begin(), text.end()}; }
std::string Utf8(const Letter* letters) { return reinterpret_cast<const char*>(letters); }
#endif

// Drivers know a lost connection, a server that goes down and a time limit by classes of states;
// what else there is to say is about the statement.
[[noreturn]] void Fail(SQLSMALLINT type, SQLHANDLE handle, State otherwise) {
    std::string what;
    State state = otherwise;
    constexpr SQLSMALLINT longest = 512;
    Letter code[6] = {}, text[longest] = {};
    SQLINTEGER number = 0;
    for (SQLSMALLINT i = 1;
         SQL_SUCCEEDED(getDiagRec(type, handle, i, code, &number, text, longest, nullptr)); ++i) {
        const std::string known = Utf8(code);
        what.append(what.empty() ? "" : "; ").append(Utf8(text));
        if (known.starts_with("28")) {
            state = State::Refused;
        } else if (known.starts_with("08") || known.starts_with("57") || known.starts_with("HYT")) {
            state = State::Down;
        }
    }
    throw DatabaseError(state, what.empty() ? "the driver does not say what failed" : what);
}

// Ends a statement whose time is over: not every driver keeps the limit that it is told.
class TimeLimit {
public:
    TimeLimit(SQLHSTMT statement, std::chrono::seconds timeout)
        : m_thread([this, statement, timeout](const std::stop_token& stop) {
              std::unique_lock lock(m_lock);
              m_wait.wait_for(lock, stop, timeout, [] { return false; });
              if (!stop.stop_requested()) {
                  m_isOver = true;
                  SQLCancel(statement);
              }
          }) {}

    bool IsOver() const { return m_isOver; }

private:
    std::mutex m_lock;
    std::condition_variable_any m_wait;
    std::atomic<bool> m_isOver = false;
    std::jthread m_thread;
};

// Its values stay where they are until the statement has run.
class Parameters {
public:
    Parameters(const std::string& ticker, Date last)
        : m_ticker(ticker), m_tickerLength(static_cast<SQLLEN>(ticker.size())) {
        const std::chrono::year_month_day day(last);
        m_last = {static_cast<SQLSMALLINT>(static_cast<int>(day.year())),
                  static_cast<SQLUSMALLINT>(static_cast<unsigned>(day.month())),
                  static_cast<SQLUSMALLINT>(static_cast<unsigned>(day.day()))};
    }

    bool Bind(SQLHSTMT statement, SQLSMALLINT count) {
        constexpr SQLULEN dateWidth = 10;
        const auto bindDay = [&](SQLUSMALLINT place, SQL_DATE_STRUCT& day) {
            return SQL_SUCCEEDED(SQLBindParameter(statement, place, SQL_PARAM_INPUT,
                                                  SQL_C_TYPE_DATE, SQL_TYPE_DATE, dateWidth, 0,
                                                  &day, sizeof day, nullptr));
        };
        return (count < 1 || SQL_SUCCEEDED(SQLBindParameter(
                                 statement, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR,
                                 std::max<SQLULEN>(m_ticker.size(), 1), 0, Text(m_ticker),
                                 m_tickerLength, &m_tickerLength))) &&
               (count < 2 || bindDay(2, m_first)) && (count < 3 || bindDay(3, m_last));
    }

private:
    const std::string& m_ticker;
    SQLLEN m_tickerLength;
    SQL_DATE_STRUCT m_first{1900, 1, 1}, m_last{};
};

// Many rows at once, as the driver writes them.
struct Column {
    std::array<std::array<char, cellBytes>, rowsAtOnce> texts;
    std::array<SQLLEN, rowsAtOnce> lengths;

    bool IsWhole(std::size_t row) const {
        return lengths[row] == SQL_NULL_DATA ||
               (lengths[row] >= 0 && static_cast<std::size_t>(lengths[row]) < cellBytes);
    }
    std::string_view Cell(std::size_t row) const {
        if (lengths[row] == SQL_NULL_DATA) {
            return {};
        }
        // Texts of a fixed width are filled up.
        std::string_view text(texts[row].data());
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        text.remove_suffix(text.size() - (text.find_last_not_of(' ') + 1));
        return text;
    }
};

// Drivers hand out such moments by the clock of their session, and without its zone.
void RefuseZone(const std::string& column, const std::string& type) {
    if (type.ends_with("tz") || type.find("with time zone") != type.npos ||
        type == "datetimeoffset") {
        throw DatabaseError(State::Nonsense, "the column " + column + " is a " + type +
                                                 ", which has a zone; the statement has to "
                                                 "say at which clock, as \"at time zone\" does");
    }
}

}  // namespace

struct Database::Connection {
    Handle<SQL_HANDLE_ENV> environment = MakeHandle<SQL_HANDLE_ENV>(nullptr);
    Handle<SQL_HANDLE_DBC> handle;

    ~Connection() {
        if (handle) {
            SQLDisconnect(handle.get());
        }
    }
};

Database::Database(std::string connection, std::chrono::seconds timeout)
    : m_text(std::move(connection)), m_timeout(timeout) {}

Database::~Database() = default;

void Database::Open() {
    auto connection = std::make_unique<Connection>();
    SQLSetEnvAttr(connection->environment.get(), SQL_ATTR_ODBC_VERSION,
                  reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    connection->handle = MakeHandle<SQL_HANDLE_DBC>(connection->environment.get());
    SQLHDBC handle = connection->handle.get();
    SQLSetConnectAttr(handle, SQL_ATTR_LOGIN_TIMEOUT,
                      reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(m_timeout.count())), 0);
    if (!SQL_SUCCEEDED(driverConnect(handle, nullptr, Letters(m_text).data(), SQL_NTS, nullptr, 0,
                                     nullptr, SQL_DRIVER_NOPROMPT))) {
        Fail(SQL_HANDLE_DBC, handle, State::Down);
    }
    m_connection = std::move(connection);
}

Table Database::Run(const std::string& statement, const std::string& ticker, Date last) {
    if (m_connection) {
        const auto end = std::chrono::steady_clock::now() + m_timeout;
        try {
            return Fetch(statement, ticker, last);
        } catch (const DatabaseError& error) {
            m_connection.reset();
            if (error.What() == State::Nonsense || std::chrono::steady_clock::now() >= end) {
                throw;
            }
        }
    }
    Open();
    try {
        return Fetch(statement, ticker, last);
    } catch (const DatabaseError&) {
        m_connection.reset();
        throw;
    }
}

Table Database::Fetch(const std::string& statement, const std::string& ticker, Date last) {
    const auto handle = MakeHandle<SQL_HANDLE_STMT>(m_connection->handle.get());
    SQLHSTMT run = handle.get();
    TimeLimit limit(run, m_timeout);
    const auto check = [&](SQLRETURN result) {
        if (limit.IsOver()) {
            throw DatabaseError(State::Down, "the statement was not done in time");
        }
        if (!SQL_SUCCEEDED(result) && result != SQL_NO_DATA) {
            Fail(SQL_HANDLE_STMT, run, State::Refused);
        }
        return result != SQL_NO_DATA;
    };
    const auto set = [&](SQLINTEGER attribute, std::size_t value) {
        return SQLSetStmtAttr(run, attribute, reinterpret_cast<SQLPOINTER>(value), 0);
    };
    SQLULEN rows = 0;
    std::array<SQLUSMALLINT, rowsAtOnce> states{};  // SQL_ROW_SUCCESS, unless the driver says so
    set(SQL_ATTR_QUERY_TIMEOUT, static_cast<std::size_t>(m_timeout.count()));
    check(set(SQL_ATTR_ROW_ARRAY_SIZE, rowsAtOnce));
    check(SQLSetStmtAttr(run, SQL_ATTR_ROWS_FETCHED_PTR, &rows, 0));
    check(SQLSetStmtAttr(run, SQL_ATTR_ROW_STATUS_PTR, states.data(), 0));
    check(prepare(run, Letters(statement).data(), SQL_NTS));
    SQLSMALLINT count = 0;
    check(SQLNumParams(run, &count));
    if (count > 3) {
        throw DatabaseError(State::Nonsense, "the statement has more than three parameters");
    }
    Parameters parameters(ticker, last);
    if (!parameters.Bind(run, count)) {
        Fail(SQL_HANDLE_STMT, run, State::Refused);
    }
    check(SQLExecute(run));
    check(SQLNumResultCols(run, &count));
    if (count == 0) {
        throw DatabaseError(State::Nonsense, "the statement brings no table");
    }
    Table table;
    std::vector<Column> columns(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        SQLCHAR name[cellBytes] = {};
        SQLSMALLINT unused = 0;
        SQLULEN size = 0;
        const auto place = static_cast<SQLUSMALLINT>(i + 1);
        check(SQLDescribeCol(run, place, name, sizeof name, nullptr, &unused, &size, &unused,
                             &unused));
        table.names.emplace_back(reinterpret_cast<const char*>(name));
        SQLCHAR type[cellBytes] = {};
        SQLColAttribute(run, place, SQL_DESC_TYPE_NAME, type, sizeof type, &unused, nullptr);
        RefuseZone(table.names.back(), Lower(reinterpret_cast<const char*>(type)));
        check(SQLBindCol(run, place, SQL_C_CHAR, columns[i].texts.data(), cellBytes,
                         columns[i].lengths.data()));
    }
    constexpr std::size_t usualRows = 8192;  // of a history
    table.cells.reserve(columns.size() * usualRows);
    while (check(SQLFetch(run))) {
        for (std::size_t row = 0; row < rows; ++row) {
            // Its cells are what was there before.
            if (states[row] != SQL_ROW_SUCCESS && states[row] != SQL_ROW_SUCCESS_WITH_INFO) {
                Fail(SQL_HANDLE_STMT, run, State::Down);
            }
            for (std::size_t i = 0; i < columns.size(); ++i) {
                if (!columns[i].IsWhole(row)) {
                    throw Nonsense(
                        "row " + std::to_string(table.cells.size() / columns.size() + 1) +
                        ", column " + table.names[i] + ": the value is longer than 127 bytes");
                }
                table.cells.emplace_back(columns[i].Cell(row));
            }
        }
        if (table.cells.size() > mostCells) {
            throw DatabaseError(State::Nonsense, "the statement brings rows without end");
        }
    }
    return table;
}

}  // namespace quoteserver::living
