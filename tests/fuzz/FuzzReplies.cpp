// The services' replies: tables, option chains, quotes, and the probes of the chart service.

#include <algorithm>
#include <optional>
#include <regex>
#include <vector>

#include "Fuzz.h"
#include "replies/CboeTable.h"
#include "replies/DelimitedRows.h"
#include "replies/HistoryTables.h"
#include "replies/OwnTables.h"
#include "replies/Quote.h"
#include "replies/YahooProbe.h"
#include "text/Decimal.h"

namespace {

using namespace vtdl::fuzz;
using namespace vtdl::replies;

/// Notes the fields that a parser could not read, and gives them a number that stands out.
class Noting final : public OddFieldReader {
public:
    static constexpr double odd = -12345.678;

    double Read(const OddField& field) override {
        fields.push_back(field);
        return odd;
    }

    std::vector<OddField> fields;
};

/// Takes the next field off a line, if there is one; the last one leaves none.
std::optional<std::string_view> TakeField(std::optional<std::string_view>& line,
                                          std::string_view separators) {
    if (!line) return std::nullopt;
    const std::size_t end = line->find_first_of(separators);
    const std::string_view field = line->substr(0, end);
    line = end == std::string_view::npos ? std::nullopt : std::optional(line->substr(end + 1));
    return field;
}

/// Every number of the columns is what the C library reads in its place in the lines, or was given
/// to the reader just as it stands there.
void CheckRows(std::string_view rows, std::string_view separators, const Columns& columns,
               const Noting& noting) {
    auto odd = noting.fields.begin();
    for (std::size_t row = 0; row < columns.Rows(); ++row) {
        const std::size_t end = rows.find('\n');
        std::optional line = rows.substr(0, end);
        if (line->ends_with('\r')) line->remove_suffix(1);
        rows.remove_prefix(end == std::string_view::npos ? rows.size() : end + 1);
        for (std::size_t column = 0; column < columns.Specs().size(); ++column) {
            const auto text = TakeField(line, separators);
            const double value = columns[column][row];
            if (odd != noting.fields.end() && odd->row == row + 1 && odd->column == column) {
                Require(odd->isMissing == !text, "missing fields are told from odd ones");
                Require(!text || odd->text == *text, "an odd field is given as it stands");
                Require(value == Noting::odd, "the reader's number counts");
                ++odd;
            } else if (column > 0) {
                Require(text && value == std::strtod(std::string(*text).c_str(), nullptr),
                        "a number is the field's");
            }
        }
    }
    Require(odd == noting.fields.end(), "odd fields come in order");
}

/// The rows of a text that ends early are those of the whole, but for some at its end.
void CheckSameRows(const Columns& part, const Columns& whole, std::size_t last = 1) {
    for (std::size_t row = 0; row + last < part.Rows() && row < whole.Rows(); ++row)
        for (std::size_t column = 0; column < whole.Specs().size(); ++column)
            Require(whole.Specs()[column].type == ColumnType::string ||
                        part[column][row] == whole[column][row],
                    "rows before a cut are the same");
}

template <class Parser>
void CheckTable(Parser parser, std::span<const ColumnSpec> specs, std::string_view separators,
                std::string_view reply) {
    Columns columns(specs), cut(specs);
    Noting noting, ignored;
    parser(reply, columns, noting);
    parser(reply.substr(0, reply.size() / 2), cut, ignored);
    CheckSameRows(cut, columns);
    if (columns.Rows() == 0) return;
    std::string_view rows = BelowHeader(WithoutFinalLineEnds(reply));
    CheckRows(rows, separators, columns, noting);
    // Whatever stands in the rows before it, a row has the date that it has alone.
    const std::size_t row = reply.size() % columns.Rows();
    for (std::size_t before = row; before > 0; --before) rows.remove_prefix(rows.find('\n') + 1);
    Columns alone(specs);
    const std::string line(rows.substr(0, rows.find('\n')));
    parser("Date,Open\n" + line + "\n-", alone, ignored);  // the last one's end is no row's
    Require(alone.Rows() == 0 || alone[0][0] == columns[0][row], "a date is its row's");
}

// Without comments, every line of a page is a row.
void CheckPage(std::string_view page) {
    if (page.find("<!") == std::string_view::npos)
        CheckTable(
            [](std::string_view text, Columns& columns, OddFieldReader& reader) {
                const std::size_t rows = ParseYahooPage(text, "Date,Open", false, columns, reader);
                Require(rows == columns.Rows(), "the rows are counted");
            },
            yahooPriceColumns, ",\t", page);
    Columns dividends(yahooDividendColumns);
    Noting ignored;
    ParseYahooPage(page, "Date,", false, dividends, ignored);
    Require(LineCount(page) >= dividends.Rows(), "a row has a line");
    IsYahooNotFoundPage(page);
}

// The family that a probe names is the one of the documented expression.
void CheckProbe(std::string_view reply) {
    static const std::regex expression(
        R"(^<!--[ \f\n\r\t\v]+([a-z]+)(\d+)\.([A-Za-z0-9_.]+)[ \f\n\r\t\v]+[^\n]+-->$)",
        std::regex::ECMAScript | std::regex::multiline);
    const auto family = FindServerFamily(reply);
    Require(YahooReplyValidityIndex(reply) >= -1, "a score is a count");
    if (reply.size() > 200) return;  // its time grows with the square
    std::match_results<std::string_view::const_iterator> match;
    std::optional<ServerFamily> expected;
    if (std::regex_search(reply.begin(), reply.end(), match, expression))
        expected = {match[1], match[3]};
    Require(family == expected, "the family is that of the expression");
}

bool IsInside(std::string_view piece, std::string_view whole) {
    return piece.empty() || (piece.data() >= whole.data() &&
                             piece.data() + piece.size() <= whole.data() + whole.size());
}

void CheckChain(std::string_view reply) {
    Noting noting, ignored;
    const CboeTable table = ParseCboeTable(reply, noting);
    Require(table.calls.Rows() == table.puts.Rows(), "calls and puts are equally many");
    Require(!table.quote.first.empty() && !table.quote.second.empty(), "a line has a field");
    for (const Columns* side : {&table.calls, &table.puts})
        for (const std::string_view symbol : side->Texts(0))
            Require(IsInside(symbol, reply), "a symbol is a piece of the reply");
    for (const OddField& field : noting.fields) {
        Require(IsInside(field.text, reply), "an odd field is a piece of the reply");
        Require(field.row > 3 && field.row <= table.calls.Rows() + 3, "its line is told");
        Require(field.column > 0 && field.column < 9, "its column is told");
    }
    Require(IsInside(CboeSymbol(reply), reply), "a symbol is a piece of its description");
    ParseCboeDate(reply);
    ParseCboeExpiry(reply);
    const std::size_t end = reply.rfind("\r\n", reply.size() / 2);
    if (end == std::string_view::npos) return;
    const CboeTable cut = ParseCboeTable(reply.substr(0, end + 2), ignored);
    CheckSameRows(cut.calls, table.calls, 0);
    CheckSameRows(cut.puts, table.puts, 0);
}

void CheckQuote(std::string_view reply) {
    const std::string plain = Unquoted(reply);
    Require(plain.find('"') == std::string::npos, "quotes are gone");
    const auto values = SplitQuote(plain);
    Require(values.size() == 1u + static_cast<std::size_t>(std::ranges::count(plain, ',')),
            "a comma separates values");
    for (const std::string_view value : values) {
        const auto read = vtdl::text::ReadDecimal(value.data(), value.data() + value.size());
        const std::string number(value.data(), read.end);
        Require(number.empty() || read.value == std::strtod(number.c_str(), nullptr),
                "a number is the C library's");
        const auto time = ParseQuoteTime(value);
        Require(!time || *time >= 0, "no time is before midnight");
        ParseQuoteDate(value);
        ParseServiceDate(value);
    }
}

// A reply is whole or has a fault; no part of a whole one passes for it.
void CheckOwn(std::string_view reply) {
    const OwnReply tables(reply, inoOptionsForm);
    if (!tables.Fault().empty()) return;
    Noting noting;
    for (std::size_t i = 0; i < inoOptionsForm.blocks.size(); ++i) {
        const Columns columns = tables.Read(i, noting);
        for (const std::string_view text : columns.Texts(0))
            Require(IsInside(text, reply), "a text is a piece of the reply");
    }
    for (const OddField& field : noting.fields)
        Require(IsInside(field.text, reply), "an odd field is a piece of the reply");
    for (std::size_t length = 0; length < reply.size(); length += 1 + reply.size() / 64)
        Require(!OwnReply(reply.substr(0, length), inoOptionsForm).Fault().empty(),
                "a part has a fault");
}

const std::pair<const char*, void (*)(std::string_view)> checks[] = {
    {"page", CheckPage},
    {"page-below-header",
     [](std::string_view reply) { CheckPage("Date,Open\n" + std::string(reply)); }},
    {"probe", CheckProbe},
    {"probe-comment", [](std::string_view reply) { CheckProbe("<!-- a1.b" + std::string(reply)); }},
    {"google",
     [](std::string_view reply) {
         CheckTable(ParseGoogleTable, googleColumns, ",\t", reply);
         IsGoogleTable(reply);
     }},
    {"pifin",
     [](std::string_view reply) {
         CheckTable(ParsePifinTable, pifinColumns, "\t", reply);
         IsPifinTable(reply);
     }},
    {"chain", CheckChain},
    {"own", CheckOwn},
    {"quote", CheckQuote}};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view reply(reinterpret_cast<const char*>(data), size);
    for (const auto& [name, check] : checks)
        if (IsWanted(name)) check(reply);
    return 0;
}
