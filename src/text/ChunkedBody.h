#pragma once
// The chunked transfer coding of HTTP bodies.

#include <string>
#include <string_view>

namespace vtdl::text {

/// The chunks' text without the size lines. A size line that does not begin with hexadecimal
/// digits, a size of 0x8000 or more (sizes have 16 bits and a sign), a chunk without its line break
/// and the end of the body all end it, as the chunk of size 0 does; what was decoded before stays.
std::wstring DecodeChunked(std::wstring_view body);

}  // namespace vtdl::text
