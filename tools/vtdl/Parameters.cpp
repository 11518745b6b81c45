#include "Parameters.h"

#include <algorithm>
#include <numeric>
#include <sstream>
#include <utility>
#include <vector>

#include "Values.h"
#include "text/Ascii.h"

namespace vtdl::host {
namespace {

char Folded(char c) {
    if (c == '_') return ' ';
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// How many characters have to be changed, added or taken out to make one name of the other.
std::size_t Distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t change = diagonal + (Folded(from[i]) != Folded(to[j]) ? 1 : 0);
            diagonal = row[j + 1];
            row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

bool IsBeginningOf(std::string_view name, std::string_view longer) {
    return name.size() >= 2 && SameName(name, longer.substr(0, name.size()));
}

Value ParseTruth(const std::string& text) {
    if (SameName(text, "True")) return true;
    if (SameName(text, "False")) return false;
    throw UsageError(text + " is neither True nor False");
}

Value ParseChoice(const std::string& text, std::span<const std::string> choices) {
    const auto found = std::ranges::find_if(
        choices, [&](const std::string& choice) { return SameName(choice, text); });
    if (found != choices.end()) return *found;
    throw UsageError(text + " is none of " + Joined(choices));
}

Value ParseValue(const Parameter& parameter, const std::string& text) {
    switch (parameter.type) {
        case ParameterType::number:
            if (const auto number = ParseNumber(text)) return *number;
            throw UsageError("\"" + text + "\" is not a number like 12.5");
        case ParameterType::date:
            if (const auto date = ParseDate(text)) return *date;
            throw UsageError("\"" + text + "\" is not a date like 2008-01-31");
        case ParameterType::truth:
            return ParseTruth(text);
        case ParameterType::list:
            return ParseChoice(text, parameter.choices);
        case ParameterType::block:
            throw UsageError("it cannot be set");
        default:
            return text;
    }
}

}  // namespace

bool SameName(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, {}, Folded, Folded);
}

std::string Suggestion(std::string_view name, std::span<const std::string> known,
                       const char* without) {
    std::size_t least = std::max<std::size_t>(1, name.size() / 3) + 1;  // farther is no suggestion
    const std::string* nearest = nullptr;
    for (const std::string& candidate : known) {
        const std::size_t distance = IsBeginningOf(name, candidate) ? 1 : Distance(name, candidate);
        if (distance >= least) continue;
        least = distance;
        nearest = &candidate;
    }
    return nearest ? "; did you mean " + *nearest + "?" : without;
}

std::string Joined(std::span<const std::string> names) {
    std::string text;
    for (const std::string& name : names) text.append(text.empty() ? "" : ", ").append(name);
    return text;
}

const char* TypeName(ParameterType type) {
    static constexpr const char* names[] = {"number", "text",       "list",
                                            "date",   "True/False", "block"};
    return names[static_cast<std::size_t>(type)];
}

std::vector<TickerRequest> PerTicker(const std::vector<std::string>& assignments) {
    const auto found = std::ranges::find_if(assignments, [](const std::string& assignment) {
        const std::size_t equals = assignment.find('=');
        return equals != std::string::npos && SameName(assignment.substr(0, equals), "TICKER");
    });
    if (found == assignments.end()) return {{"", assignments}};
    const std::string list = found->substr(found->find('=') + 1);
    std::vector<TickerRequest> requests;
    std::istringstream tickers(list + ",");
    for (std::string text; std::getline(tickers, text, ',');) {
        const std::string ticker(text::Trimmed(text));
        if (ticker.empty() && list != text)
            throw UsageError("TICKER: \"" + list + "\" has a comma with no ticker beside it");
        requests.push_back({ticker, assignments});
        requests.back().assignments[static_cast<std::size_t>(found - assignments.begin())] =
            "TICKER=" + ticker;
    }
    return requests;
}

Assignment ParseAssignment(std::string_view text, const std::string& source,
                           std::span<const Parameter> parameters) {
    const std::size_t equals = text.find('=');
    const std::string name(text.substr(0, equals));
    if (equals == std::string_view::npos)
        throw UsageError("\"" + name + "\" is not of the form NAME=VALUE");
    const auto found = std::ranges::find_if(
        parameters, [&](const Parameter& parameter) { return SameName(parameter.name, name); });
    if (found == parameters.end()) {
        std::vector<std::string> known;
        for (const Parameter& parameter : parameters) known.push_back(parameter.name);
        throw UsageError(source + " has no parameter " + name + Suggestion(name, known, ".") +
                         " Its parameters are " + Joined(known));
    }
    try {
        return {static_cast<std::size_t>(found - parameters.begin()),
                ParseValue(*found, std::string(text.substr(equals + 1)))};
    } catch (const UsageError& e) {
        throw UsageError(found->name + ": " + e.what());
    }
}

}  // namespace vtdl::host
