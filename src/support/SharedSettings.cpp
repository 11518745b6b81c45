#include "support/SharedSettings.h"

#include "automation/Error.h"

namespace vtdl {
namespace {

using namespace automation;

// The text of an environment variable, empty when there is none.
std::wstring Environment(const wchar_t* name) {
    std::wstring text(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

std::wstring RegistryText(HKEY root) {
    wchar_t text[1024];
    DWORD size = sizeof text;
    const LSTATUS status = RegGetValueW(root, L"Software\\Vestora\\VTDL", L"DataFolder",
                                        RRF_RT_REG_SZ, nullptr, text, &size);
    return status == ERROR_SUCCESS ? text : std::wstring();
}

std::wstring DataFolder() {
    std::wstring folder = Environment(L"VTDL_DATA");
    if (folder.empty()) folder = RegistryText(HKEY_CURRENT_USER);
    if (folder.empty()) folder = RegistryText(HKEY_LOCAL_MACHINE);
    return folder.empty() ? L"C:" : folder;
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
