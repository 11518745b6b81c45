// What a service is asked and what it answers, free of sockets and of the HTTP library.
#pragma once

#include <string>
#include <string_view>

#include "Query.h"

namespace quoteserver {

struct Request {
    std::string method;
    Target target;
    std::string body = {};
    std::string authorization = {};  // the header as it came
};

struct Reply {
    unsigned status = 200;
    std::string contentType;
    std::string body;
    std::string challenge = {};  // the WWW-Authenticate header of a 401 reply
};

// Whether a Host header names this machine to itself. A web page can give a name of its own the
// address 127.0.0.1, and would read replies as its own.
bool IsLoopbackName(std::string_view host);

// "Not Found" and the like.
std::string_view Reason(unsigned status);

// A short HTML page. Its third line begins with the status ("404 Not Found"), for that is where
// clients of the classic service look.
Reply ErrorPage(unsigned status, std::string_view explanation);

}  // namespace quoteserver
