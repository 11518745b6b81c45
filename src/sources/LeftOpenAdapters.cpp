// Adapters of services whose formats are not known to the library.

#include "automation/ClassTable.h"
#include "session/SessionState.h"
#include "sources/SessionParameters.h"
#include "sources/SourceAdapter.h"

namespace vtdl {
namespace {

/// An adapter that has an identity, parameters and sessions like any other, and whose download
/// reports that data is not available.
template <text::FixedString Class, class Coclass, class Default, const SourceIdentity& Identity>
class LeftOpenAdapter final
    : public SourceAdapter<LeftOpenAdapter<Class, Coclass, Default, Identity>, Coclass, Default> {
public:
    static constexpr text::FixedString className = Class;
    static constexpr const SourceIdentity& identity = Identity;
    static std::vector<ParameterDeclaration> SessionParameters() { return {TickerParameter()}; }

    STDMETHODIMP Download(_CSession** session) noexcept override {
        vtdl::Download& download = this->m_download;
        return download.Run(session, [&](MethodFrame& frame, _CSession* current) {
            frame.Step([&] { download.Session().Start(); });
            frame.Step([&] { download.Session().Done(dataNotAvailable); });
            frame.Step([&] { download.Deliver(current, *automation::Make<CData>().get(), false); });
            frame.Step([&] { download.Session().DataReady(); });
        });
    }
};

constexpr SourceIdentity yahooSnapShot{
    .name = L"YAHOOSNAPSHOT",
    .description = L"Yahoo! Finance (snapshot)",
    .priceDataType = vtdlPriceDataTypeStocks,
    .section = L"YAHOOSNAPSHOT/PARAMETERS",
    .nameParameter = L"Yahoo! Finance (snapshot)",
    .descriptionParameter = L"Yahoo! Finance (snapshot)",
    .dataServer = L"YAHOO",
};

constexpr SourceIdentity yahooECNRealTime{
    .name = L"YAHOOECN",
    .description = L"Yahoo! Finance (ecn - real time)",
    .priceDataType = vtdlPriceDataTypeStocks | vtdlPriceDataTypeRealtime,
    .section = L"YAHOOECN/PARAMETERS",
    .nameParameter = L"Yahoo! Finance (ecn - real time)",
    .descriptionParameter = L"Yahoo! Finance (ecn - real time)",
    .dataServer = L"YAHOO",
};

constexpr SourceIdentity yahooOptions{
    .name = L"YAHOOOPTIONS",
    .description = L"Yahoo! Finance (Options)",
    .priceDataType = vtdlPriceDataTypeOptions | vtdlPriceDataTypeOptionsByUnderlying,
    .section = L"YAHOOOPTIONS/PARAMETERS",
    .nameParameter = L"Yahoo! Finance (Options)",
    .descriptionParameter = L"Yahoo! Finance (Options)",
    .dataServer = L"YAHOO",
};

constexpr SourceIdentity iVolatility{
    .name = L"IVOLATILITY",
    .description = L"IVolatility",
    .priceDataType = vtdlPriceDataTypeOptions | vtdlPriceDataTypeVolatility,
    .section = L"IVOLATILITY/PARAMETERS",
    .nameParameter = L"IVolatility",
    .descriptionParameter = L"IVolatility",
    .dataServer = L"IVOLATILITY",
};

constexpr SourceIdentity inoExchanges{
    .name = L"INOEXCHANGES",
    .description = L"INO Exchanges",
    .priceDataType = vtdlPriceDataTypeFutures,
    .section = L"INOEXCHANGES/PARAMETERS",
    .nameParameter = L"INO Exchanges",
    .descriptionParameter = L"INO Exchanges",
    .dataServer = L"INO",
};

constexpr SourceIdentity inoFuturesList{
    .name = L"INOFUTURESLIST",
    .description = L"INO Futures list",
    .priceDataType = vtdlPriceDataTypeFutures,
    .section = L"INOFUTURESLIST/PARAMETERS",
    .nameParameter = L"INO Futures list",
    .descriptionParameter = L"INO Futures list",
    .dataServer = L"INO",
};

constexpr SourceIdentity inoSnapShot{
    .name = L"INOSNAPSHOT",
    .description = L"INO Snapshot price",
    .priceDataType = vtdlPriceDataTypeFutures,
    .section = L"INOSNAPSHOT/PARAMETERS",
    .nameParameter = L"INO Snapshot price",
    .descriptionParameter = L"INO Snapshot price",
    .dataServer = L"INO",
};

constexpr SourceIdentity inoOptions{
    .name = L"INOOPTIONS",
    .description = L"INO Options",
    .priceDataType = vtdlPriceDataTypeOptions | vtdlPriceDataTypeOptionsByUnderlying,
    .section = L"INOOPTIONS/PARAMETERS",
    .nameParameter = L"INO Options",
    .descriptionParameter = L"INO Options",
    .dataServer = L"INO",
};

using CDataSourceYahooSnapShot =
    LeftOpenAdapter<"CDataSourceYahooSnapShot", ::CDataSourceYahooSnapShot,
                    _CDataSourceYahooSnapShot, yahooSnapShot>;
using CDataSourceYahooECNRealTime =
    LeftOpenAdapter<"CDataSourceYahooECNRealTime", ::CDataSourceYahooECNRealTime,
                    _CDataSourceYahooECNRealTime, yahooECNRealTime>;
using CDataSourceYahooOptions =
    LeftOpenAdapter<"CDataSourceYahooOptions", ::CDataSourceYahooOptions, _CDataSourceYahooOptions,
                    yahooOptions>;
using CDataSourceIVolatility = LeftOpenAdapter<"CDataSourceIVolatility", ::CDataSourceIVolatility,
                                               _CDataSourceIVolatility, iVolatility>;
using CDataSourceINOExchanges =
    LeftOpenAdapter<"CDataSourceINOExchanges", ::CDataSourceINOExchanges, _CDataSourceINOExchanges,
                    inoExchanges>;
using CDataSourceINOFuturesList =
    LeftOpenAdapter<"CDataSourceINOFuturesList", ::CDataSourceINOFuturesList,
                    _CDataSourceINOFuturesList, inoFuturesList>;
using CDataSourceINOSnapShot = LeftOpenAdapter<"CDataSourceINOSnapShot", ::CDataSourceINOSnapShot,
                                               _CDataSourceINOSnapShot, inoSnapShot>;
using CDataSourceINOOptions = LeftOpenAdapter<"CDataSourceINOOptions", ::CDataSourceINOOptions,
                                              _CDataSourceINOOptions, inoOptions>;

}  // namespace

VTDL_CREATABLE(CDataSourceYahooSnapShot)
VTDL_CREATABLE(CDataSourceYahooECNRealTime)
VTDL_CREATABLE(CDataSourceYahooOptions)
VTDL_CREATABLE(CDataSourceIVolatility)
VTDL_CREATABLE(CDataSourceINOExchanges)
VTDL_CREATABLE(CDataSourceINOFuturesList)
VTDL_CREATABLE(CDataSourceINOSnapShot)
VTDL_CREATABLE(CDataSourceINOOptions)

}  // namespace vtdl
