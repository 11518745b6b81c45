#include "text/ChunkedBody.h"

#include <algorithm>
#include <cstddef>

namespace vtdl::text {
namespace {

constexpr std::wstring_view lineBreak = L"\r\n";

int HexDigit(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

/// The size that a line gives, 0 when it gives none. Servers pad sizes with blanks, and extensions
/// follow a semicolon; anything else behind the digits is no size line.
std::size_t ChunkSize(std::wstring_view line) {
    constexpr std::size_t limit = 0x8000;
    std::size_t size = 0;
    for (const wchar_t c : line) {
        const int digit = HexDigit(c);
        if (digit < 0) return c == L' ' || c == L'\t' || c == L';' ? size : 0;
        size = size * 16 + static_cast<std::size_t>(digit);
        if (size >= limit) return 0;
    }
    return size;
}

}  // namespace

std::wstring DecodeChunked(std::wstring_view body) {
    std::wstring decoded;
    for (;;) {
        const std::size_t lineEnd = body.find(lineBreak);
        if (lineEnd == std::wstring_view::npos) return decoded;
        const std::size_t size = ChunkSize(body.substr(0, lineEnd));
        if (size == 0) return decoded;
        body.remove_prefix(lineEnd + lineBreak.size());
        decoded += body.substr(0, size);
        if (body.substr(std::min(size, body.size()), lineBreak.size()) != lineBreak) return decoded;
        body.remove_prefix(size + lineBreak.size());
    }
}

}  // namespace vtdl::text
