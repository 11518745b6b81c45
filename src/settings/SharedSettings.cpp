#include "settings/SharedSettings.h"

#include <shlobj.h>

#include <utility>

#include "automation/Environment.h"
#include "automation/Error.h"
#include "automation/PerApartment.h"
#include "automation/Variant.h"
#include "errors/MethodFrame.h"
#include "errors/Notices.h"
#include "text/CaseFold.h"

namespace vtdl {

using namespace automation;

namespace {

PerApartment<std::weak_ptr<CXMLSettings>> current;

constexpr wchar_t actionsVariable[] = L"VTDL_ACTIONS";

automation::PerApartment<bool> isApplied;
automation::PerApartment<std::wstring> alreadyReported;

/// Applies what can be applied; returns what was refused, and why.
std::wstring Apply(CXMLSettings* settings) {
    using automation::Variant;
    *isApplied = true;
    std::wstring refused;
    const auto applyText = [&](const std::wstring& name, const std::wstring& text, auto&& set) {
        if (text.empty()) return;
        try {
            set(text);
        } catch (...) {
            if (!refused.empty()) refused += L"; ";
            refused += name + L" = " + text + L": " + automation::CurrentError().Description();
        }
    };
    const auto apply = [&](const wchar_t* key, auto&& set) {
        if (!settings) return;
        applyText(std::wstring(L"ERRORHANDLER/") + key,
                  ReadSetting(*settings, L"ERRORHANDLER", key, L""), set);
    };
    const auto number = [](const std::wstring& text) {
        return static_cast<int>(automation::ToLong(Variant(std::wstring_view(text)).get()));
    };
    const auto truth = [](const std::wstring& text) {
        return automation::ToBool(Variant(std::wstring_view(text)).get());
    };
    const auto setActions = [&](auto& text) {
        gErrorHandler().ErrorHandlerActions(HasVisibleWindowStation() ? CErrorHandler::dialog
                                                                      : CErrorHandler::errorLog);
        gErrorHandler().ErrorHandlerActions(number(text));
    };
    const std::wstring actions = EnvironmentText(actionsVariable);
    if (actions.empty())
        apply(L"actions", setActions);
    else
        applyText(actionsVariable, actions, setActions);
    apply(L"errorlog", [&](auto& text) { gErrorHandler().ErrorLogFile(text); });
    apply(L"callstack", [&](auto& text) { gErrorHandler().CallStackEnabled(truth(text)); });
    apply(L"tracingflags", [&](auto& text) { gErrorHandler().TracingFlags(number(text)); });
    apply(L"tracinglog", [&](auto& text) { gErrorHandler().TracingLogFile(text); });
    apply(L"supportmail", [&](auto& text) { gErrorHandler().SupportMail(text); });
    apply(L"tracing", [&](auto& text) { gErrorHandler().TracingEnabled(truth(text)); });
    return refused;
}

void RaiseRefused(const std::wstring& refused) {
    if (!refused.empty())
        throw automation::MakeRuntimeError(automation::RuntimeError::invalidCall, refused);
}

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

std::wstring ServiceHost(CXMLSettings& settings, const wchar_t* service) {
    return ReadSetting(settings, L"HOSTS", service, L"127.0.0.1:8733");
}

long HttpSetting(CXMLSettings& settings, const wchar_t* key) {
    const std::wstring_view name = key;
    std::wstring text;
    if (name == L"timeout" || name == L"total") text = EnvironmentText(L"VTDL_TIMEOUT");
    if (text.empty()) text = ReadSetting(settings, L"HTTP", key, L"");
    long number = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9' || number > 100000) return 0;
        number = number * 10 + (c - L'0');
    }
    return number;
}

bool AreRepliesStrict(CXMLSettings& settings) {
    const std::wstring value = EnvironmentText(L"VTDL_STRICT");
    if (value == L"0" || value == L"1") return value == L"1";
    return HttpSetting(settings, L"strict") == 1;
}

// The first object's settings are mostly a manager's, which applies them again.
void ApplyErrorHandlerSettings(CXMLSettings* settings) {
    const std::wstring refused = Apply(settings);
    if (refused != std::exchange(*alreadyReported, {})) RaiseRefused(refused);
}

void ApplyErrorHandlerSettingsOnce() noexcept {
    std::shared_ptr<CXMLSettings> settings;
    try {
        if (std::exchange(*isApplied, true)) return;
        const std::wstring file = DataFolder() + L"\\" + settingsFileName;
        if (GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES) {
            settings = SharedSettings();
            LoadSharedSettingsOnce(*settings);
        }
    } catch (...) {
        settings.reset();  // what the environment says counts all the same
    }
    Framed<"CErrorHandler", "ApplySettings">([&] {
        *alreadyReported = Apply(settings.get());
        RaiseRefused(*alreadyReported);
    });
}

}  // namespace vtdl
