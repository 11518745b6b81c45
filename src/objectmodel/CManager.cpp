#include "objectmodel/CManager.h"

#include "automation/ClassTable.h"
#include "automation/DecimalSeparator.h"
#include "objectmodel/mGlobals.h"
#include "settings/SharedSettings.h"

namespace vtdl {

using namespace automation;

namespace {

// The registry: the order is published.
const GUID* const registeredSources[] = {
    &__uuidof(::CDataSourceINOExchanges),
    &__uuidof(::CDataSourceINOOptions),
    &__uuidof(::CDataSourceINOSnapShot),
    &__uuidof(::CDataSourceINOFuturesList),
    &__uuidof(::CDataSourceYahooHitorical),
    &__uuidof(::CDataSourceYahooOptions),
    &__uuidof(::CDataSourceYahooDividends),
    &__uuidof(::CDataSourceYahooRealTime),
    &__uuidof(::CDataSourceYahooECNRealTime),
    &__uuidof(::CDataSourceYahooSnapShot),
    &__uuidof(::CDataSourceGoogleHitorical),
    &__uuidof(::CDataSourceCBOE),
    &__uuidof(::CDataSourcePifin),
    &__uuidof(::CDataSourceIVolatility),
    &__uuidof(::CDataSourceDDE),
};

}  // namespace

CManager::CManager() : m_settings(SharedSettings()), m_dataSources(Make<CDataSources>()) {
    // In frames of their own: whatever is wrong with the settings, the data sources are there.
    Framed<"LoadSettings">([&] { LoadSharedSettings(*m_settings); });
    Framed<"ApplySettings">([&] { ApplyErrorHandlerSettings(m_settings.get()); });
    Framed<"Class_Initialize">([&](MethodFrame& frame) {
        for (const GUID* classId : registeredSources) {
            frame.Step([&] {
                const auto source = CreateInstance<_CDataSource>(*classId);
                Bstr name;
                Check(source->get_Name(name.put()));
                m_dataSources->Items().Add(source.get(), name.view());
            });
        }
        frame.Step([] { DetermineDecimalSeparator(); });
    });
}

CManager::~CManager() {
    Framed<"Class_Terminate">([&](MethodFrame& frame) {
        frame.Step([&] { Check(m_dataSources->Clear()); });
        m_dataSources.reset();
        frame.Step([&] { Check(m_settings->SaveFile(nullptr)); });
    });
}

STDMETHODIMP CManager::get_DataSources(_CDataSources** result) noexcept {
    return FramedResult<"DataSources">(result, [&] { *result = m_dataSources.AddRefed(); });
}

STDMETHODIMP CManager::LockUpdate() noexcept {
    return Framed<"LockUpdate">([] { UpdateLock::Lock(); });
}

STDMETHODIMP CManager::UnlockUpdate() noexcept {
    return Framed<"UnlockUpdate">([] { UpdateLock::Unlock(); });
}

STDMETHODIMP CManager::CheckForNewVersion(VARIANT_BOOL* result) noexcept {
    return FramedResult<"CheckForNewVersion">(result, [&] {
        *result = mGlobals::IsNewVersionAvailable(*m_settings) ? VARIANT_TRUE : VARIANT_FALSE;
    });
}

VTDL_CREATABLE(CManager)

}  // namespace vtdl
