#include "text/ChunkedBody.h"

#include <gtest/gtest.h>

namespace vtdl::text {
namespace {

TEST(ChunkedBody, JoinsChunks) {
    EXPECT_EQ(DecodeChunked(L"3\r\nabc\r\n0\r\n\r\n"), L"abc");
    EXPECT_EQ(DecodeChunked(L"3\r\nabc\r\nA\r\n0123456789\r\n00b; x=y\r\nhello\r\n\r\nyou\r\n"
                            L"0\r\nTrailer: 1\r\n\r\n3\r\nxyz\r\n"),
              L"abc0123456789hello\r\n\r\nyo")
        << "a chunk that ends before its line break ends the body";
    EXPECT_EQ(DecodeChunked(L"c  \r\nhello\r\n\r\nyou\r\n0\r\n3\r\nxyz\r\n"), L"hello\r\n\r\nyou");
    EXPECT_EQ(DecodeChunked(L"0\r\n\r\n"), L"");
}

TEST(ChunkedBody, SizesHave16Bits) {
    const std::wstring largest(0x7FFF, L'x');
    EXPECT_EQ(DecodeChunked(L"7fff\r\n" + largest + L"\r\n1\r\ny\r\n0\r\n\r\n"), largest + L"y");
    EXPECT_EQ(DecodeChunked(L"0000007FFF\r\n" + largest + L"\r\n0\r\n\r\n"), largest);
    for (const wchar_t* size : {L"8000", L"FFFF", L"10000", L"10001", L"fffffffffffffffff"})
        EXPECT_EQ(DecodeChunked(L"1\r\na\r\n" + std::wstring(size) + L"\r\n" + largest + largest),
                  L"a")
            << size;
}

TEST(ChunkedBody, GarbageEndsTheBody) {
    for (const wchar_t* line : {L"", L"x", L"-1", L"+1", L"0x1", L"&H1", L" 1", L"1g", L"\n"})
        EXPECT_EQ(DecodeChunked(L"2\r\nab\r\n" + std::wstring(line) + L"\r\nc\r\n"), L"ab") << line;
    EXPECT_EQ(DecodeChunked(L""), L"");
    EXPECT_EQ(DecodeChunked(L"\r\n"), L"");
}

TEST(ChunkedBody, CutsKeepWhatWasDecoded) {
    const std::wstring body = L"3\r\nabc\r\nb\r\n0123456789\n\r\n1\r\nz\r\n0\r\n\r\n";
    const std::wstring text = L"abc0123456789\nz";
    std::size_t longest = 0;
    for (std::size_t cut = 0; cut <= body.size(); ++cut) {
        const std::wstring decoded = DecodeChunked(body.substr(0, cut));
        EXPECT_TRUE(text.starts_with(decoded)) << cut;
        EXPECT_GE(decoded.size(), longest) << cut;
        longest = decoded.size();
    }
    EXPECT_EQ(longest, text.size());
}

}  // namespace
}  // namespace vtdl::text
