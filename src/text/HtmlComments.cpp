#include "text/HtmlComments.h"

#include <algorithm>

namespace vtdl::text {

std::string RemoveHtmlComments(std::string_view html) {
    constexpr std::size_t restart = 2;
    std::string result;
    std::size_t position = 0;
    bool restarted = false;
    for (;;) {
        const std::size_t start = html.find("<!--", position);
        if (start == std::string_view::npos) break;
        const std::size_t end = html.find("-->", start + 4);
        if (end == std::string_view::npos && restarted) break;
        result += html.substr(position, start - position);
        restarted = restarted || end == std::string_view::npos;
        position = end == std::string_view::npos ? std::min(restart, html.size()) : end + 3;
    }
    return result += html.substr(position);
}

}  // namespace vtdl::text
