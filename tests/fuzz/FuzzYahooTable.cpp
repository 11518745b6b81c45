// Pages of the chart service: prices and dividends.

#include "Tables.h"
#include "replies/DelimitedRows.h"
#include "replies/ServiceDate.h"
#include "replies/YahooTable.h"

namespace {

using namespace vtdl::fuzz;
using namespace vtdl::replies;

// Without comments and empty lines at the end, every line is a row.
void CheckPrices(std::string_view page) {
    Columns columns(yahooPriceColumns);
    Noting noting;
    const std::size_t rows = ParseYahooPage(page, "Date,Open", false, columns, noting);
    Require(rows == columns.Rows(), "the rows are counted");
    if (rows == 0 || page.find("<!") != std::string_view::npos) return;
    CheckRows(BelowHeader(WithoutFinalLineEnds(page)), ",\t", columns, noting);

    Columns cut(yahooPriceColumns);
    Noting ignored;
    ParseYahooPage(page.substr(0, page.size() / 2), "Date,Open", false, cut, ignored);
    CheckSameRows(cut, columns);
}

void CheckDividends(std::string_view page) {
    Columns columns(yahooDividendColumns);
    Noting noting;
    ParseYahooPage(page, "Date,", false, columns, noting);
    Require(LineCount(page) >= columns.Rows(), "a row has a line");
    IsYahooNotFoundPage(page);
    ParseServiceDate(page.substr(0, 12));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view page = Input(data, size).Rest();
    CheckPrices(page);
    CheckPrices("Date,Open\n" + std::string(page));
    CheckDividends(page);
    return 0;
}
