// Addresses, reply heads, chunked bodies and DDE items: whatever arrives, and what was put together
// here.

#include "Fuzz.h"
#include "text/Ascii.h"
#include "text/HostAddress.h"
#include "text/HttpHead.h"

namespace {

using namespace vtdl::fuzz;
using namespace vtdl::text;

void CheckBlankLine(std::string_view bytes, std::size_t cut) {
    const std::size_t found = FindBlankLine(bytes);
    if (found != std::string_view::npos)
        Require(bytes.substr(found).starts_with("\r\n\r\n"), "a blank line is there");
    const std::string_view first = bytes.substr(0, cut);
    if (FindBlankLine(first) == std::string_view::npos)
        Require(FindBlankLine(bytes, first.size()) == found, "pieces give what the whole gives");
}

void CheckHead(const std::wstring& lines, long number) {
    ClassOfStatus(lines);
    const std::wstring field = L"\r\ncontent-Length :  " + std::to_wstring(number) + L"\t";
    Require(ParseHead(lines + field).contentLength == number, "the last length counts");
    Require(ParseHead(lines + L"\r\nTransfer-Encoding: CHUNKED").isChunked, "chunks are seen");
}

void CheckUrl(const std::wstring& text, long port) {
    std::wstring host = text.substr(0, 20);
    std::erase_if(host, [](wchar_t c) { return c == L'/' || c == L':'; });
    const HttpUrl parts = SplitUrl(L"http://" + host + L":" + std::to_wstring(port) + L"/" + text);
    Require(parts.host == host && parts.port == port && parts.path == L"/" + text,
            "the parts come back");
    SplitUrl(text);
    std::string name;
    for (const wchar_t c : host) name += c < 128 ? static_cast<char>(c) : '?';
    const bool isSecure = port % 2;
    const HostAddress address = ParseHost((isSecure ? L"HTTPS://" : L"") + host + L":" +
                                          std::to_wstring(port) + L"/" + text);
    Require(address.name == name && address.isSecure == isSecure, "so does a setting's host");
    const long usual = isSecure ? 443 : 80;
    Require(static_cast<unsigned short>(address.port) == (port > 0 ? port : usual), "and its port");
    ParseHost(text);
}

void CheckItem(std::string_view bytes) {
    const std::string_view item = ItemText(bytes), rest = bytes.substr(item.size());
    Require(bytes.starts_with(item) && item.find('\0') == item.npos, "an item is its beginning");
    const std::string_view end = rest.substr(0, rest.find('\0'));
    Require(end.empty() || end == "\r" || end == "\n" || end == "\r\n", "without a line end");
}

/// In chunks of some size, with size lines as different servers write them.
void CheckChunks(const std::wstring& text, std::size_t cut) {
    const std::wstring decoded = DecodeChunked(text);
    Require(decoded.size() <= text.size(), "nothing is made up");
    Require(decoded.starts_with(DecodeChunked(text.substr(0, cut))), "a cut body gives a part");
    constexpr const char* formats[] = {"%zx\r\n", "%08zX  \r\n", "%zX;name=\"value\"\r\n"};
    std::wstring body;
    for (std::size_t at = 0, size = 0; at < text.size(); at += size) {
        char line[64];
        size = std::min(std::max(cut % 0x7FFF + 1, text.size() / 16), text.size() - at);
        const int length = std::snprintf(line, sizeof line, formats[at % 3], size);
        body += std::wstring(line, line + length) + text.substr(at, size) + L"\r\n";
    }
    Require(DecodeChunked(body + L"0\r\n" + text) == text, "the text comes back");
    Require(DecodeChunked(body + L"8000\r\n" + text) == text, "a size of 16 bits is no size");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t number = data[0] * 256u + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::wstring text(data + 2, data + size);
    CheckBlankLine(bytes, number);
    CheckHead(text, static_cast<long>(number));
    CheckUrl(text, static_cast<long>(number));
    CheckChunks(text, number);
    CheckItem(bytes);
    return 0;
}
