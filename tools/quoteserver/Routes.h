// The one table of what the server serves: a further service is a handler and a line in main.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "Http.h"

namespace quoteserver {

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
