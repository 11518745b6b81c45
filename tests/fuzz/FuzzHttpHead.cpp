// Addresses and reply heads: whatever arrives, and what was put together here.

#include <algorithm>

#include "Fuzz.h"
#include "text/CaseFold.h"
#include "text/HttpHead.h"

namespace {

using namespace vtdl::fuzz;
using namespace vtdl::text;

void CheckBlankLine(Input input) {
    const std::size_t cut = input.TakeWord();
    const std::string_view bytes = input.Rest();
    const std::size_t found = FindBlankLine(bytes);
    if (found != std::string_view::npos)
        Require(bytes.substr(found).starts_with("\r\n\r\n"), "a blank line is there");
    const std::string_view first = bytes.substr(0, cut);
    if (FindBlankLine(first) == std::string_view::npos)
        Require(FindBlankLine(bytes, first.size()) == found, "pieces give what the whole gives");
}

void CheckHead(Input input) {
    const long length = static_cast<long>(input.TakeWord());
    const std::wstring lines = Widened(input.Rest());
    const bool isChunked = ParseHead(lines).isChunked;
    if (isChunked)
        Require(FoldCase(lines).find(L"CHUNKED") != std::wstring::npos, "a line says so");
    const std::wstring field = L"\r\ncontent-Length :  " + std::to_wstring(length) + L"\t";
    Require(ParseHead(lines + field).contentLength == length, "the last length counts");
    Require(ParseHead(lines + field + L"\r\nContent-Length: 1x").contentLength == length,
            "a bad length does not count");
    Require(ParseHead(lines + field).isChunked == isChunked, "a length says nothing of chunks");
    Require(ParseHead(lines + L"\r\nTransfer-Encoding: CHUNKED").isChunked, "chunks are seen");

    const std::size_t space = lines.find(L' ');
    const wchar_t code =
        space + 1 < lines.size() && space != std::wstring::npos ? lines[space + 1] : L'?';
    Require((ClassOfStatus(lines) == StatusClass::success) == (code == L'2'), "2 is a success");
    Require((ClassOfStatus(lines) == StatusClass::redirection) == (code == L'3'), "3 leads on");
}

void CheckUrl(Input input) {
    const long port = static_cast<long>(input.TakeWord());
    const std::size_t hostSize = input.TakeByte();
    const std::string_view rest = input.Rest();
    const HttpUrl any = SplitUrl(Widened(rest));
    Require(any.host.find_first_of(L"/:") == std::wstring::npos, "a host has no separators");
    Require(any.path.empty() || any.path.front() == L'/', "a path begins with its slash");

    std::wstring host = Widened(rest.substr(0, hostSize));
    std::erase_if(host, [](wchar_t c) { return c == L'/' || c == L':'; });
    const std::wstring path = L"/" + Widened(rest);
    const HttpUrl parts = SplitUrl(L"http://" + host + L":" + std::to_wstring(port) + path);
    Require(parts.host == host && parts.port == port && parts.path == path, "the parts come back");
    const HttpUrl plain = SplitUrl(L"http://" + host + path);
    Require(plain.host == host && plain.port == 80 && plain.path == path, "the port is 80");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Input input(data, size);
    CheckBlankLine(input);
    CheckHead(input);
    CheckUrl(input);
    return 0;
}
