#include "sources/CDataSourcePCQuote.h"

#include "replies/Quote.h"
#include "sources/HistoryRequest.h"
#include "support/DecimalSeparator.h"

namespace vtdl {

using namespace automation;
using replies::ColumnType;
using replies::pcQuoteFields;
using replies::PCQuoteValue;

namespace {

std::optional<double> ParseTime(BSTR text) {
    DATE date = 0;
    return SUCCEEDED(VarDateFromStr(text, LOCALE_USER_DEFAULT, 0, &date)) ? std::optional(date)
                                                                          : std::nullopt;
}

// What is not what its field says is handed over as text.
void AddValue(_CDataFields* fields, const replies::PCQuoteField& field, std::string_view text) {
    Bstr value = Bstr::FromBytes(text);
    if (field.value == PCQuoteValue::number) {
        if (const auto number = ParseNumber(text))
            return AddColumn(fields, {field.column, ColumnType::decimal}, Variant::Double(*number));
    } else if (field.value == PCQuoteValue::time) {
        if (const auto time = ParseTime(value.get()))
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
    return Downloading(session, [&](MethodFrame& frame, _CSession* current) {
        std::string ticker;
        std::string reply;
        frame.Step([&] {
            ComPtr<_CParameters> parameters;
            Check(current->get_Parameters(parameters.put()));
            ticker = ParameterBytes(parameters.get(), L"TICKER");
            reply = DownloadURL(QuoteClient(ticker));
        });
        const auto values = replies::SplitQuote(reply);
        const bool isQuote = values.size() >= std::size(pcQuoteFields);
        const auto fields = Make<CDataFields>();
        // Values beyond the last field have no name. A short reply gives the ticker asked for.
        for (std::size_t k = 0; k < std::size(pcQuoteFields); ++k)
            frame.Step([&] {
                if (isQuote || k == 0)
                    AddValue(fields.get(), pcQuoteFields[k], isQuote ? values[k] : ticker);
                else
                    AddColumn(fields.get(), {pcQuoteFields[k].column, ColumnType::string}, {});
            });
        HandOver(frame, current, L"TICKER", fields.get());
    });
}

std::shared_ptr<WinInet> CDataSourcePCQuote::QuoteClient(std::string_view ticker) {
    std::string path = "/cgi-bin/vestora.exe?HIDEPACKAGE=1&FORMAT=DECIMAL&PACKAGE=CUSTOM&FIELDS=";
    for (const replies::PCQuoteField& field : pcQuoteFields)
        path.append(&field == pcQuoteFields ? "" : ",").append(field.name);
    auto client = NewClient(L"pcquote", path.append("&TICKER=").append(ticker));
    client->UserName = ParameterBytes(m_parameters.get(), L"USER");
    client->Password = ParameterBytes(m_parameters.get(), L"PASSWORD");
    return client;
}

}  // namespace vtdl
