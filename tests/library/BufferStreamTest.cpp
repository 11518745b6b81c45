// Text as a stream.

#include "transport/CBufferStream.h"

#include <gtest/gtest.h>

#include "automation/Error.h"

namespace vtdl::tests {
namespace {

TEST(BufferStreamTest, StreamsReadTheBlock) {
    const auto read = [](IStream* stream) {
        std::wstring text(100, L'x');
        ULONG count = 0;
        EXPECT_EQ(SUCCEEDED(stream->Read(text.data(), 200, &count)), true);
        text.resize(count / sizeof(wchar_t));
        return text;
    };
    CBufferStream buffer;
    EXPECT_FALSE(buffer.IStream());
    buffer.Data(L"<p>t\u00E4xt</p>");
    EXPECT_EQ(buffer.GetData(), L"<p>t\u00E4xt</p>");
    EXPECT_TRUE(read(buffer.IStream().get()).starts_with(std::wstring(L"<p>t\u00E4xt</p>\0", 12)));
    EXPECT_TRUE(read(buffer.IStream().get()).starts_with(L"<p>")) << "a stream frees no block";
    buffer.bufferSize(6);
    EXPECT_EQ(read(buffer.IStream().get()).substr(0, 4), std::wstring(4, L'\0'));
    EXPECT_THROW(buffer.bufferSize(-1), automation::Error);
    EXPECT_TRUE(buffer.IStream());
}

}  // namespace
}  // namespace vtdl::tests
