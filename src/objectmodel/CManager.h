#pragma once
// The object that a host makes first.

#include <vtdl.h>

#include <memory>

#include "objectmodel/CDataSource.h"
#include "settings/CXMLSettings.h"

namespace vtdl {

/// The published manager: loads the settings, registers one of each data source in a fixed order,
/// and saves the settings when it is released.
class CManager final : public FramedObject<CManager, ::CManager, _CManager> {
public:
    static constexpr text::FixedString className{"CManager"};

    CManager();
    ~CManager();

    STDMETHODIMP get_DataSources(_CDataSources** result) noexcept override;
    STDMETHODIMP LockUpdate() noexcept override;
    STDMETHODIMP UnlockUpdate() noexcept override;
    STDMETHODIMP CheckForNewVersion(VARIANT_BOOL* result) noexcept override;

private:
    std::shared_ptr<CXMLSettings> m_settings;
    automation::ComPtr<CDataSources> m_dataSources;
};

}  // namespace vtdl
