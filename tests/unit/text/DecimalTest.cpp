#include "text/Decimal.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace vtdl::text {
namespace {

std::mt19937 generator(20040109);

std::size_t Below(std::size_t limit) { return generator() % limit; }

std::string RandomText(std::string_view alphabet, std::size_t most) {
    std::string text(Below(most + 1), ' ');
    for (char& c : text) c = alphabet[Below(alphabet.size())];
    return text;
}

// The value and where it ends, as strtod has it, but for what is out of range: nothing. It is read
// from a heap block of exactly the text's size, so that the sanitizer sees a read past it.
void ExpectSameAsStrtod(const std::string& text) {
    char* end = nullptr;
    double expected = std::strtod(text.c_str(), &end);
    const std::string used = text.substr(0, static_cast<std::size_t>(end - text.c_str()));
    const bool isZero =
        used.substr(0, used.find_first_of("eE")).find_first_of("123456789") == used.npos;
    const bool isInRange =
        end != text.c_str() && !std::isinf(expected) && (expected != 0 || isZero);
    if (!isInRange) expected = 0;
    const std::vector<char> bytes(text.begin(), text.end());
    const DecimalRead actual = ReadDecimal(bytes.data(), bytes.data() + bytes.size());
    EXPECT_EQ(actual.end - bytes.data(), isInRange ? end - text.c_str() : 0) << text;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(actual.value), std::bit_cast<std::uint64_t>(expected))
        << text;
}

TEST(Decimal, AgreesWithStrtodOnRandomTexts) {
    for (int i = 0; i < 30'000; ++i) {
        ExpectSameAsStrtod(RandomText("0123456789012345.eE+-,", 30));
        ExpectSameAsStrtod(RandomText("0123456789", 12) + "." + RandomText("0123456789", 12));
        ExpectSameAsStrtod(RandomText("-+", 1) + RandomText("0123456789", 17) +
                           RandomText(".e,", 1) + RandomText("0123456789", 9) + ",1.5e300,");
    }
}

// Borders of exact integers, and where a number stops.
TEST(Decimal, AgreesWithStrtodOnTexts) {
    std::ifstream texts("decimals.txt");
    int count = 0;
    for (std::string text; texts >> text; ++count) ExpectSameAsStrtod(text);
    EXPECT_EQ(count, 48);
    for (const std::string_view text : {" 1", "inf", "-inf", "nan"})
        EXPECT_EQ(ReadDecimal(text.begin(), text.end()).end, text.begin()) << text;
}

}  // namespace
}  // namespace vtdl::text
