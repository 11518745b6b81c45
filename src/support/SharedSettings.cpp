#include "support/SharedSettings.h"

#include <shlobj.h>

#include "automation/Error.h"
#include "automation/PerApartment.h"
#include "support/DataFolder.h"

namespace vtdl {

using namespace automation;

namespace {

PerApartment<std::weak_ptr<CXMLSettings>> current;

}  // namespace

std::shared_ptr<CXMLSettings> SharedSettings() {
    std::shared_ptr<CXMLSettings> settings = current->lock();
    if (!settings) {
        settings = {Make<CXMLSettings>().detach(), [](CXMLSettings* store) { store->Release(); }};
        *current = settings;
    }
    return settings;
}

void LoadSharedSettings(CXMLSettings& settings) {
    if (settings.IsLoaded()) Check(settings.SaveFile(nullptr));
    // A folder for all users is named relative to each user's own, which nobody has made yet.
    if (!IsDataFolderGiven()) SHCreateDirectoryExW(nullptr, DataFolder().c_str(), nullptr);
    settings.KeepPrivate();
    const std::wstring file = DataFolder() + L"\\" + settingsFileName;
    Check(settings.put_FileName(Bstr(file).get()));
    try {
        Check(settings.LoadFile());
    } catch (const Error& error) {
        throw Error(error.Code(), error.Source(), error.Description() + L": " + file);
    }
}

void LoadSharedSettingsOnce(CXMLSettings& settings) {
    Bstr fileName;
    Check(settings.get_FileName(fileName.put()));
    if (fileName.view().empty()) LoadSharedSettings(settings);
}

std::wstring ReadSetting(CXMLSettings& settings, const wchar_t* section, const wchar_t* key,
                         std::wstring_view defaultValue) {
    if (!settings.IsLoaded()) return std::wstring(defaultValue);
    Bstr sectionName(section), keyName(key), fallback(defaultValue), value;
    Check(settings.GetSetting(sectionName.put(), keyName.put(), fallback.put(), value.put()));
    return std::wstring(value.view());
}

}  // namespace vtdl
