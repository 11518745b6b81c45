#pragma once
// The session parameters that several adapters declare, and how a download reads them.

#include <optional>
#include <string>

#include "automation/CodePage.h"
#include "automation/SafeArray.h"
#include "automation/Variant.h"
#include "errors/MethodFrame.h"
#include "objectmodel/CParameters.h"
#include "text/CalendarDate.h"

namespace vtdl {

/// Today's date in the user's time zone, as an automation date.
inline double Today() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return text::ToAutomationDate({now.wYear, now.wMonth, now.wDay}).value_or(0);
}

inline ParameterDeclaration TextParameter(std::wstring_view name, std::wstring_view value = {}) {
    return {.name = name, .type = vtdlParameterTypeString, .value = automation::Variant(value)};
}

inline ParameterDeclaration TickerParameter() { return TextParameter(L"TICKER"); }

/// "STARTDATE": today minus 14 days.
inline ParameterDeclaration StartDateParameter() {
    return {.name = L"STARTDATE",
            .type = vtdlParameterTypeDate,
            .value = automation::Variant::Date(Today() - 14)};
}

/// "ENDDATE": today.
inline ParameterDeclaration EndDateParameter() {
    return {.name = L"ENDDATE",
            .type = vtdlParameterTypeDate,
            .value = automation::Variant::Date(Today())};
}

/// "PERIOD", milliseconds: 0, and 1000 as the default value that a host may offer.
inline ParameterDeclaration PeriodParameter() {
    return {.name = L"PERIOD",
            .type = vtdlParameterTypeNumber,
            .value = automation::Variant(std::wstring_view(L"0")),
            .defaultValue = automation::Variant(std::wstring_view(L"1000"))};
}

/// A choice among texts; the first one is the default.
template <std::size_t Count>
ParameterDeclaration ListParameter(std::wstring_view name,
                                   const std::wstring_view (&choices)[Count]) {
    return {.name = name,
            .type = vtdlParameterTypeList,
            .value = automation::Variant(choices[0]),
            .availableValues = automation::TextArray(choices)};
}

/// A parameter as text in the system's code page, as it stands.
inline std::string ParameterBytes(_CParameters* parameters, std::wstring_view name) {
    return ToBytes(automation::ToText(ParameterValue(parameters, name).get()).view());
}

/// What a session for the history of one ticker asks for.
struct HistoryRequest {
    std::string ticker;
    double start;  ///< automation dates
    double end;

    explicit HistoryRequest(_CParameters* parameters)
        : ticker(ParameterBytes(parameters, L"TICKER")),
          start(automation::ToDate(ParameterValue(parameters, L"STARTDATE").get())),
          end(automation::ToDate(ParameterValue(parameters, L"ENDDATE").get())) {}
};

/// A session's request, read from its parameters; nothing when reading it failed and was ignored.
template <class Request>
std::optional<Request> ReadRequest(MethodFrame& frame, _CSession* session) {
    std::optional<Request> request;
    frame.Step([&] {
        automation::ComPtr<_CParameters> parameters;
        automation::Check(session->get_Parameters(parameters.put()));
        request.emplace(parameters.get());
    });
    return request;
}

}  // namespace vtdl
