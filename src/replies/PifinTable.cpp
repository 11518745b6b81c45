#include "replies/PifinTable.h"

#include "replies/DelimitedRows.h"
#include "text/Ascii.h"
#include "text/CalendarDate.h"

namespace vtdl::replies {
namespace {

struct TableFormat {
    static bool IsSeparator(char c) { return c == '\t'; }

    // Year, month and day by their places in "yyyy-mm-dd", whatever stands between them.
    static DateRead ReadDate(const char* first, const char* last) {
        const DateRead none{0, first};
        last =
            std::find_if(first, last, [](char c) { return c == '\t' || c == '\r' || c == '\n'; });
        const auto partAt = [&](std::ptrdiff_t start, std::ptrdiff_t length, int& number) {
            if (last - first <= start) return false;
            const char* from = first + start;
            const char* to = from + std::min(length, last - from);
            return text::ReadSmallNumber(from, to, number) == to;
        };
        text::CalendarDate date{};
        if (!partAt(0, 4, date.year) || !partAt(5, 2, date.month) || !partAt(8, 2, date.day))
            return none;
        const std::optional<double> value = text::ToAutomationDate(date);
        return value ? DateRead{*value, last} : none;
    }
};

}  // namespace

bool IsPifinTable(std::string_view reply) { return reply.starts_with("Date\tOpen"); }

std::size_t PifinColumnCount(std::string_view reply) {
    const std::string_view header = reply.substr(0, reply.find('\n'));
    return static_cast<std::size_t>(std::count(header.begin(), header.end(), '\t')) + 1;
}

// All line ends at the end are cut, not two characters blindly: with a single line feed there, that
// would cut a digit of the last value.
void ParsePifinTable(std::string_view reply, Columns& columns, OddFieldReader& oddFields) {
    const std::string_view rows = BelowHeader(WithoutFinalLineEnds(reply));
    if (!rows.empty()) ParseRows<TableFormat>(rows, columns, oddFields);
}

}  // namespace vtdl::replies
