#include "text/Decimal.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <system_error>

#include "text/Ascii.h"

namespace vtdl::text {
namespace {

#ifdef __i386__
// The C++ library's from_chars multiplies on the x87 unit, which rounds a product twice (to its own
// 64 bits, then to double's 53) unless it is told to work with 53. Hosts differ in what they set.
class DoublePrecision {
public:
    DoublePrecision() {
        __asm__ volatile("fnstcw %0" : "=m"(m_before));
        constexpr std::uint16_t precisionBits = 0x0300, doublePrecision = 0x0200;
        Set(static_cast<std::uint16_t>((m_before & ~precisionBits) | doublePrecision));
    }
    ~DoublePrecision() { Set(m_before); }
    DoublePrecision(const DoublePrecision&) = delete;
    DoublePrecision& operator=(const DoublePrecision&) = delete;

private:
    static void Set(std::uint16_t word) { __asm__ volatile("fldcw %0" : : "m"(word) : "memory"); }

    std::uint16_t m_before;
};
#else
class DoublePrecision {
public:
    DoublePrecision() {}  // nothing to set; a constructor, so that its objects count as used
};
#endif

}  // namespace

namespace decimal {

DecimalRead ReadUnusual(const char* first, const char* last) noexcept {
    const char* start = first;
    bool negative = false;
    if (start != last && (*start == '-' || *start == '+')) negative = *start++ == '-';
    if (start == last || !(IsDigit(*start) || *start == '.')) return {0, first};
    double value = 0;
    const char* end = start;
#ifdef __SSE2__
    char bytes[bytesAtOnce] = {};
    const char* front = start;
    if (last - start < bytesAtOnce) {
        std::copy(start, last, bytes);
        front = bytes;
    }
    const DecimalRead usual = ReadUsual(front);
    value = usual.value;
    end += usual.end - front;
#endif
    if (end == start) {
        const DoublePrecision precision;
        const auto [after, error] = std::from_chars(start, last, value);
        if (error != std::errc{}) return {0, first};
        end = after;
    }
    return {negative ? -value : value, end};
}

}  // namespace decimal
}  // namespace vtdl::text
