#include "sources/CDataSourcePCQuote.h"

#include "automation/ClassTable.h"
#include "automation/DecimalSeparator.h"
#include "replies/Quote.h"
#include "sources/FieldReader.h"
#include "sources/SessionParameters.h"

namespace vtdl {

using namespace automation;
using replies::ColumnType;

namespace {

enum class PCQuoteValue { text, number, time };

struct PCQuoteField {
    std::string_view name;     // in the request
    std::wstring_view column;  // in the result
    PCQuoteValue value;
};

// In the order of the reply. "DIVDATE" is a number, not a date, on purpose.
constexpr PCQuoteField pcQuoteFields[] = {
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

std::optional<double> ParseTime(const Bstr& text) {
    DATE date = 0;
    if (text.view().find(L'\0') != text.view().npos) return std::nullopt;
    return SUCCEEDED(VarDateFromStr(text.get(), LOCALE_USER_DEFAULT, 0, &date))
               ? std::optional(date)
               : std::nullopt;
}

// What is not what its field says is handed over as text.
void AddValue(_CDataFields* fields, const PCQuoteField& field, std::string_view text) {
    Bstr value = Bstr::FromBytes(text);
    if (field.value == PCQuoteValue::number) {
        if (const auto number = ParseNumber(text))
            return AddColumn(fields, {field.column, ColumnType::decimal}, Variant::Double(*number));
    } else if (field.value == PCQuoteValue::time) {
        if (const auto time = ParseTime(value))
            return AddColumn(fields, {field.column, ColumnType::date}, Variant::Date(*time));
    }
    AddColumn(fields, {field.column, ColumnType::string}, Variant(std::move(value)));
}

}  // namespace

std::vector<ParameterDeclaration> CDataSourcePCQuote::OwnParameters() {
    return {TextParameter(L"USER"), TextParameter(L"PASSWORD")};
}

std::vector<ParameterDeclaration> CDataSourcePCQuote::SessionParameters() {
    return {TickerParameter(), PeriodParameter()};
}

STDMETHODIMP CDataSourcePCQuote::Download(_CSession** session) noexcept {
    return m_download.Run(session, [&](MethodFrame& frame, _CSession* current) {
        Variant ticker;
        std::string reply;
        frame.Step([&] {
            ComPtr<_CParameters> parameters;
            Check(current->get_Parameters(parameters.put()));
            ticker = Variant(ToText(ParameterValue(parameters.get(), L"TICKER").get()));
            reply =
                m_download.DownloadURL(QuoteClient(ParameterBytes(parameters.get(), L"TICKER")));
        });
        const auto values = replies::SplitQuote(reply);
        const bool isQuote = values.size() >= std::size(pcQuoteFields);
        const auto fields = Make<CDataFields>();
        const std::size_t count = isQuote ? values.size() : std::size(pcQuoteFields);
        // A short reply gives the ticker asked for, and nothing else.
        for (std::size_t k = 0; k < count; ++k)
            frame.Step([&] {
                const PCQuoteField& field = ColumnAt(pcQuoteFields, k);
                if (isQuote) return AddValue(fields.get(), field, values[k]);
                AddColumn(fields.get(), {field.column, ColumnType::string},
                          k == 0 ? ticker : Variant());
            });
        m_download.HandOver(frame, current, L"TICKER", fields.get(), isQuote && HasValues(values));
    });
}

std::shared_ptr<WinInet> CDataSourcePCQuote::QuoteClient(std::string_view ticker) {
    std::string path = "/cgi-bin/vestora.exe?HIDEPACKAGE=1&FORMAT=DECIMAL&PACKAGE=CUSTOM&FIELDS=";
    for (const PCQuoteField& field : pcQuoteFields)
        path.append(&field == pcQuoteFields ? "" : ",").append(field.name);
    auto client = m_download.NewClient(L"pcquote", path.append("&TICKER=").append(ticker));
    client->UserName = ParameterBytes(m_parameters.get(), L"USER");
    client->Password = ParameterBytes(m_parameters.get(), L"PASSWORD");
    return client;
}

VTDL_CREATABLE(CDataSourcePCQuote)

}  // namespace vtdl
