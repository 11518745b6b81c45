#pragma once
// Names as people write them, and what the command line says about a session's parameters.

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Values.h"

namespace vtdl::host {

/// An underscore counts as a blank: ADJUST_VALUES needs no quotes on a command line.
bool SameName(std::string_view left, std::string_view right);

/// "; did you mean NEAREST?" when one of the known names is near, else the other text.
std::string Suggestion(std::string_view name, std::span<const std::string> known,
                       const char* without = "");

std::string Joined(std::span<const std::string> names);

enum class ParameterType { number, text, list, date, truth, block };

struct Parameter {
    std::string name;
    ParameterType type = ParameterType::text;
    std::vector<std::string> choices{};  ///< of a list
};

/// How the type is called in listings.
const char* TypeName(ParameterType type);

struct Assignment {
    std::size_t parameter;  ///< its position among the source's parameters
    Value value;
};

/// What is asked for one of several tickers.
struct TickerRequest {
    std::string ticker;  ///< empty when none is named
    std::vector<std::string> assignments;
};

/// One request a ticker of TICKER=A,B, blanks around them left out; the other assignments hold for
/// each. Throws UsageError where a ticker is missing in the list.
std::vector<TickerRequest> PerTicker(const std::vector<std::string>& assignments);

/// Reads NAME=VALUE for one of the source's parameters; throws UsageError, whose text lists the
/// known names, suggests the nearest, or says what form the value should have.
Assignment ParseAssignment(std::string_view text, const std::string& source,
                           std::span<const Parameter> parameters);

}  // namespace vtdl::host
