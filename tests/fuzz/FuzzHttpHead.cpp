// Addresses and reply heads: whatever arrives, and what was put together here.

#include "Fuzz.h"
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
    ClassOfStatus(lines);
    const std::wstring field = L"\r\ncontent-Length :  " + std::to_wstring(length) + L"\t";
    Require(ParseHead(lines + field).contentLength == length, "the last length counts");
    Require(ParseHead(lines + field).isChunked == ParseHead(lines).isChunked,
            "a length says nothing of chunks");
    Require(ParseHead(lines + L"\r\nTransfer-Encoding: CHUNKED").isChunked, "chunks are seen");
}

void CheckUrl(Input input) {
    const long port = static_cast<long>(input.TakeWord());
    std::wstring host = Widened(input.Rest().substr(0, 20));
    std::erase_if(host, [](wchar_t c) { return c == L'/' || c == L':'; });
    const std::wstring path = L"/" + Widened(input.Rest());
    const HttpUrl parts = SplitUrl(L"http://" + host + L":" + std::to_wstring(port) + path);
    Require(parts.host == host && parts.port == port && parts.path == path, "the parts come back");
    SplitUrl(Widened(input.Rest()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Input input(data, size);
    CheckBlankLine(input);
    CheckHead(input);
    CheckUrl(input);
    return 0;
}
