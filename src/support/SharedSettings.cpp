#include "support/SharedSettings.h"

#include <shlobj.h>

#include "automation/Error.h"
#include "automation/RegistryKey.h"

namespace vtdl {
namespace {

using namespace automation;

// The text of an environment variable, empty when there is none.
std::wstring Environment(const wchar_t* name) {
    std::wstring text(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

std::wstring DataFolder() {
    const std::wstring folder = Environment(L"VTDL_DATA");
    if (!folder.empty()) return folder;
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        const std::wstring named = ReadText(root, L"Software\\Vestora\\VTDL", L"DataFolder");
        if (named.empty()) continue;
        // One for all users is named relative to each user's own, which nobody has made yet.
        SHCreateDirectoryExW(nullptr, named.c_str(), nullptr);
        return named;
    }
    return L"C:";
}

}  // namespace

std::shared_ptr<CXMLSettings> SharedSettings() {
    static std::weak_ptr<CXMLSettings> current;
    std::shared_ptr<CXMLSettings> settings = current.lock();
    if (!settings) {
        settings = {Make<CXMLSettings>().detach(), [](CXMLSettings* store) { store->Release(); }};
        current = settings;
    }
    return settings;
}

void LoadSharedSettings(CXMLSettings& settings) {
    if (settings.IsLoaded()) Check(settings.SaveFile(nullptr));
    Check(settings.put_FileName(Bstr(DataFolder() + L"\\VTDL33.Settings.xml").get()));
    Check(settings.LoadFile());
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
