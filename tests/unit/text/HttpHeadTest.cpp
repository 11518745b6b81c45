#include "text/HttpHead.h"

#include <gtest/gtest.h>

#include <tuple>

namespace vtdl::text {
namespace {

TEST(HttpHead, SplitsUrls) {
    const auto split = [](std::wstring_view url) {
        const HttpUrl parts = SplitUrl(url);
        return std::tuple(parts.host, parts.port, parts.path);
    };
    const auto is = [](const wchar_t* host, long port, const wchar_t* path) {
        return std::tuple(std::wstring(host), port, std::wstring(path));
    };
    EXPECT_EQ(split(L"http://quotes.example.com/a/b?c=d"),
              is(L"quotes.example.com", 80, L"/a/b?c=d"));
    EXPECT_EQ(split(L"quotes.example.com:8080/"), is(L"quotes.example.com", 8080, L"/"));
    EXPECT_EQ(split(L"host"), is(L"host", 80, L""));
    EXPECT_EQ(split(L"http://host:81"), is(L"host", 81, L""));
    EXPECT_EQ(split(L"http:///path"), is(L"", 80, L"/path"));
    EXPECT_EQ(split(L""), is(L"", 80, L""));
    EXPECT_EQ(split(L"http://"), is(L"", 80, L""));
    for (const wchar_t* ignored : {L"", L"http", L"80x", L" 81", L"8\u0661", L"-", L"1-2"})
        EXPECT_EQ(split(L"h:" + std::wstring(ignored) + L"/"), is(L"h", 80, L"/")) << ignored;
    EXPECT_EQ(split(L"h:0/"), is(L"h", 0, L"/"));
    EXPECT_EQ(split(L"h:-5/"), is(L"h", -5, L"/"));
    EXPECT_EQ(split(L"h:99999999999/"), is(L"h", 2147483647, L"/")) << "no other port instead";
}

TEST(HttpHead, FindsBlankLinesThatArriveInPieces) {
    const std::string reply = "HTTP/1.1 200 OK\r\nA: b\r\n\r\nbody\r\n\r\n";
    const std::size_t blank = reply.find("\r\n\r\n");
    for (std::size_t cut = 0; cut <= reply.size(); ++cut) {
        const std::size_t first = FindBlankLine(std::string_view(reply).substr(0, cut));
        EXPECT_EQ(first, cut >= blank + 4 ? blank : std::string::npos) << cut;
        if (first == std::string::npos) {
            EXPECT_EQ(FindBlankLine(reply, cut), blank) << cut;
        }
    }
    EXPECT_EQ(FindBlankLine("\r\n\r\nbody"), 0u);
    EXPECT_EQ(FindBlankLine(""), std::string::npos);
    EXPECT_EQ(FindBlankLine("\r\n\r\nsearched before", 16), std::string::npos);
}

TEST(HttpHead, ReadsFields) {
    const auto read = [](const wchar_t* lines) {
        const HttpHead head = ParseHead(L"HTTP/1.1 200 OK\r\n" + std::wstring(lines));
        return std::pair(head.isChunked, head.contentLength);
    };
    EXPECT_EQ(read(L""), std::pair(false, 0L));
    EXPECT_EQ(read(L"Content-Length: 12"), std::pair(false, 12L));
    EXPECT_EQ(read(L"transfer-ENCODING :\tChunked \r\nCONTENT-length:7\r\n"), std::pair(true, 7L));
    EXPECT_EQ(read(L"Transfer-Encoding: gzip, chunked"), std::pair(false, 0L));
    EXPECT_EQ(read(L"X-Content-Length: 5\r\nContent-Length\r\n: 5\r\n\r\n"), std::pair(false, 0L));
    EXPECT_EQ(read(L"Content-Length: 5\nContent-Length: 6"), std::pair(false, 0L))
        << "a lone line feed ends no line, and the value is no number";
    for (const wchar_t* bad :
         {L"", L"x", L"12x", L"1 2", L"0x12", L"2147483648", L"1.5", L"\u0665"}) {
        EXPECT_EQ(read((L"Content-Length: 3\r\nContent-Length: " + std::wstring(bad)).c_str()),
                  std::pair(false, 3L))
            << bad;
    }
}

TEST(HttpHead, ClassesOfStatus) {
    EXPECT_EQ(ClassOfStatus(L"HTTP/1.1 200 OK"), StatusClass::success);
    EXPECT_EQ(ClassOfStatus(L"HTTP/1.1 301 Moved"), StatusClass::redirection);
    EXPECT_EQ(ClassOfStatus(L"HTTP/1.1 404 Not Found"), StatusClass::failure);
    EXPECT_EQ(ClassOfStatus(L"HTTP/1.1 503"), StatusClass::failure);
    for (const wchar_t* other :
         {L"HTTP/1.1 100 Continue", L"HTTP/1.1  200", L"HTTP/1.1 ", L"2", L""})
        EXPECT_EQ(ClassOfStatus(other), StatusClass::unknown) << other;
}

}  // namespace
}  // namespace vtdl::text
