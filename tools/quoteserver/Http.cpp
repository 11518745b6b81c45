#include "Http.h"

#include <algorithm>
#include <exception>
#include <iostream>

namespace quoteserver {
namespace {

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// A percent sign that begins no escape stands for itself: hand-written requests have them.
std::string Decode(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = HexDigit(text[i + 1]);
            const int low = HexDigit(text[i + 2]);
            if (high >= 0 && low >= 0) {
                decoded += static_cast<char>(high * 16 + low);
                i += 2;
                continue;
            }
        }
        decoded += text[i] == '+' ? ' ' : text[i];
    }
    return decoded;
}

}  // namespace

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

std::string Upper(std::string_view text) {
    std::string upper(text);
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return upper;
}

Query::Query(std::string_view text) {
    while (!text.empty()) {
        const std::string_view field = text.substr(0, text.find('&'));
        text.remove_prefix(std::min(field.size() + 1, text.size()));
        if (field.empty()) {
            continue;
        }
        const std::size_t equals = std::min(field.find('='), field.size());
        const std::size_t valueStart = std::min(equals + 1, field.size());
        m_fields.emplace_back(Decode(field.substr(0, equals)), Decode(field.substr(valueStart)));
    }
}

std::string_view Query::value(std::string_view key) const {
    const auto found =
        std::ranges::find(m_fields, key, &std::pair<std::string, std::string>::first);
    return found == m_fields.end() ? std::string_view{} : found->second;
}

std::string_view Query::valueOfKeyEnding(std::string_view keyEnd) const {
    const auto found = std::ranges::find_if(
        m_fields, [&](const auto& field) { return field.first.ends_with(keyEnd); });
    return found == m_fields.end() ? std::string_view{} : found->second;
}

Target ParseTarget(std::string_view target) {
    target = target.substr(0, target.find('#'));
    const std::size_t mark = std::min(target.find('?'), target.size());
    const std::size_t queryStart = std::min(mark + 1, target.size());
    return {std::string(target.substr(0, mark)), Query{target.substr(queryStart)},
            std::string(target)};
}

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
        case 503:
            return "Service Unavailable";
        default:
            return "Internal Server Error";
    }
}

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
            case '"':
                html += "&quot;";
                break;
            default:
                html += c;
        }
    }
    return html;
}

Reply ErrorPage(unsigned status, std::string_view explanation) {
    const std::string title = std::to_string(status).append(" ").append(Reason(status));
    return {status, "text/html",
            "<!DOCTYPE html>\n<html><head><title>\n" + title + "</title></head>\n<body><h1>" +
                title + "</h1>\n<p>" + Escaped(explanation) + "</p></body></html>\n"};
}

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
