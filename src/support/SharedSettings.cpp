#include "support/SharedSettings.h"

#include "automation/Error.h"

namespace vtdl {
namespace {

using namespace automation;

// The text of an environment variable, empty when there is none.
std::wstring environment(const wchar_t* name) {
    std::wstring text(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

std::wstring registryText(HKEY root) {
    wchar_t text[1024];
    DWORD size = sizeof text;
    const LSTATUS status = RegGetValueW(root, L"Software\\Vestora\\VTDL", L"DataFolder",
                                        RRF_RT_REG_SZ, nullptr, text, &size);
    return status == ERROR_SUCCESS ? text : std::wstring();
}

std::wstring dataFolder() {
    std::wstring folder = environment(L"VTDL_DATA");
    if (folder.empty()) folder = registryText(HKEY_CURRENT_USER);
    if (folder.empty()) folder = registryText(HKEY_LOCAL_MACHINE);
    return folder.empty() ? L"C:" : folder;
}

}  // namespace

std::shared_ptr<CXMLSettings> sharedSettings() {
    static std::weak_ptr<CXMLSettings> current;
    std::shared_ptr<CXMLSettings> settings = current.lock();
    if (!settings) {
        settings = {make<CXMLSettings>().detach(), [](CXMLSettings* store) { store->Release(); }};
        current = settings;
    }
    return settings;
}

void loadSharedSettings(CXMLSettings& settings) {
    if (settings.isLoaded()) check(settings.SaveFile(nullptr));
    check(settings.put_FileName(Bstr(dataFolder() + L"\\VTDL33.Settings.xml").get()));
    check(settings.LoadFile());
}

void loadSharedSettingsOnce(CXMLSettings& settings) {
    Bstr fileName;
    check(settings.get_FileName(fileName.put()));
    if (fileName.view().empty()) loadSharedSettings(settings);
}

std::wstring readSetting(CXMLSettings& settings, const wchar_t* section, const wchar_t* key,
                         std::wstring_view defaultValue) {
    if (!settings.isLoaded()) return std::wstring(defaultValue);
    Bstr sectionName(section), keyName(key), fallback(defaultValue), value;
    check(settings.GetSetting(sectionName.put(), keyName.put(), fallback.put(), value.put()));
    return std::wstring(value.view());
}

}  // namespace vtdl
