// What a service is asked and what it answers, free of sockets and of the HTTP library.
#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quoteserver {

// Only letters of ASCII.
std::string Lower(std::string_view text);
std::string Upper(std::string_view text);

// Keys and values, percent-decoded, in the order they came.
class Query {
public:
    explicit Query(std::string_view text = {});

    // The value of a key; empty when it is missing, which no service tells from an empty value.
    // A key given twice counts once, the first time.
    std::string_view value(std::string_view key) const;

    // The same for the first key that ends so: forms put the names of their parts in front.
    std::string_view valueOfKeyEnding(std::string_view keyEnd) const;

private:
    std::vector<std::pair<std::string, std::string>> m_fields;
};

// Its text says which key makes no sense.
class BadQuery : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Target {
    std::string path;
    Query query;
    std::string text = {};  // as it was asked
};

// A request target ("/table.csv?s=AAPL&g=d") taken apart.
Target ParseTarget(std::string_view target);

struct Request {
    std::string method;
    Target target;
    std::string body = {};
    std::string authorization = {};  // the header as it came
    std::string forwardedFor = {};   // whom a proxy asks for
    std::string known = {};          // If-None-Match: the tags of copies that the asker has
};

struct Reply {
    unsigned status = 200;
    std::string contentType;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers = {};  // further ones
};

// Whether a Host header names this machine to itself. A web page can give a name of its own the
// address 127.0.0.1, and would read replies as its own.
bool IsLoopbackName(std::string_view host);

// "Not Found" and the like.
std::string_view Reason(unsigned status);

// A text as HTML shows it, between tags or in an attribute's quotes.
std::string Escaped(std::string_view text);

// A short HTML page. Its third line begins with the status ("404 Not Found"), for that is where
// clients of the classic service look.
Reply ErrorPage(unsigned status, std::string_view explanation);

// The one table of what the server serves: a further service is a function and a line in main.
class Routes {
public:
    using Handler = std::function<Reply(const Request&)>;

    void Add(std::string method, std::string path, Handler handler);

    // Every request has an answer: what has no route is a 404 page, a BadQuery a 400 page, and any
    // other exception of a handler a 500 page that is reported on stderr too. HEAD is answered as
    // GET; the server sends no body.
    Reply Answer(const Request& request) const;

private:
    std::map<std::pair<std::string, std::string>, Handler> m_handlers;
};

}  // namespace quoteserver
