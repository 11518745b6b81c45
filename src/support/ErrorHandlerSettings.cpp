#include "support/ErrorHandlerSettings.h"

#include <utility>

#include "automation/PerApartment.h"
#include "automation/Variant.h"
#include "support/DataFolder.h"
#include "support/MethodFrame.h"
#include "support/Notices.h"
#include "support/SharedSettings.h"

namespace vtdl {
namespace {

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
