#include "automation/ClassTable.h"

#include <vtdl.h>

// One row a class; the factory, the registration and the tests read it. Each class's own file
// defines what makes an object of it.
#define VTDL_CLASSES(VTDL_CLASS)                                                        \
    VTDL_CLASS(CManager, L"Vestora Download Library manager")                           \
    VTDL_CLASS(CDataSources, L"Data sources")                                           \
    VTDL_CLASS(CDataSource, L"Data source")                                             \
    VTDL_CLASS(CDataSourceYahooHitorical, L"Yahoo! Finance. Historical data")           \
    VTDL_CLASS(CDataSourceYahooDividends, L"Yahoo! Finance. Historical dividends data") \
    VTDL_CLASS(CDataSourceGoogleHitorical, L"Google.Finance. Historical data")          \
    VTDL_CLASS(CDataSourceYahooRealTime, L"Yahoo! Finance (realtime)")                  \
    VTDL_CLASS(CDataSourceYahooSnapShot, L"Yahoo! Finance (snapshot)")                  \
    VTDL_CLASS(CDataSourceYahooECNRealTime, L"Yahoo! Finance (ecn - real time)")        \
    VTDL_CLASS(CDataSourceYahooOptions, L"Yahoo! Finance (Options)")                    \
    VTDL_CLASS(CDataSourcePCQuote, L"PCQuote real-time quotes")                         \
    VTDL_CLASS(CDataSourcePifin, L"PIFIN historical prices")                            \
    VTDL_CLASS(CDataSourceCBOE, L"CBOE option chains")                                  \
    VTDL_CLASS(CDataSourceIVolatility, L"IVolatility")                                  \
    VTDL_CLASS(CDataSourceINOExchanges, L"INO Exchanges")                               \
    VTDL_CLASS(CDataSourceINOFuturesList, L"INO Futures list")                          \
    VTDL_CLASS(CDataSourceINOSnapShot, L"INO Snapshot price")                           \
    VTDL_CLASS(CDataSourceINOOptions, L"INO Options")                                   \
    VTDL_CLASS(CDataSourceDDE, L"DDE")                                                  \
    VTDL_CLASS(CParameter, L"Parameter")                                                \
    VTDL_CLASS(CParameters, L"Parameters")                                              \
    VTDL_CLASS(CDataField, L"Data field")                                               \
    VTDL_CLASS(CDataFields, L"Data fields")                                             \
    VTDL_CLASS(CData, L"Data of a session")                                             \
    VTDL_CLASS(CSession, L"Session")                                                    \
    VTDL_CLASS(CSessionDDE, L"DDE session")                                             \
    VTDL_CLASS(CSessions, L"Sessions")                                                  \
    VTDL_CLASS(IProgressCallBack, L"Progress callback")                                 \
    VTDL_CLASS(CXMLSettings, L"XML settings store")

namespace vtdl {

#define VTDL_CLASS(name, description) \
    HRESULT Create##name(REFIID interfaceId, void** object) noexcept;
VTDL_CLASSES(VTDL_CLASS)
#undef VTDL_CLASS

namespace automation {
namespace {

#define VTDL_CLASS(name, description) {__uuidof(::name), L## #name, description, Create##name},
const ClassEntry entries[] = {VTDL_CLASSES(VTDL_CLASS)};
#undef VTDL_CLASS

}  // namespace

std::span<const ClassEntry> ClassTable() { return entries; }

HRESULT CreateInstance(REFCLSID classId, REFIID interfaceId, void** object) noexcept {
    if (!object) return E_POINTER;
    *object = nullptr;
    for (const ClassEntry& candidate : entries)
        if (candidate.identifier == classId) return candidate.create(interfaceId, object);
    return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace automation
}  // namespace vtdl
