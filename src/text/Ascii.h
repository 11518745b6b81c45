#pragma once
// Single characters and small numbers of the services' replies, which are ASCII where they matter.

#include <algorithm>
#include <string_view>

namespace vtdl::text {

constexpr bool IsDigit(char c) { return static_cast<unsigned char>(c - '0') < 10; }

constexpr char LowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

inline bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return LowerCase(x) == LowerCase(y); });
}

/// Where a text occurs in another one, letters in any case; npos when it does not.
inline std::size_t FindIgnoringCase(std::string_view text, std::string_view what) {
    const auto found = std::search(text.begin(), text.end(), what.begin(), what.end(),
                                   [](char x, char y) { return LowerCase(x) == LowerCase(y); });
    return found == text.end() && !what.empty() ? std::string_view::npos
                                                : static_cast<std::size_t>(found - text.begin());
}

/// Reads an unsigned number of at most six digits, which is more than any part of a date or time
/// has. Returns the first character after it: the start when there is none.
inline const char* ReadSmallNumber(const char* first, const char* last, int& number) {
    const char* limit = last - first > 6 ? first + 6 : last;
    number = 0;
    for (; first != limit && IsDigit(*first); ++first) number = number * 10 + (*first - '0');
    return first;
}

/// The three letters of an English month name, of 1 to 12.
inline std::string_view MonthName(int month) {
    constexpr std::string_view names = "JanFebMarAprMayJunJulAugSepOctNovDec";
    return names.substr(static_cast<std::size_t>(month - 1) * 3, 3);
}

/// 1 to 12 from the three letters of an English month name, "Jan" to "Dec" exactly; else 0.
inline int MonthOf(std::string_view name) {
    for (int month = 1; month <= 12; ++month)
        if (MonthName(month) == name) return month;
    return 0;
}

/// How often a character occurs: counted in single bytes, sixteen at a time, which std::count is
/// not.
inline std::size_t CountOf(std::string_view text, char c) {
    std::size_t count = 0;
    while (!text.empty()) {
        const std::string_view block = text.substr(0, 240);
        unsigned char few = 0;
        for (const char each : block) few = static_cast<unsigned char>(few + (each == c));
        count += few;
        text.remove_prefix(block.size());
    }
    return count;
}

/// Without the blanks, tabs and line ends around it.
inline std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// An item as DDE servers send it: up to its first zero, without its last line end.
inline std::string_view ItemText(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    if (bytes.ends_with('\n')) bytes.remove_suffix(1);
    if (bytes.ends_with('\r')) bytes.remove_suffix(1);
    return bytes;
}

/// Line ends, tabs, zeros: what must not get into a request.
inline bool HasControlCharacter(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; });
}

}  // namespace vtdl::text
