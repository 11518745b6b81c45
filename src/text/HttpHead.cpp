#include "text/HttpHead.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>

#include "text/CaseFold.h"

namespace vtdl::text {
namespace {

std::wstring_view Trimmed(std::wstring_view text) {
    constexpr std::wstring_view blanks = L" \t";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::wstring_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// A whole number of 32 bits, or the nearest one; nothing when the text is no whole number.
std::optional<long> WholeNumber(std::wstring_view text, bool clamps) {
    constexpr auto isPlain = [](wchar_t c) { return (c >= L'0' && c <= L'9') || c == L'-'; };
    if (!std::all_of(text.begin(), text.end(), isPlain)) return std::nullopt;
    const std::string digits(text.begin(), text.end());
    const char* const end = digits.data() + digits.size();
    std::int32_t number = 0;
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    if (stop != end || error == std::errc::invalid_argument) return std::nullopt;
    if (error == std::errc()) return number;
    if (!clamps) return std::nullopt;
    using Limits = std::numeric_limits<std::int32_t>;
    return digits.front() == '-' ? Limits::min() : Limits::max();
}

void ReadField(std::wstring_view line, HttpHead& head) {
    const std::size_t colon = line.find(L':');
    if (colon == std::wstring_view::npos) return;
    const std::wstring name = FoldCase(Trimmed(line.substr(0, colon)));
    const std::wstring_view value = Trimmed(line.substr(colon + 1));
    if (name == L"TRANSFER-ENCODING" && FoldCase(value) == L"CHUNKED") head.isChunked = true;
    if (name == L"CONTENT-LENGTH")
        head.contentLength = WholeNumber(value, false).value_or(head.contentLength);
}

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

std::size_t FindBlankLine(std::string_view bytes, std::size_t searched) noexcept {
    return bytes.find(blankLine, searched - std::min(searched, blankLine.size() - 1));
}

HttpUrl SplitUrl(std::wstring_view url) {
    constexpr std::wstring_view separator = L"://";
    const std::size_t scheme = url.find(separator);
    if (scheme != std::wstring_view::npos) url.remove_prefix(scheme + separator.size());
    const std::size_t slash = url.find(L'/');
    HttpUrl parts;
    if (slash != std::wstring_view::npos) parts.path = url.substr(slash);
    const std::wstring_view host = url.substr(0, slash);
    const std::size_t colon = host.find(L':');
    parts.host = host.substr(0, colon);
    if (colon != std::wstring_view::npos)
        parts.port = WholeNumber(host.substr(colon + 1), true).value_or(parts.port);
    return parts;
}

HttpHead ParseHead(std::wstring_view head) {
    HttpHead fields;
    while (!head.empty()) {
        const std::size_t end = std::min(head.find(L"\r\n"), head.size());
        ReadField(head.substr(0, end), fields);
        head.remove_prefix(std::min(end + 2, head.size()));
    }
    return fields;
}

StatusClass ClassOfStatus(std::wstring_view head) noexcept {
    const std::size_t space = head.find(L' ');
    if (space == std::wstring_view::npos || space + 1 == head.size()) return StatusClass::unknown;
    switch (head[space + 1]) {
        case L'2':
            return StatusClass::success;
        case L'3':
            return StatusClass::redirection;
        case L'4':
        case L'5':
            return StatusClass::failure;
        default:
            return StatusClass::unknown;
    }
}

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
