// Chunked bodies: whatever arrives, and texts that were encoded here.

#include "Fuzz.h"
#include "text/HttpHead.h"

namespace {

using namespace vtdl::fuzz;
using vtdl::text::DecodeChunked;

/// The size line of a chunk, as different servers write it.
std::wstring SizeLine(std::size_t size, std::size_t style) {
    constexpr const char* formats[] = {"%zx", "%zX", "%08zx", "%zx  ", "%zX;name=\"value\""};
    char line[64];
    std::snprintf(line, sizeof line, formats[style % std::size(formats)], size);
    return Widened(line) + L"\r\n";
}

std::wstring Encoded(Input choices, std::wstring_view text) {
    constexpr std::size_t largest = 0x7FFF;
    std::wstring body;
    while (!text.empty()) {
        const std::size_t style = choices.TakeByte();
        // Mostly small chunks; texts of the largest size are long, and rare.
        const std::size_t wanted = style % 8 == 7 ? largest : 1 + choices.TakeByte();
        const std::wstring_view chunk = text.substr(0, wanted);
        body += SizeLine(chunk.size(), style) + std::wstring(chunk) + L"\r\n";
        text.remove_prefix(chunk.size());
    }
    return body;
}

void CheckAnyBody(Input input) {
    const std::size_t cut = input.TakeWord();
    const std::wstring body = Widened(input.Rest());
    const std::wstring decoded = DecodeChunked(body);
    Require(decoded.size() <= body.size(), "nothing is made up");
    Require(decoded.starts_with(DecodeChunked(body.substr(0, cut))), "a cut body gives a part");
}

void CheckRoundTrip(const Input& input) {
    const std::wstring text = Widened(input.Rest());
    const std::wstring body = Encoded(input, text);
    Require(DecodeChunked(body + L"0\r\n\r\n") == text, "the text comes back");
    Require(DecodeChunked(body + L"0\r\n" + text) == text, "nothing counts behind the end");
    Require(DecodeChunked(body + L"8000\r\n" + text) == text, "a size of 16 bits is no size");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Input input(data, size);
    CheckAnyBody(input);
    CheckRoundTrip(input);
    return 0;
}
