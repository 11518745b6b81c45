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

constexpr SourceIdentity yahooECNRealTime =
    PlainIdentity(L"YAHOOECN", L"Yahoo! Finance (ecn - real time)", L"YAHOO",
                  vtdlPriceDataTypeStocks | vtdlPriceDataTypeRealtime);
constexpr SourceIdentity iVolatility =
    PlainIdentity(L"IVOLATILITY", L"IVolatility", L"IVOLATILITY",
                  vtdlPriceDataTypeOptions | vtdlPriceDataTypeVolatility);

using CDataSourceYahooECNRealTime =
    LeftOpenAdapter<"CDataSourceYahooECNRealTime", ::CDataSourceYahooECNRealTime,
                    _CDataSourceYahooECNRealTime, yahooECNRealTime>;
using CDataSourceIVolatility = LeftOpenAdapter<"CDataSourceIVolatility", ::CDataSourceIVolatility,
                                               _CDataSourceIVolatility, iVolatility>;

}  // namespace

VTDL_CREATABLE(CDataSourceYahooECNRealTime)
VTDL_CREATABLE(CDataSourceIVolatility)

}  // namespace vtdl
