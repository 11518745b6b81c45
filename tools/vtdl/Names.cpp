#include "Names.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

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

}  // namespace

bool SameName(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, {}, Folded, Folded);
}

std::string Suggestion(std::string_view name, std::span<const std::string> known) {
    std::size_t least = std::max<std::size_t>(1, name.size() / 3) + 1;  // farther is no suggestion
    const std::string* nearest = nullptr;
    for (const std::string& candidate : known) {
        const std::size_t distance = IsBeginningOf(name, candidate) ? 1 : Distance(name, candidate);
        if (distance >= least) continue;
        least = distance;
        nearest = &candidate;
    }
    return nearest ? "; did you mean " + *nearest + "?" : "";
}

std::string Joined(std::span<const std::string> names) {
    std::string text;
    for (const std::string& name : names) text.append(text.empty() ? "" : ", ").append(name);
    return text;
}

}  // namespace vtdl::host
