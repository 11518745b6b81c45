#pragma once
// How messages name an error.

#include <cstdint>
#include <cstdio>
#include <string>

namespace vtdl::text {

/// " (0x800C0008)" or " (91)"; empty for -1, which says no more than that something failed.
inline std::string InParentheses(std::int32_t errorNumber) {
    if (errorNumber == -1) return {};
    char text[24];
    std::snprintf(text, sizeof text, errorNumber < 0 ? " (0x%08X)" : " (%u)",
                  static_cast<unsigned>(errorNumber));
    return text;
}

}  // namespace vtdl::text
