#include "support/ErrorHandlerSettings.h"

#include "automation/Variant.h"
#include "support/CErrorHandler.h"
#include "support/SharedSettings.h"

namespace vtdl {

void ApplyErrorHandlerSettings(CXMLSettings& settings) {
    using automation::Variant;
    const auto apply = [&](const wchar_t* key, auto&& set) {
        const std::wstring text = ReadSetting(settings, L"ERRORHANDLER", key, L"");
        if (!text.empty()) set(text);
    };
    const auto number = [](const std::wstring& text) {
        return static_cast<int>(automation::ToLong(Variant(std::wstring_view(text)).get()));
    };
    const auto truth = [](const std::wstring& text) {
        return automation::ToBool(Variant(std::wstring_view(text)).get());
    };
    apply(L"actions", [&](auto& text) { gErrorHandler().ErrorHandlerActions(number(text)); });
    apply(L"errorlog", [&](auto& text) { gErrorHandler().ErrorLogFile(text); });
    apply(L"callstack", [&](auto& text) { gErrorHandler().CallStackEnabled(truth(text)); });
    apply(L"tracingflags", [&](auto& text) { gErrorHandler().TracingFlags(number(text)); });
    apply(L"tracinglog", [&](auto& text) { gErrorHandler().TracingLogFile(text); });
    apply(L"supportmail", [&](auto& text) { gErrorHandler().SupportMail(text); });
    apply(L"tracing", [&](auto& text) { gErrorHandler().TracingEnabled(truth(text)); });
}

}  // namespace vtdl
