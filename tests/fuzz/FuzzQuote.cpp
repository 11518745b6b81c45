// Quotes, and their dates and times.

#include "Fuzz.h"
#include "replies/Quote.h"
#include "text/Decimal.h"

namespace {

using namespace vtdl::fuzz;
using namespace vtdl::replies;

void CheckNumber(std::string_view text) {
    const auto read = vtdl::text::ReadDecimal(text.data(), text.data() + text.size());
    Require(read.end >= text.data() && read.end <= text.data() + text.size(), "a number ends here");
    if (read.end == text.data()) return;
    const std::string number(text.data(), read.end);
    Require(read.value == std::strtod(number.c_str(), nullptr), "a number is the C library's");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view reply = Input(data, size).Rest();
    const std::string plain = Unquoted(reply);
    Require(plain.find('"') == std::string::npos, "quotes are gone");
    const auto values = SplitQuote(plain);
    Require(
        values.size() == static_cast<std::size_t>(std::count(plain.begin(), plain.end(), ',')) + 1,
        "a comma separates values");
    for (const std::string_view value : values) {
        CheckNumber(value);
        const auto time = ParseQuoteTime(value);
        Require(!time || *time >= 0, "no time is before midnight");
        ParseQuoteDate(value);
    }
    return 0;
}
