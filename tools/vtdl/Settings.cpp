#include "Settings.h"

#include "Failure.h"
#include "automation/Environment.h"

namespace vtdl::host {
namespace {

// Takes over the names and frees the array.
std::vector<std::wstring> NamesIn(SAFEARRAY* array) {
    std::vector<std::wstring> names;
    BSTR* texts = nullptr;
    LONG lower = 0, upper = -1;
    if (array && SUCCEEDED(SafeArrayGetLBound(array, 1, &lower)) &&
        SUCCEEDED(SafeArrayGetUBound(array, 1, &upper)) &&
        SUCCEEDED(SafeArrayAccessData(array, reinterpret_cast<void**>(&texts)))) {
        for (LONG i = lower; i <= upper; ++i)
            names.emplace_back(automation::ViewOf(texts[i - lower]));
        SafeArrayUnaccessData(array);
    }
    if (array) SafeArrayDestroy(array);
    return names;
}

}  // namespace

std::wstring SettingsFile() { return DataFolder() + L"\\" + settingsFileName; }

ComPtr<_CXMLSettings> LoadSettings() {
    ComPtr<_CXMLSettings> settings;
    const std::wstring file = SettingsFile();
    if (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) return settings;
    Check(CoCreateInstance(__uuidof(CXMLSettings), nullptr, CLSCTX_INPROC_SERVER,
                           __uuidof(_CXMLSettings), reinterpret_cast<void**>(settings.put())),
          "making a settings store");
    Check(settings->put_FileName(Bstr(file).get()), "naming the settings file");
    Check(settings->LoadFile(), "loading it");
    return settings;
}

std::wstring ReadSetting(_CXMLSettings* settings, std::wstring_view section, std::wstring_view key,
                         std::wstring_view fallback) {
    if (!settings) return std::wstring(fallback);
    Bstr sectionName(section), keyName(key), defaultValue(fallback), value;
    Check(settings->GetSetting(sectionName.put(), keyName.put(), defaultValue.put(), value.put()),
          "reading a setting");
    return std::wstring(value.view());
}

std::wstring HostOf(_CXMLSettings* settings, std::string_view service) {
    return ReadSetting(settings, L"HOSTS", ToWide(service), L"127.0.0.1:8733");
}

std::vector<Setting> AllSettings(_CXMLSettings* settings) {
    std::vector<Setting> all;
    SAFEARRAY* sections = nullptr;
    long count = 0;
    Check(settings->EnumerateAllSections(&sections, &count), "listing the settings");
    for (const std::wstring& section : NamesIn(sections)) {
        SAFEARRAY* keys = nullptr;
        Bstr name(section);
        Check(settings->EnumerateAllKeys(name.put(), &keys, &count), "listing a section");
        const std::vector<std::wstring> names = NamesIn(keys);
        for (const std::wstring& key : names)
            all.push_back(
                {ToUtf8(section), ToUtf8(key), ToUtf8(ReadSetting(settings, section, key, L""))});
        if (names.empty()) all.push_back({ToUtf8(section), "", ""});
    }
    return all;
}

}  // namespace vtdl::host
