#include "Query.h"

#include <algorithm>

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
    return {std::string(target.substr(0, mark)), Query{target.substr(queryStart)}};
}

}  // namespace quoteserver
