// What a service is asked and what it answers, free of sockets and of the HTTP library.
#pragma once

#include <string>
#include <string_view>

#include "Query.h"

namespace quoteserver {

struct Request {
    std::string method;
    Target target;
};

struct Reply {
    unsigned status = 200;
    std::string contentType;
    std::string body;
};

// A short HTML page. Its third line begins with the status ("404 Not Found"), for that is where
// clients of the classic service look.
Reply ErrorPage(unsigned status, std::string_view explanation);

}  // namespace quoteserver
