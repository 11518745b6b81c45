#pragma once
// Decimal numbers as the quote services write them, independent of any locale.

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

}  // namespace vtdl::text
