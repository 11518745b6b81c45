#pragma once
// How messages name an error.

#include <cstdint>
#include <string>

namespace vtdl::text {

/// " (0x800C0008)" or " (91)"; empty for -1, which says no more than that something failed.
inline std::string InParentheses(std::int32_t errorNumber) {
    if (errorNumber == -1) return {};
    if (errorNumber >= 0) return std::string(" (").append(std::to_string(errorNumber)) + ")";
    std::string text = " (0x";
    for (int shift = 28; shift >= 0; shift -= 4)
        text += "0123456789ABCDEF"[(static_cast<std::uint32_t>(errorNumber) >> shift) & 15];
    return text += ')';
}

}  // namespace vtdl::text
