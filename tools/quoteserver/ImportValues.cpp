#include "ImportValues.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "Rows.h"
#include "living/Json.h"
#include "replies/HistoryTables.h"
#include "text/CalendarDate.h"

namespace quoteserver {

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::string Quoted(std::string_view text) {
    return std::string(1, '"').append(living::MessageText(text)).append(1, '"');
}

// A bar of some hour or minute is not the day's.
void RefuseTimeOfDay(std::string_view text) {
    const std::string_view clock = text.substr(0, text.find_first_of("+-ZU"));  // before a zone
    if (clock.find_first_not_of("0:. ") != clock.npos && clock != "12:00 AM" &&
        clock != "12:00:00 AM") {
        throw NotTaken("the time " + Quoted(text) + " is not that of a day");
    }
}

DateParts ParseDateParts(std::string_view text) {
    if (const auto english = ParseEnglishDate(text)) {
        const std::chrono::year_month_day day{*english};
        return {{static_cast<int>(day.year()), static_cast<int>(static_cast<unsigned>(day.month())),
                 static_cast<int>(static_cast<unsigned>(day.day()))}};
    }
    if (const auto named = vtdl::replies::ParseServiceDate(text)) {
        const vtdl::text::CalendarDate day = vtdl::text::ToCalendarDate(*named);
        return {{day.year, day.month, day.day}};
    }
    const std::string_view whole = text;
    text = text.substr(0, text.find_first_of(" T"));
    DateParts parts;
    const char* p = text.data();
    const char* const end = p + text.size();
    const auto take = [&](int& number, std::ptrdiff_t most) {
        const auto [stop, error] = std::from_chars(p, std::min(end, p + most), number);
        const bool isThere = error == std::errc{} && number >= 0 && *p != '-';
        p = stop;
        return isThere;
    };
    bool isDate = p != end;
    if (text.size() == 8 &&
        std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; })) {
        isDate =
            take(parts.numbers[0], 4) && take(parts.numbers[1], 2) && take(parts.numbers[2], 2);
    } else {
        for (std::size_t i = 0; isDate && i < 3; ++i) {
            isDate = take(parts.numbers[i], 4) && (i == 2 ? p == end : p != end);
            if (isDate && i < 2) {
                const char separator = *p++;
                isDate = (separator == '-' || separator == '/' || separator == '.') &&
                         (i == 0 || separator == parts.separator) && p != end;
                parts.separator = separator;
            }
        }
    }
    if (!isDate) {
        throw NotTaken(Quoted(whole) + " is not a date");
    }
    if (parts.separator != 0 && parts.numbers[0] < 100 && parts.numbers[2] < 100) {
        throw NotTaken(Quoted(whole) + " has a year of two digits");
    }
    RefuseTimeOfDay(Trimmed(whole.substr(std::min(text.size() + 1, whole.size()))));
    return parts;
}

// Without signs that group digits by three: where there are several, or another sign ends the
// whole number; one alone does so in a whole number where the other is the decimal one.
std::string Numbers::Ungrouped(std::string_view text, bool isWhole) const {
    const std::size_t first = text.find_first_of(",.");
    const char sign = first == text.npos ? 0 : text[first];
    const std::size_t end = sign == ',' ? text.find('.') : text.find(',');
    const std::string_view whole = text.substr(0, end);
    std::string number;
    std::size_t digits = 0, groups = 0;
    for (const char c : whole) {
        const bool isSign = c == sign;
        if (isSign && (groups == 0 ? digits == 0 || digits > 3 : digits != 3)) {
            return std::string(text);
        }
        groups += isSign ? 1 : 0;
        digits = isSign ? 0 : digits + (c >= '0' && c <= '9' ? 1 : 0);
        number.append(isSign ? 0 : 1, c);
    }
    const bool isOther = m_decimal != 0 && m_decimal != sign && (m_isGiven || m_isTold);
    const bool isGrouped =
        groups > 0 && digits == 3 && (end != text.npos || groups > 1 || (isWhole && isOther));
    return isGrouped ? number.append(text.substr(whole.size())) : std::string(text);
}

std::string Numbers::Price(std::string_view text) {
    text.remove_prefix(text.starts_with('$') ? 1 : 0);
    std::string number = Ungrouped(text, false);
    const std::size_t sign = number.find(',');
    const char decimal = sign == number.npos ? '.' : ',';
    std::ranges::replace(number, ',', '.');
    if (!IsPlainDecimal(number)) {
        throw NotTaken(Quoted(text) + " is not a number");
    }
    const std::size_t place = number.find('.');
    if (place == number.npos) {
        return number;
    }
    if (m_decimal != 0 && m_decimal != decimal) {
        throw NotTaken(Quoted(text) + " has a " + (decimal == ',' ? "comma" : "point") +
                       (m_isGiven ? "" : " where others have the other"));
    }
    m_decimal = decimal;
    const std::string_view digits = std::string_view(number).substr(number.starts_with('-'));
    const bool mayGroup = number.size() - place == 4 && digits.find('.') <= 3 && digits[0] != '0';
    m_isTold = m_isTold || !mayGroup || number.size() < text.size();
    m_example = text;
    return number;
}

std::string Numbers::Volume(std::string_view text) {
    static constexpr std::pair<char, double> units[] = {{'K', 1e3}, {'M', 1e6}, {'B', 1e9}};
    const auto* unit = std::ranges::find(units, text.back(), &std::pair<char, double>::first);
    if (unit != std::end(units)) {
        char number[64];
        text.remove_suffix(1);
        std::snprintf(number, sizeof number, "%.0f", std::stod(Price(text)) * unit->second);
        return Price(number);  // which may have become too long
    }
    const std::string whole = Ungrouped(text, true);
    text = whole;
    const std::string_view fraction = text.substr(std::min(text.find_first_of(",."), text.size()));
    if (fraction.size() == 4 || fraction.find_first_of("123456789") != fraction.npos) {
        throw NotTaken(Quoted(text) + " is not a whole number");
    }
    const std::string number = Price(text);
    return number.substr(0, number.find('.'));
}

double Value(const std::string& number) { return std::strtod(number.c_str(), nullptr); }

bool HasSameNumbers(std::string_view left, std::string_view right) {
    while (!left.empty() && !right.empty()) {
        if (Value(std::string(TakeField(left, ','))) != Value(std::string(TakeField(right, ',')))) {
            return false;
        }
    }
    return left.empty() && right.empty();
}

}  // namespace quoteserver
