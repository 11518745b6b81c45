#pragma once
// Session parameters that several adapters declare.

#include "automation/SafeArray.h"
#include "objectmodel/CParameters.h"
#include "support/Today.h"

namespace vtdl {

inline ParameterDeclaration textParameter(std::wstring_view name, std::wstring_view value = {}) {
    return {.name = name, .type = vtdlParameterTypeString, .value = automation::Variant(value)};
}

inline ParameterDeclaration tickerParameter() { return textParameter(L"TICKER"); }

/// "STARTDATE": today minus 14 days.
inline ParameterDeclaration startDateParameter() {
    return {.name = L"STARTDATE",
            .type = vtdlParameterTypeDate,
            .value = automation::Variant::date(today() - 14)};
}

/// "ENDDATE": today.
inline ParameterDeclaration endDateParameter() {
    return {.name = L"ENDDATE",
            .type = vtdlParameterTypeDate,
            .value = automation::Variant::date(today())};
}

/// A choice among texts; the first one is the default.
template <std::size_t Count>
ParameterDeclaration listParameter(std::wstring_view name, const std::wstring_view (&choices)[Count]) {
    return {.name = name,
            .type = vtdlParameterTypeList,
            .value = automation::Variant(choices[0]),
            .availableValues = automation::textArray(choices)};
}

}  // namespace vtdl
