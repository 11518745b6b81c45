// Numbers and texts as they pass from replies into files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quoteserver::living {

// The number that a 32-bit one stood for before it was written as a 64-bit one: 129.04 for
// 129.0399932861328. The shortest decimal that is the same 32-bit number.
double FromFloat32(double value);

// The number of fewest digits that differs by no more than this part: 726.44 for 726.4400024.
double Shortest(double value, double part);

// Digits without exponent, as many as the number needs: "129.04".
std::string DecimalText(double value);

// The values of a line, without their quotes; two in a row within such stand for one.
std::vector<std::string> SplitCsvLine(std::string_view line, char separator);

// For a log or a page: without control characters, and no longer than a line.
std::string PrintableText(std::string_view text);

}  // namespace quoteserver::living
