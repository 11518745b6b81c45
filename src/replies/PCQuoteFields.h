#pragma once
// The fields that are asked of the PCQuote service, in the order of its reply.

#include <string_view>

namespace vtdl::replies {

enum class PCQuoteValue { text, number, time };

struct PCQuoteField {
    std::string_view name;     ///< in the request
    std::wstring_view column;  ///< in the result
    PCQuoteValue value;
};

/// "DIVDATE" is a number, not a date, on purpose.
inline constexpr PCQuoteField pcQuoteFields[] = {
    {"TICK", L"TICKER", PCQuoteValue::text},
    {"LAST", L"LAST", PCQuoteValue::number},
    {"NET", L"NET", PCQuoteValue::number},
    {"TIME", L"TIME", PCQuoteValue::time},
    {"SIZE", L"SIZE", PCQuoteValue::text},
    {"VOLUME", L"VOLUME", PCQuoteValue::number},
    {"OPEN", L"OPEN", PCQuoteValue::number},
    {"HIGH", L"HIGH", PCQuoteValue::number},
    {"LOW", L"LOW", PCQuoteValue::number},
    {"CLOSE", L"CLOSE", PCQuoteValue::number},
    {"BID", L"BID", PCQuoteValue::number},
    {"ASK", L"ASK", PCQuoteValue::number},
    {"BIDASKSIZE", L"BIDASKSIZE", PCQuoteValue::text},
    {"EXCHANGE", L"EXCHANGE", PCQuoteValue::text},
    {"NAME", L"NAME", PCQuoteValue::text},
    {"YRHIGH", L"YRHIGH", PCQuoteValue::number},
    {"YRLOW", L"YRLOW", PCQuoteValue::number},
    {"DIVFREQ", L"DIVFREQ", PCQuoteValue::number},
    {"DIVIDEND", L"DIVIDEND", PCQuoteValue::number},
    {"EARNINGS", L"EARNINGS", PCQuoteValue::number},
    {"SHARES", L"SHARES", PCQuoteValue::text},
    {"PERATIO", L"PERATIO", PCQuoteValue::number},
    {"DIVDATE", L"DIVDATE", PCQuoteValue::number},
    {"VOLATILITY", L"VOLATILITY", PCQuoteValue::number},
    {"YIELD", L"YIELD", PCQuoteValue::text},
    {"STATUS", L"STATUS", PCQuoteValue::text},
};

}  // namespace vtdl::replies
