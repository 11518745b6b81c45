#pragma once
// Session parameters that several adapters declare.

#include "automation/SafeArray.h"
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

}  // namespace vtdl
