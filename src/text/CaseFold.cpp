#include "text/CaseFold.h"

namespace vtdl::text {
namespace {

// Lower-case letters that lie a constant distance above their capitals.
struct Range {
    wchar_t first, last;
    int distance;
};

constexpr Range ranges[] = {
    {L'a', L'z', 32},     {0x00E0, 0x00F6, 32}, {0x00F8, 0x00FE, 32},
    {0x03B1, 0x03C1, 32}, {0x03C3, 0x03CB, 32},  // Greek, without the final sigma between them
    {0x0430, 0x044F, 32}, {0x0450, 0x045F, 80},  // Cyrillic
};

// Blocks in which capital and small letter alternate; true when the capital has the even code.
bool IsAlternating(wchar_t c, bool& evenCapital) {
    evenCapital = true;
    if ((c >= 0x0100 && c <= 0x012F) || (c >= 0x0132 && c <= 0x0137) ||
        (c >= 0x014A && c <= 0x0177) || (c >= 0x0460 && c <= 0x0481) ||
        (c >= 0x048A && c <= 0x04BF))
        return true;
    evenCapital = false;
    return (c >= 0x0139 && c <= 0x0148) || (c >= 0x0179 && c <= 0x017E);
}

}  // namespace

wchar_t FoldCase(wchar_t c) noexcept {
    if (c < 0x80) return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c;
    for (const Range& range : ranges)
        if (c >= range.first && c <= range.last) return static_cast<wchar_t>(c - range.distance);
    bool evenCapital = true;
    if (!IsAlternating(c, evenCapital)) return c;
    const bool isEven = c % 2 == 0;
    return isEven == evenCapital ? c : static_cast<wchar_t>(c - 1);
}

std::wstring FoldCase(std::wstring_view text) {
    std::wstring folded(text);
    for (wchar_t& c : folded) c = FoldCase(c);
    return folded;
}

}  // namespace vtdl::text
