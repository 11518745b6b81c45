#include "sources/CDataSourceYahooRealTime.h"

#include "automation/ClassTable.h"
#include "automation/DecimalSeparator.h"
#include "sources/FieldReader.h"
#include "sources/SessionParameters.h"
#include "text/Ascii.h"

namespace vtdl {

using namespace automation;
using replies::ColumnType;
using replies::QuoteValue;

namespace {

constexpr double firstDayOf1970 = 25569;
constexpr long invalidQuote = 5;

double ToNumber(std::string_view text) { return ParseNumber(text).value_or(0); }

std::string WithoutPercentSign(std::string_view text) {
    std::string plain(text);
    std::erase(plain, '%');
    return plain;
}

}  // namespace

STDMETHODIMP CDataSourceYahooRealTime::Download(_CSession** session) noexcept {
    return m_download.Run(session, [&](MethodFrame& frame, _CSession* current) {
        std::string reply;
        frame.Step([&] {
            ComPtr<_CParameters> parameters;
            Check(current->get_Parameters(parameters.put()));
            reply = m_download.DownloadURL(m_download.NewClient(
                L"yahoo.quotes", "/d/quotes.csv?f=sl1d1t1c1p2ohgvb3b2rt8wj1mepnx&e=.csv&s=" +
                                     ParameterBytes(parameters.get(), L"TICKER")));
        });
        const std::string quote = replies::Unquoted(reply);
        const auto values = replies::SplitQuote(quote);
        const auto fields = Make<CDataFields>();
        bool isInvalid = false;
        for (std::size_t k = 0; k < values.size(); ++k) {
            frame.Step([&] {
                const replies::QuoteColumn& column = ColumnAt(replies::yahooQuoteColumns, k);
                if (k < replies::yahooQuoteValues)
                    AddValue(current, fields.get(), column, values[k], isInvalid);
                else
                    AddColumn(fields.get(), {column.name, ColumnType{}}, Variant());
            });
        }
        m_download.StoreResult(frame, current, L"TICKER", fields.get(), HasValues(values));
        frame.Step([&] {
            if (!isInvalid) return;
            m_download.Blame("dated 1970-01-01");
            m_download.Session().Done(invalidQuote);
        });
        frame.Step([&] { m_download.Session().DataReady(); });
    });
}

// A text is an answer, and says that there is no quote; a part of a quote may end in the middle of
// a number.
std::string CDataSourceYahooRealTime::FormFault(const WinInet& client) {
    const std::size_t count = replies::SplitQuote(client.Response()).size();
    return count > 1 && count < replies::yahooQuoteValues ? std::to_string(count) + " values"
                                                          : TableFault(client);
}

void CDataSourceYahooRealTime::AddValue(_CSession* session, _CDataFields* fields,
                                        const replies::QuoteColumn& column, std::string_view text,
                                        bool& isInvalid) {
    const auto add = [&](ColumnType type, Variant value) {
        AddColumn(fields, {column.name, type}, std::move(value));
    };
    const auto addNumber = [&](double number) {
        add(ColumnType::decimal, Variant::Double(number));
    };
    if (column.value == QuoteValue::text || text::EqualsIgnoringCase(text, "n/a"))
        return add(ColumnType::string, Variant(Bstr::FromBytes(text)));
    switch (column.value) {
        case QuoteValue::date: {
            const double date = ToDate(session, column, text);
            isInvalid = date == firstDayOf1970;
            return add(ColumnType::date, Variant::Date(date));
        }
        case QuoteValue::time:
            return add(ColumnType::date, Variant::Date(ToTime(session, column, text)));
        case QuoteValue::percent:
            return addNumber(ToNumber(WithoutPercentSign(text)));
        case QuoteValue::lastTrade:
            // No trade yet: an empty text, on purpose, and not a price of 0.
            if (ToNumber(text) == 0) return add(ColumnType::string, Variant());
            return addNumber(ToNumber(text));
        default:
            return addNumber(ToNumber(text));
    }
}

double CDataSourceYahooRealTime::ToDate(_CSession* session, const replies::QuoteColumn& column,
                                        std::string_view text) noexcept {
    double date = 0;
    Framed<"ToDate">(
        [&] { date = Readable(replies::ParseQuoteDate(text), column.name, text, session); });
    return date;
}

double CDataSourceYahooRealTime::ToTime(_CSession* session, const replies::QuoteColumn& column,
                                        std::string_view text) noexcept {
    double time = 0;
    Framed<"ToTime">(
        [&] { time = Readable(replies::ParseQuoteTime(text), column.name, text, session); });
    return time;
}

VTDL_CREATABLE(CDataSourceYahooRealTime)

}  // namespace vtdl
