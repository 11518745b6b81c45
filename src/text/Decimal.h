#pragma once
// Decimal numbers as the quote services write them, independent of any locale.

#include <cstddef>
#include <cstdint>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vtdl::text {

/// What ReadDecimal found: the number, and the first character after it.
struct DecimalRead {
    double value;
    const char* end;  ///< equals the start when there is no plain decimal there
};

/// Reads a plain decimal (sign, digits, point, digits, exponent; the last three optional) from the
/// front of [first, last), correctly rounded. Does not allocate, does not throw. A number out of
/// the range of double, "inf" and "nan" are not plain decimals.
DecimalRead ReadDecimal(const char* first, const char* last) noexcept;

// The rest of this file is the usual number, which is read where it is wanted: nearly all that the
// services send. It needs SSE2, which every x86 processor of the last twenty years has.
namespace decimal {

/// Reads what is not usual, or ends too near to the end of the text.
DecimalRead ReadUnusual(const char* first, const char* last) noexcept;

#ifdef __SSE2__

/// So many bytes may be read of a usual number and what follows it.
inline constexpr std::ptrdiff_t bytesAtOnce = 17;

inline constexpr double powersOfTen[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8};

// The shift that leaves so many of eight bytes, as the last of eight.
inline constexpr std::uint64_t shifts[] = {64, 56, 48, 40, 32, 24, 16, 8, 0};

inline __m128i Load8(const void* bytes) {
    return _mm_loadl_epi64(static_cast<const __m128i*>(bytes));
}

inline __m128i LastOf8(const char* bytes, unsigned count) {
    return _mm_sll_epi64(Load8(bytes), Load8(&shifts[count]));
}

// The values of two numbers of eight digits each, which are bytes of 0 to 9.
inline __m128d TwoNumbers(__m128i digits) {
    const __m128i pairs = _mm_srli_epi16(_mm_mullo_epi16(digits, _mm_set1_epi16(10 << 8 | 1)), 8);
    const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(1 << 16 | 100));
    const __m128i packed = _mm_packs_epi32(fours, fours);
    return _mm_cvtepi32_pd(_mm_madd_epi16(packed, _mm_set1_epi32(1 << 16 | 10'000)));
}

/// Reads a usual number: at most seven digits on either side of a point, or at most fifteen without
/// one; no sign, no exponent. An integer below 10^15 divided by a power of ten is correctly
/// rounded: both are exact doubles, and the division rounds once.
inline DecimalRead ReadUsual(const char* first) {
    const DecimalRead none{0, first};
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
    const __m128i fromLeast = _mm_sub_epi8(bytes, _mm_set1_epi8(static_cast<char>('0' + 128)));
    const __m128i isDigit = _mm_cmplt_epi8(fromLeast, _mm_set1_epi8(-128 + 10));
    // Bits from the sixteenth on are set: nothing that is looked for is missing.
    const auto others = ~static_cast<unsigned>(_mm_movemask_epi8(isDigit));
    const auto lowest = [](unsigned bits) { return static_cast<unsigned>(__builtin_ctz(bits)); };
    // The digits are those of two numbers: head ones from the front, and tail ones from tailStart.
    unsigned head = lowest(others), tailStart, tail;
    double divisor = 1;
    if (first[head] == '.') {
        tailStart = head + 1;
        tail = lowest(others & (others - 1)) - tailStart;
        if ((head | tail) - 1 >= 7) return none;
        divisor = powersOfTen[tail];
    } else {
        if (head - 1 >= 15) return none;
        tailStart = head > 8 ? head - 8 : 0;
        tail = head - tailStart;
        head = tailStart;
    }
    const char* const end = first + tailStart + tail;
    if ((*end | ' ') == 'e') return none;
    // What the shifts bring in is 0, and stays 0 when '0' is taken off.
    const __m128i both = _mm_unpacklo_epi64(LastOf8(first, head), LastOf8(first + tailStart, tail));
    const __m128d values = TwoNumbers(_mm_subs_epu8(both, _mm_set1_epi8('0')));
    const double mantissa =
        _mm_cvtsd_f64(values) * powersOfTen[tail] + _mm_cvtsd_f64(_mm_unpackhi_pd(values, values));
    return {mantissa / divisor, end};
}

#endif
}  // namespace decimal

inline DecimalRead ReadDecimal(const char* first, const char* last) noexcept {
#ifdef __SSE2__
    if (last - first >= decimal::bytesAtOnce) {
        const DecimalRead read = decimal::ReadUsual(first);
        if (read.end != first) return read;
    }
#endif
    return decimal::ReadUnusual(first, last);
}

}  // namespace vtdl::text
