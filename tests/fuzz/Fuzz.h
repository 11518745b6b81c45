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

/// The choices that a target makes, taken from the front of the input; zeros when it is used up.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_rest(reinterpret_cast<const char*>(data), size) {}

    std::size_t TakeByte() {
        if (m_rest.empty()) return 0;
        const auto byte = static_cast<std::uint8_t>(m_rest.front());
        m_rest.remove_prefix(1);
        return byte;
    }
    std::size_t TakeWord() {
        const std::size_t high = TakeByte();
        return high * 256 + TakeByte();
    }
    std::string_view Rest() const { return m_rest; }

private:
    std::string_view m_rest;
};

/// Bytes as text, one character a byte.
inline std::wstring Widened(std::string_view bytes) {
    std::wstring text(bytes.size(), L'\0');
    std::transform(bytes.begin(), bytes.end(), text.begin(),
                   [](char byte) { return static_cast<unsigned char>(byte); });
    return text;
}

}  // namespace vtdl::fuzz
