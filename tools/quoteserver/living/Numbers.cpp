#include "living/Numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace quoteserver::living {

double FromFloat32(double value) {
    std::array<char, 64> text;
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), static_cast<float>(value));
    double number = value;
    std::from_chars(text.data(), end, number);
    return number;
}

double Shortest(double value, double part) {
    for (int digits = 1; digits < 16; ++digits) {
        std::array<char, 64> text;
        const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value,
                                                std::chars_format::scientific, digits);
        double number = 0;
        std::from_chars(text.data(), end, number);
        if (std::abs(number - value) <= std::abs(value) * part) {
            return number;
        }
    }
    return value;
}

std::string DecimalText(double value) {
    std::array<char, 400> text;
    // Most numbers have four decimals at most: fifteen digits that divide to the number are the
    // only text of so few that does.
    constexpr double part = 1e4, most = 1e11;
    const double size = std::abs(value);
    auto digits = size < most ? static_cast<std::uint64_t>(size * part + 0.5) : 0;
    if (!(size < most) || static_cast<double>(digits) / part != size) {
        const auto [end, error] =
            std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
        return {text.data(), end};
    }
    int decimals = 4;
    for (; decimals > 0 && digits % 10 == 0; --decimals) {
        digits /= 10;
    }
    char* const end = text.data() + text.size();
    char* first = end;
    for (int place = 0; digits > 0 || place <= decimals; ++place) {
        if (place == decimals && decimals > 0) {
            *--first = '.';
        }
        *--first = static_cast<char>('0' + digits % 10);
        digits /= 10;
    }
    if (std::signbit(value)) {
        *--first = '-';
    }
    return {first, end};
}

std::vector<std::string> SplitCsvLine(std::string_view line, char separator) {
    std::vector<std::string> cells(1);
    bool isQuoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"' && isQuoted && line.substr(i + 1).starts_with('"')) {
            cells.back() += line[++i];
        } else if (c == '"') {
            isQuoted = !isQuoted;
        } else if (c == separator && !isQuoted) {
            cells.emplace_back();
        } else {
            cells.back() += c;
        }
    }
    return cells;
}

std::string PrintableText(std::string_view text) {
    constexpr std::size_t longest = 200;
    std::string printable(text.substr(0, longest));
    for (char& c : printable) {
        c = c >= ' ' && c <= '~' ? c : '?';
    }
    return printable;
}

}  // namespace quoteserver::living
