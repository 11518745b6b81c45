#include "replies/YahooTable.h"

#include <algorithm>

#include "replies/DelimitedRows.h"
#include "replies/ServiceDate.h"
#include "text/Ascii.h"

namespace vtdl::replies {
namespace {

enum PriceColumn : std::size_t { date, open, high, low, close, volume, adjustedClose };

struct PageFormat {
    static bool IsSeparator(char c) { return c == ',' || c == '\t'; }
    static DateRead ReadDate(const char* first, const char* last) {
        return ReadServiceDate(first, last);
    }
};

// Cuts what may follow the rows: the final line feed, empty lines, and the service's comment lines
// (one a proxy), also one that is glued to the last row.
std::string_view WithoutTail(std::string_view page) {
    for (;;) {
        page = WithoutFinalLineEnds(page);
        const std::size_t lineStart = page.rfind('\n') + 1;  // npos + 1 is 0
        const std::size_t comment = page.find("<!", lineStart);
        if (comment == std::string_view::npos) return page;
        page = page.substr(0, comment);
    }
}

// A zero close makes the ratio 0 and so zeroes the row's prices and volume; on purpose.
void AdjustRow(Columns& columns, std::size_t row) {
    const double closing = columns[close][row];
    const double ratio = closing == 0 ? 0 : columns[adjustedClose][row] / closing;
    for (const std::size_t column : {open, high, low, close}) columns[column][row] *= ratio;
    columns[volume][row] = ratio != 0 ? columns[volume][row] / ratio : 0;
}

}  // namespace

std::size_t ParseYahooPage(std::string_view page, std::string_view header, bool adjust,
                           Columns& columns, OddFieldReader& oddFields) {
    page = WithoutTail(page);
    if (!page.starts_with(header) || page.find('\n') == std::string_view::npos) return 0;
    const std::size_t offset = columns.Rows();
    const std::size_t count = ParseRows<PageFormat>(BelowHeader(page), columns, oddFields);
    for (std::size_t row = offset; adjust && row < offset + count; ++row) AdjustRow(columns, row);
    return count;
}

std::size_t LineCount(std::string_view page) {
    if (page.ends_with('\n')) page.remove_suffix(1);
    return static_cast<std::size_t>(std::count(page.begin(), page.end(), '\n')) + 1;
}

bool IsYahooNotFoundPage(std::string_view page) {
    constexpr std::string_view expected = "404 not found";
    for (int line = 0; line < 2; ++line) {
        const std::size_t end = page.find('\n');
        if (end == std::string_view::npos) return false;
        page.remove_prefix(end + 1);
    }
    return text::EqualsIgnoringCase(page.substr(0, expected.size()), expected);
}

}  // namespace vtdl::replies
