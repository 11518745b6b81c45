#pragma once
// What a session for the history of one ticker asks for.

#include <string>

#include "automation/Variant.h"
#include "objectmodel/CParameters.h"
#include "automation/CodePage.h"

namespace vtdl {

/// A parameter as text in the system's code page, as it stands.
inline std::string ParameterBytes(_CParameters* parameters, std::wstring_view name) {
    return ToBytes(automation::ToText(ParameterValue(parameters, name).get()).view());
}

/// Read from the session's parameters.
struct HistoryRequest {
    std::string ticker;
    double start;  ///< automation dates
    double end;

    explicit HistoryRequest(_CParameters* parameters)
        : ticker(ParameterBytes(parameters, L"TICKER")),
          start(automation::ToDate(ParameterValue(parameters, L"STARTDATE").get())),
          end(automation::ToDate(ParameterValue(parameters, L"ENDDATE").get())) {}
};

}  // namespace vtdl
