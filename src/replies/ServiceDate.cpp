#include "replies/ServiceDate.h"

#include "text/Ascii.h"
#include "text/CalendarDate.h"

namespace vtdl::replies {
namespace {

// The year's digits get their century as a prefix, whatever their number: 4 is the year 204.
int WithCentury(int year, std::ptrdiff_t digits) {
    int century = year < 50 ? 20 : 19;
    for (; digits > 0; --digits) century *= 10;
    return century + year;
}

}  // namespace

DateRead ReadServiceDate(const char* first, const char* last) noexcept {
    using text::ReadSmallNumber;
    const DateRead none{0, first};
    text::CalendarDate date{};
    int leading = 0;
    const char* p = ReadSmallNumber(first, last, leading);
    if (p == first || p == last || *p != '-') return none;
    ++p;
    if (last - p > 3 && !text::IsDigit(*p)) {
        date.day = leading;
        date.month = text::MonthOf({p, 3});
        p += 3;
        if (*p != '-') return none;
        const char* yearText = ++p;
        p = ReadSmallNumber(p, last, date.year);
        if (p == yearText) return none;
        date.year = WithCentury(date.year, p - yearText);
    } else {
        date.year = leading;
        const char* monthText = p;
        p = ReadSmallNumber(p, last, date.month);
        if (p == monthText || p == last || *p != '-') return none;
        const char* dayText = ++p;
        p = ReadSmallNumber(p, last, date.day);
        if (p == dayText) return none;
    }
    const std::optional<double> value = text::ToAutomationDate(date);
    return value ? DateRead{*value, p} : none;
}

std::optional<double> ParseServiceDate(std::string_view text) noexcept {
    const char* last = text.data() + text.size();
    const DateRead read = ReadServiceDate(text.data(), last);
    if (read.end != last || text.empty()) return std::nullopt;
    return read.value;
}

}  // namespace vtdl::replies
