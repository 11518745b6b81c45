#include "Http.h"

#include <algorithm>

namespace quoteserver {
namespace {

// Explanations repeat what was asked.
std::string Escaped(std::string_view text) {
    std::string html;
    for (const char c : text) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            default:
                html += c;
        }
    }
    return html;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

}  // namespace

bool IsLoopbackName(std::string_view host) {
    const bool isBracketed = host.starts_with('[');
    const std::string name = Lower(host.substr(
        0, isBracketed ? std::min(host.find(']'), host.size() - 1) + 1 : host.find(':')));
    const bool isAddress =
        name.starts_with("127.") && name.find_first_not_of("0123456789.") == std::string::npos;
    return isAddress || name == "localhost" || name == "localhost." || name == "[::1]";
}

std::string_view Reason(unsigned status) {
    switch (status) {
        case 200:
            return "OK";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 404:
            return "Not Found";
        case 421:
            return "Misdirected Request";
        case 413:
            return "Payload Too Large";
        case 431:
            return "Request Header Fields Too Large";
        default:
            return "Internal Server Error";
    }
}

Reply ErrorPage(unsigned status, std::string_view explanation) {
    const std::string title = std::to_string(status).append(" ").append(Reason(status));
    return {status, "text/html",
            "<!DOCTYPE html>\n<html><head><title>\n" + title + "</title></head>\n<body><h1>" +
                title + "</h1>\n<p>" + Escaped(explanation) + "</p></body></html>\n"};
}

}  // namespace quoteserver
