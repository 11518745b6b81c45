// Pages of the chart service: prices, dividends, and the probes of its servers.

#include <regex>

#include "Tables.h"
#include "replies/DelimitedRows.h"
#include "replies/ServiceDate.h"
#include "replies/YahooProbe.h"
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

// The family that a probe names is the one of the documented expression.
void CheckProbe(std::string_view reply) {
    static const std::regex expression(
        R"(^<!--[ \f\n\r\t\v]+([a-z]+)(\d+)\.([A-Za-z0-9_.]+)[ \f\n\r\t\v]+[^\n]+-->$)",
        std::regex::ECMAScript | std::regex::multiline);
    const auto family = FindServerFamily(reply);
    Require(YahooReplyValidityIndex(reply) >= -1, "a score is a count");
    if (reply.size() > 500) return;  // its time grows with the square
    std::match_results<std::string_view::const_iterator> match;
    std::optional<ServerFamily> expected;
    if (std::regex_search(reply.begin(), reply.end(), match, expression))
        expected = {match[1], match[3]};
    Require(family == expected, "the family is that of the expression");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view page = Input(data, size).Rest();
    CheckPrices(page);
    CheckPrices("Date,Open\n" + std::string(page));
    CheckDividends(page);
    CheckProbe(page);
    CheckProbe("<!-- a1.b" + std::string(page));
    return 0;
}
