#pragma once
// What an HTTP client reads of addresses, reply heads and chunked bodies.

#include <cstddef>
#include <string>
#include <string_view>

namespace vtdl::text {

inline constexpr std::string_view blankLine = "\r\n\r\n";

/// The position of the first blank line, npos when there is none. Bytes that were searched before
/// are not searched again, but for the few that a blank line may have begun in.
std::size_t FindBlankLine(std::string_view bytes, std::size_t searched = 0) noexcept;

struct HttpUrl {
    std::wstring host;  ///< empty: none
    long port = 80;
    std::wstring path;  ///< with its "/"; empty: none
};

/// The host begins after "://", or at the start, and ends at the next "/". A port that is no number
/// is ignored; one that is too large for any number is the largest.
HttpUrl SplitUrl(std::wstring_view url);

struct HttpHead {
    bool isChunked = false;
    long contentLength = 0;
};

/// Reads the fields of a head, its lines without the blank one. Lines without a colon and lengths
/// that are no numbers are skipped.
HttpHead ParseHead(std::wstring_view head);

/// The class of a head's status code.
enum class StatusClass : long { success = 0, failure = 1, redirection = 2, unknown = 3 };

/// Decided by the character after the first space.
StatusClass ClassOfStatus(std::wstring_view head) noexcept;

/// The chunks' text without the size lines. A size line that does not begin with hexadecimal
/// digits, a size of 0x8000 or more (sizes have 16 bits and a sign), a chunk without its line break
/// and the end of the body all end it, as the chunk of size 0 does; what was decoded before stays.
std::wstring DecodeChunked(std::wstring_view body);

}  // namespace vtdl::text
