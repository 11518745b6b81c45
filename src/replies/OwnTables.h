#pragma once
// The form in which the bundled quote server answers the sources whose services' forms nobody
// knows: blocks of named columns between a first line that says what follows, and a last one that
// counts the lines. docs/own-formats.md describes it.

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "replies/Columns.h"

namespace vtdl::replies {

struct OwnBlock {
    std::wstring_view name;
    std::span<const ColumnSpec> columns;
    /// One row of values, of which any may be missing. In other blocks a missing number is 0.
    bool isQuote = false;
};

/// What a source's reply has, in this order.
struct OwnForm {
    std::string_view source;
    std::span<const OwnBlock> blocks;
};

namespace own {

inline constexpr ColumnSpec quoteColumns[] = {
    {L"TICKER", ColumnType::string},         {L"LAST TRADE", ColumnType::decimal},
    {L"TRADE DATE", ColumnType::date},       {L"TRADE TIME", ColumnType::date},
    {L"CHANGE", ColumnType::decimal},        {L"CHANGE%", ColumnType::decimal},
    {L"OPEN", ColumnType::decimal},          {L"HIGH", ColumnType::decimal},
    {L"LOW", ColumnType::decimal},           {L"VOLUME", ColumnType::decimal},
    {L"BID", ColumnType::decimal},           {L"ASK", ColumnType::decimal},
    {L"P/E", ColumnType::decimal},           {L"1YR TARGET PRICE", ColumnType::decimal},
    {L"52WK RANGE", ColumnType::string},     {L"MARKET CAP", ColumnType::string},
    {L"DAY'S RANGE", ColumnType::string},    {L"EPS", ColumnType::decimal},
    {L"PREV CLOSE", ColumnType::decimal},    {L"NAME", ColumnType::string},
    {L"STOCK EXCHANGE", ColumnType::string},
};
inline constexpr ColumnSpec futureColumns[] = {
    {L"TICKER", ColumnType::string},      {L"NAME", ColumnType::string},
    {L"LAST", ColumnType::decimal},       {L"NET", ColumnType::decimal},
    {L"DATE", ColumnType::date},          {L"OPEN", ColumnType::decimal},
    {L"HIGH", ColumnType::decimal},       {L"LOW", ColumnType::decimal},
    {L"VOLUME", ColumnType::decimal},     {L"OPENINT", ColumnType::decimal},
    {L"PREV CLOSE", ColumnType::decimal},
};
inline constexpr ColumnSpec underlyingColumns[] = {
    {L"TICKER", ColumnType::string}, {L"PRICE", ColumnType::decimal},
    {L"NET", ColumnType::decimal},   {L"DATE", ColumnType::date},
    {L"BID", ColumnType::decimal},   {L"ASK", ColumnType::decimal},
    {L"SIZE", ColumnType::string},   {L"VOLUME", ColumnType::decimal},
};
inline constexpr ColumnSpec optionColumns[] = {
    {L"TICKER", ColumnType::string},   {L"EXPIRATION", ColumnType::date},
    {L"STRIKE", ColumnType::decimal},  {L"LAST", ColumnType::decimal},
    {L"NET", ColumnType::decimal},     {L"BID", ColumnType::decimal},
    {L"ASK", ColumnType::decimal},     {L"VOLUME", ColumnType::decimal},
    {L"OPENINT", ColumnType::decimal}, {L"IMPLIED VOLATILITY", ColumnType::decimal},
};
inline constexpr ColumnSpec exchangeColumns[] = {
    {L"EXCHANGE", ColumnType::string},
    {L"NAME", ColumnType::string},
    {L"COUNTRY", ColumnType::string},
};
inline constexpr ColumnSpec contractColumns[] = {
    {L"TICKER", ColumnType::string},   {L"NAME", ColumnType::string},
    {L"EXCHANGE", ColumnType::string}, {L"MONTH", ColumnType::date},
    {L"EXPIRATION", ColumnType::date},
};

inline constexpr OwnBlock quoteBlocks[] = {{L"TICKER", quoteColumns, true}};
inline constexpr OwnBlock futureBlocks[] = {{L"TICKER", futureColumns, true}};
inline constexpr OwnBlock chainBlocks[] = {
    {L"TICKER", underlyingColumns, true}, {L"CALLS", optionColumns}, {L"PUTS", optionColumns}};
inline constexpr OwnBlock exchangeBlocks[] = {{L"EXCHANGES", exchangeColumns}};
inline constexpr OwnBlock contractBlocks[] = {{L"FUTURES", contractColumns}};

}  // namespace own

inline constexpr OwnForm yahooSnapShotForm{"YAHOOSNAPSHOT", own::quoteBlocks};
inline constexpr OwnForm yahooOptionsForm{"YAHOOOPTIONS", own::chainBlocks};
inline constexpr OwnForm inoSnapShotForm{"INOSNAPSHOT", own::futureBlocks};
inline constexpr OwnForm inoOptionsForm{"INOOPTIONS", own::chainBlocks};
inline constexpr OwnForm inoExchangesForm{"INOEXCHANGES", own::exchangeBlocks};
inline constexpr OwnForm inoFuturesListForm{"INOFUTURESLIST", own::contractBlocks};

/// A reply, which has to outlive the object, taken apart into the lines of its blocks. Whatever is
/// not whole and of this form has a fault, and nothing of it is ever read.
class OwnReply {
public:
    OwnReply(std::string_view reply, const OwnForm& form);

    /// Why it is not a reply of the form, in words; empty when it is.
    const std::string& Fault() const noexcept { return m_fault; }
    /// Where that is. Lines are counted behind the first one, from 1.
    std::size_t FaultLine() const noexcept { return m_line; }

    /// The values of a block, by its place in the form. Columns that the reply does not have are
    /// missing in every row, those it has beside them are left out. Fields that are none of their
    /// column go to the reader (row: the line).
    Columns Read(std::size_t block, OddFieldReader& oddFields) const;

private:
    struct Lines {
        std::string_view header, rows;
        std::size_t firstLine, count;  ///< of the rows
    };

    std::string Split(std::string_view reply, const OwnForm& form);

    const OwnForm& m_form;
    std::size_t m_line = 0;
    std::vector<Lines> m_blocks;
    std::string m_fault;
};

/// The first line of a reply, and the last, which counts those before it.
std::string OwnFirstLine(std::string_view source);
std::string OwnLastLine(std::size_t lines);

/// A day from "2016-11-04", or a part of a day from "16:00"; nothing for any other text.
std::optional<double> ParseOwnTime(std::string_view text) noexcept;

}  // namespace vtdl::replies
