#include "objectmodel/CManager.h"

#include "automation/ClassTable.h"
#include "support/DecimalSeparator.h"
#include "support/ErrorHandlerSettings.h"
#include "support/SharedSettings.h"
#include "support/UpdateLock.h"
#include "support/VersionCheck.h"

namespace vtdl {

using namespace automation;

namespace {

// The registry: the order is published.
const GUID* const registeredSources[] = {
    &__uuidof(::CDataSourceINOExchanges),      &__uuidof(::CDataSourceINOOptions),
    &__uuidof(::CDataSourceINOSnapShot),       &__uuidof(::CDataSourceINOFuturesList),
    &__uuidof(::CDataSourceYahooHitorical),    &__uuidof(::CDataSourceYahooOptions),
    &__uuidof(::CDataSourceYahooDividends),    &__uuidof(::CDataSourceYahooRealTime),
    &__uuidof(::CDataSourceYahooECNRealTime),  &__uuidof(::CDataSourceYahooSnapShot),
    &__uuidof(::CDataSourceGoogleHitorical),   &__uuidof(::CDataSourceCBOE),
    &__uuidof(::CDataSourcePifin),             &__uuidof(::CDataSourceIVolatility),
    &__uuidof(::CDataSourceDDE),
};

}  // namespace

CManager::CManager() : m_settings(sharedSettings()), m_dataSources(make<CDataSources>()) {
    framed<"Class_Initialize">([&](MethodFrame& frame) {
        frame.step([&] { loadSharedSettings(*m_settings); });
        frame.step([&] { applyErrorHandlerSettings(*m_settings); });
        for (const GUID* classId : registeredSources) {
            frame.step([&] {
                const auto source = createInstance<_CDataSource>(*classId);
                Bstr name;
                check(source->get_Name(name.put()));
                m_dataSources->items().add(source.get(), name.view());
            });
        }
        frame.step([] { determineDecimalSeparator(); });
    });
}

CManager::~CManager() {
    framed<"Class_Terminate">([&](MethodFrame& frame) {
        frame.step([&] { check(m_dataSources->Clear()); });
        m_dataSources.reset();
        frame.step([&] { check(m_settings->SaveFile(nullptr)); });
    });
}

STDMETHODIMP CManager::get_DataSources(_CDataSources** result) noexcept {
    return framedResult<"DataSources">(result, [&] { *result = m_dataSources.addRefed(); });
}

STDMETHODIMP CManager::LockUpdate() noexcept {
    return framed<"LockUpdate">([] { UpdateLock::lock(); });
}

STDMETHODIMP CManager::UnlockUpdate() noexcept {
    return framed<"UnlockUpdate">([] { UpdateLock::unlock(); });
}

STDMETHODIMP CManager::CheckForNewVersion(VARIANT_BOOL* result) noexcept {
    return framedResult<"CheckForNewVersion">(result, [&] {
        *result = mGlobals::IsNewVersionAvailable(*m_settings) ? VARIANT_TRUE : VARIANT_FALSE;
    });
}

}  // namespace vtdl
