#pragma once
// Quotes: one line of comma-separated values.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vtdl::replies {

/// What a value of the quote service is.
enum class QuoteValue { text, number, percent, lastTrade, date, time };

struct QuoteColumn {
    std::wstring_view name;
    QuoteValue value;
};

/// By position in the reply. The exchange, which the request asks for last, arrives as "PREVIOUS
/// CLOSE", and "STOCK EXCHANGE" never arrives; on purpose.
inline constexpr QuoteColumn yahooQuoteColumns[] = {
    {L"TICKER", QuoteValue::text},         {L"LAST TRADE", QuoteValue::lastTrade},
    {L"TRADE DATE", QuoteValue::date},     {L"TRADE TIME", QuoteValue::time},
    {L"CHANGE", QuoteValue::number},       {L"CHANGE%", QuoteValue::percent},
    {L"OPEN", QuoteValue::number},         {L"HIGH", QuoteValue::number},
    {L"LOW", QuoteValue::number},          {L"VOLUME", QuoteValue::number},
    {L"BID", QuoteValue::number},          {L"ASK", QuoteValue::number},
    {L"P/E", QuoteValue::number},          {L"1YR TARGET PRICE", QuoteValue::number},
    {L"52WK RANGE", QuoteValue::text},     {L"MARKET CAP", QuoteValue::text},
    {L"DAY'S RANGE", QuoteValue::text},    {L"EPS", QuoteValue::number},
    {L"PREV CLOSE", QuoteValue::number},   {L"NAME", QuoteValue::text},
    {L"PREVIOUS CLOSE", QuoteValue::text}, {L"STOCK EXCHANGE", QuoteValue::text},
};

/// The positions of a reply that have a value; further ones are left without type and data.
inline constexpr std::size_t yahooQuoteValues = 21;

/// The texts between the commas, as they stand.
std::vector<std::string_view> SplitFields(std::string_view line);

/// The same without the blanks around them; one, empty, for an empty reply.
std::vector<std::string_view> SplitQuote(std::string_view reply);

/// Removes double quotes and line ends. A comma inside quotes still separates values, on purpose.
std::string Unquoted(std::string_view reply);

/// An automation date from month/day/year; nothing for a text of another form or a day that does
/// not exist.
std::optional<double> ParseQuoteDate(std::string_view text) noexcept;

/// A part of a day from hour:minute and a suffix of two characters. "pm" adds twelve hours to
/// every hour, so that 12:30pm is half past midnight of the next day; on purpose. Midnight for a
/// text without a colon; nothing for a text of another form.
std::optional<double> ParseQuoteTime(std::string_view text) noexcept;

}  // namespace vtdl::replies
