#include "text/Decimal.h"

#include <charconv>
#include <cstdint>
#include <system_error>

#include "text/Ascii.h"

namespace vtdl::text {
namespace {

constexpr double powersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

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

DecimalRead ReadAnyDecimal(const char* first, const char* start, const char* last, bool negative) {
    const DoublePrecision precision;
    double value = 0;
    const auto [end, error] = std::from_chars(start, last, value);
    if (error != std::errc{}) return {0, first};
    return {negative ? -value : value, end};
}

// The digits of a number, as far as they fit an integer that a double holds exactly.
struct Digits {
    const char* end;
    int count;  // significant for the limit: leading zeros count too, which only costs speed
    int decimals;
    double mantissa;
};

// Nine digits fit 32 bits, whose arithmetic and conversion to double are single instructions on
// i686 too; few numbers of the services are longer.
Digits ReadDigits(const char* p, const char* last) {
    constexpr int narrowLimit = 9;
    std::uint32_t narrow = 0;
    int count = 0;
    const char* point = nullptr;
    for (; p != last; ++p) {
        if (IsDigit(*p)) {
            if (count == narrowLimit) break;
            narrow = narrow * 10 + static_cast<std::uint32_t>(*p - '0');
            ++count;
        } else if (*p == '.' && !point) {
            point = p;
        } else {
            break;
        }
    }
    const auto decimalsAt = [&](const char* end) {
        return point ? static_cast<int>(end - point) - 1 : 0;
    };
    if (p == last || !IsDigit(*p))
        return {p, count, decimalsAt(p), static_cast<double>(static_cast<std::int32_t>(narrow))};

    std::uint64_t wide = narrow;
    for (; p != last; ++p) {
        if (IsDigit(*p)) {
            if (++count > 18) break;  // too long for the fast path in any case
            wide = wide * 10 + static_cast<std::uint64_t>(*p - '0');
        } else if (*p == '.' && !point) {
            point = p;
        } else {
            break;
        }
    }
    return {p, count, decimalsAt(p), static_cast<double>(static_cast<std::int64_t>(wide))};
}

}  // namespace

DecimalRead ReadDecimal(const char* first, const char* last) noexcept {
    const char* start = first;
    bool negative = false;
    if (start != last && (*start == '-' || *start == '+')) negative = *start++ == '-';
    if (start == last || !(IsDigit(*start) || *start == '.')) return {0, first};

    const Digits digits = ReadDigits(start, last);
    if (digits.count == 0) return {0, first};
    const bool exponent = digits.end != last && (*digits.end == 'e' || *digits.end == 'E');
    // An integer below 10^15 divided by a power of ten of at most 10^15 is correctly rounded: both
    // are exact doubles, and the division rounds once.
    if (digits.count > 15 || exponent) return ReadAnyDecimal(first, start, last, negative);
    const double value = digits.mantissa / powersOfTen[digits.decimals];
    return {negative ? -value : value, digits.end};
}

}  // namespace vtdl::text
