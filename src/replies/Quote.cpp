#include "replies/Quote.h"

#include "text/Ascii.h"
#include "text/CalendarDate.h"

namespace vtdl::replies {
namespace {

bool ReadWhole(std::string_view text, int& number) {
    text = text::Trimmed(text);
    const char* end = text.data() + text.size();
    return !text.empty() && text::ReadSmallNumber(text.data(), end, number) == end;
}

}  // namespace

std::vector<std::string_view> SplitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    for (;;) {
        const std::size_t comma = line.find(',');
        fields.push_back(line.substr(0, comma));
        if (comma == std::string_view::npos) return fields;
        line.remove_prefix(comma + 1);
    }
}

std::vector<std::string_view> SplitQuote(std::string_view reply) {
    std::vector<std::string_view> values = SplitFields(reply);
    for (std::string_view& value : values) value = text::Trimmed(value);
    return values;
}

std::string Unquoted(std::string_view reply) {
    std::string plain(reply);
    std::erase_if(plain, [](char c) { return c == '"' || c == '\r' || c == '\n'; });
    return plain;
}

std::optional<double> ParseQuoteDate(std::string_view text) noexcept {
    const std::size_t first = text.find('/');
    const std::size_t second = first == std::string_view::npos ? first : text.find('/', first + 1);
    if (second == std::string_view::npos) return std::nullopt;
    text::CalendarDate date{};
    if (!ReadWhole(text.substr(0, first), date.month) ||
        !ReadWhole(text.substr(first + 1, second - first - 1), date.day) ||
        !ReadWhole(text.substr(second + 1), date.year))
        return std::nullopt;
    return text::ToAutomationDate(date);
}

std::optional<double> ParseQuoteTime(std::string_view text) noexcept {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return 0;
    const std::string_view second = text.substr(colon + 1);
    if (second.size() < 2) return std::nullopt;
    int hour = 0, minute = 0;
    if (!ReadWhole(text.substr(0, colon), hour) ||
        !ReadWhole(second.substr(0, second.size() - 2), minute))
        return std::nullopt;
    if (text::EqualsIgnoringCase(second.substr(second.size() - 2), "pm")) hour += 12;
    return (hour * 60 + minute) / 1440.0;
}

}  // namespace vtdl::replies
