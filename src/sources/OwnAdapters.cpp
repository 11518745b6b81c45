// Adapters of services whose forms nobody knows, in a form of this library's own, which the bundled
// quote server speaks.

#include <cmath>

#include "automation/ClassTable.h"
#include "replies/OwnTables.h"
#include "session/SessionState.h"
#include "sources/FieldReader.h"
#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"
#include "text/Ascii.h"
#include "text/UrlEncode.h"

namespace vtdl {

using namespace automation;
using replies::ColumnType;

namespace {

Variant QuoteValue(replies::Columns& columns, std::size_t column) {
    if (columns.Specs()[column].type == ColumnType::string) {
        const std::string_view text = columns.Texts(column)[0];
        return text.empty() ? Variant() : Variant(Bstr::FromBytes(text));
    }
    const double number = columns[column][0];
    if (std::isnan(number)) return Variant();
    return columns.Specs()[column].type == ColumnType::date ? Variant::Date(number)
                                                            : Variant::Double(number);
}

ComPtr<CDataFields> FieldsOf(const replies::OwnBlock& block, replies::Columns columns) {
    if (!block.isQuote) return vtdl::FieldsOf(std::move(columns), RowOrder::same);
    const auto fields = Make<CDataFields>();
    for (std::size_t i = 0; i < block.columns.size(); ++i)
        AddColumn(fields.get(), block.columns[i], QuoteValue(columns, i));
    return fields;
}

struct OwnSource {
    SourceIdentity identity;
    const wchar_t* service;
    const replies::OwnForm& form;
};

/// Whatever is not a whole reply of the form is data that is not available, and nothing else of the
/// request shows. Strictly it is a failure, but for a service that says that it has nothing.
template <text::FixedString Class, class Coclass, class Default, const OwnSource& Source>
class OwnAdapter final
    : public SourceAdapter<OwnAdapter<Class, Coclass, Default, Source>, Coclass, Default> {
public:
    static constexpr text::FixedString className = Class;
    static constexpr const SourceIdentity& identity = Source.identity;
    static std::vector<ParameterDeclaration> SessionParameters() { return {TickerParameter()}; }

    STDMETHODIMP Download(_CSession** session) noexcept override {
        vtdl::Download& download = this->m_download;
        return download.Run(session, [&](MethodFrame& frame, _CSession* current) {
            long error = dataNotAvailable;
            std::string reply;
            std::optional<replies::OwnReply> tables;
            frame.Step([&] { download.Session().Start(); });
            frame.Step([&] {
                const auto client = MakeClient(current);
                if (download.Fetch(client)) {
                    reply = client->TakeResponse();
                    tables.emplace(reply, Source.form);
                    download.Blame(tables->Fault());
                }
                constexpr long notFound = 404;
                if (tables && tables->Fault().empty())
                    error = 0;
                else if (client->Strict && client->Status() != notFound)
                    error = downloadFailure;
            });
            if (error == 0) frame.Step([&] { download.ReportProgress(100); });
            frame.Step([&] { download.Session().Done(error); });
            const auto data = Make<CData>();
            bool hasValues = false;
            for (std::size_t i = 0; error == 0 && i < Source.form.blocks.size(); ++i) {
                const replies::OwnBlock& block = Source.form.blocks[i];
                FieldReader oddFields(frame, current, block.columns, {});
                replies::Columns columns = tables->Read(i, oddFields);
                hasValues |= columns.Rows() > 0;
                frame.Step([&] {
                    SetBlock(*data.get(), block.name, FieldsOf(block, std::move(columns)).get(),
                             false);
                });
            }
            frame.Step([&] { download.Deliver(current, *data.get(), hasValues); });
            frame.Step([&] { download.Session().DataReady(); });
        });
    }

private:
    std::shared_ptr<WinInet> MakeClient(_CSession* session) {
        ComPtr<_CParameters> parameters;
        Check(session->get_Parameters(parameters.put()));
        const std::string ticker = ParameterBytes(parameters.get(), L"TICKER");
        // The client refuses control characters, and so has to see them.
        return this->m_download.NewClient(
            ParseHost(ServiceHost(*this->m_settings, Source.service)),
            "/own/" + std::string(Source.form.source) + "?ticker=" +
                (text::HasControlCharacter(ticker) ? ticker : text::UrlEncode(ticker, false)),
            false);
    }
};

constexpr long optionsByUnderlying =
    vtdlPriceDataTypeOptions | vtdlPriceDataTypeOptionsByUnderlying;

constexpr OwnSource yahooSnapShot{PlainIdentity(L"YAHOOSNAPSHOT", L"Yahoo! Finance (snapshot)",
                                                L"YAHOO", vtdlPriceDataTypeStocks),
                                  L"yahoo.quotes", replies::yahooSnapShotForm};
constexpr OwnSource yahooOptions{
    PlainIdentity(L"YAHOOOPTIONS", L"Yahoo! Finance (Options)", L"YAHOO", optionsByUnderlying),
    L"yahoo.quotes", replies::yahooOptionsForm};
constexpr OwnSource inoSnapShot{
    PlainIdentity(L"INOSNAPSHOT", L"INO Snapshot price", L"INO", vtdlPriceDataTypeFutures), L"ino",
    replies::inoSnapShotForm};
constexpr OwnSource inoOptions{
    PlainIdentity(L"INOOPTIONS", L"INO Options", L"INO", optionsByUnderlying), L"ino",
    replies::inoOptionsForm};
constexpr OwnSource inoExchanges{
    PlainIdentity(L"INOEXCHANGES", L"INO Exchanges", L"INO", vtdlPriceDataTypeFutures), L"ino",
    replies::inoExchangesForm};
constexpr OwnSource inoFuturesList{
    PlainIdentity(L"INOFUTURESLIST", L"INO Futures list", L"INO", vtdlPriceDataTypeFutures), L"ino",
    replies::inoFuturesListForm};

using CDataSourceYahooSnapShot = OwnAdapter<"CDataSourceYahooSnapShot", ::CDataSourceYahooSnapShot,
                                            _CDataSourceYahooSnapShot, yahooSnapShot>;
using CDataSourceYahooOptions = OwnAdapter<"CDataSourceYahooOptions", ::CDataSourceYahooOptions,
                                           _CDataSourceYahooOptions, yahooOptions>;
using CDataSourceINOSnapShot = OwnAdapter<"CDataSourceINOSnapShot", ::CDataSourceINOSnapShot,
                                          _CDataSourceINOSnapShot, inoSnapShot>;
using CDataSourceINOOptions = OwnAdapter<"CDataSourceINOOptions", ::CDataSourceINOOptions,
                                         _CDataSourceINOOptions, inoOptions>;
using CDataSourceINOExchanges = OwnAdapter<"CDataSourceINOExchanges", ::CDataSourceINOExchanges,
                                           _CDataSourceINOExchanges, inoExchanges>;
using CDataSourceINOFuturesList =
    OwnAdapter<"CDataSourceINOFuturesList", ::CDataSourceINOFuturesList, _CDataSourceINOFuturesList,
               inoFuturesList>;

}  // namespace

VTDL_CREATABLE(CDataSourceYahooSnapShot)
VTDL_CREATABLE(CDataSourceYahooOptions)
VTDL_CREATABLE(CDataSourceINOSnapShot)
VTDL_CREATABLE(CDataSourceINOOptions)
VTDL_CREATABLE(CDataSourceINOExchanges)
VTDL_CREATABLE(CDataSourceINOFuturesList)

}  // namespace vtdl
