#include "Http.h"

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

}  // namespace

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
