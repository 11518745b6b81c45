#include "Routes.h"

#include <exception>
#include <iostream>

namespace quoteserver {

void Routes::Add(std::string method, std::string path, Handler handler) {
    m_handlers[{std::move(method), std::move(path)}] = std::move(handler);
}

Reply Routes::Answer(const Request& request) const {
    const std::string& path = request.target.path;
    const auto found = m_handlers.find({request.method == "HEAD" ? "GET" : request.method, path});
    if (found == m_handlers.end()) {
        return ErrorPage(404, "Nothing is served at " + path + " for " + request.method);
    }
    try {
        return found->second(request);
    } catch (const BadQuery& e) {
        return ErrorPage(400, e.what());
    } catch (const std::exception& e) {
        std::cerr << "quoteserver: " << e.what() << '\n';
        return ErrorPage(500, e.what());
    }
}

}  // namespace quoteserver
