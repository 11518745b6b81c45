#pragma once
// What the fuzz targets share.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// The entry that a fuzzer, or the replay of seeds, calls with every input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace vtdl::fuzz {

/// A property that does not hold is a finding.
inline void Require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "not so: %s\n", property);
    std::abort();
}

/// The check that FUZZ_CHECK names is made alone, and so a hundred times as often.
inline bool IsWanted(std::string_view check) {
    static const char* const wanted = std::getenv("FUZZ_CHECK");
    return !wanted || check == wanted;
}

}  // namespace vtdl::fuzz
