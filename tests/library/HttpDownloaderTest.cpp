// The HTTP client over sockets: what it sends, replies in pieces, ends of every kind, nesting.

#include "support/LoopbackServer.h"
// The socket header has to come before the system's main one.
#include "automation/MessagePump.h"
#include "support/LibraryTest.h"
#include "transport/CBufferStream.h"
#include "transport/CHTTPDownloader.h"

namespace vtdl::tests {
namespace {

using Events = std::vector<std::wstring>;

/// Writes down a download's events: texts, and percentages as numbers.
class Recorder : public HttpDownloadEvents {
public:
    Events events;
    std::function<void(const std::wstring&)> onEvent = [](const std::wstring&) {};

    void OnStatusText(std::wstring_view text) noexcept override { Note(std::wstring(text)); }
    void OnProgress(long percent) noexcept override { Note(std::to_wstring(percent)); }

private:
    void Note(const std::wstring& event) {
        events.push_back(event);
        onEvent(event);
    }
};

class HttpDownloaderTest : public LibraryTest {
protected:
    std::wstring Fetch(const ClosedPort& server) {
        recorder.events.clear();
        return client->DownloadURL(L"http://127.0.0.1:" + std::to_wstring(server.Port()) +
                                   L"/a?b=c");
    }

    Recorder recorder;
    automation::ComPtr<CHTTPDownloader> client = automation::Make<CHTTPDownloader>(&recorder);
};

const std::string chunked =
    "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
    "4\r\none \r\nb\r\ntwo\r\n three\r\n0\r\n\r\n";

TEST_F(HttpDownloaderTest, Get) {
    LoopbackServer server("the p\xE4ge");
    EXPECT_EQ(Fetch(server), L"the p\u00E4ge");
    EXPECT_EQ(client->ResponseBytes(), "the p\xE4ge");
    EXPECT_EQ(
        server.TakeRequests().at(0),
        "GET /a?b=c HTTP/1.1\r\nAccept: */*\r\nAccept-Language: en-us\r\nConnection: close\r\n"
        "Host: 127.0.0.1\r\n\r\n");
    // The head counts too, so the first arrival already passes the whole length.
    EXPECT_EQ(recorder.events,
              (Events{L"Parsing URL", L"0", L"Resolving server address...",
                      L"Connecting to host...", L"Downloading...", L"100", L"100"}));
    client->UseProxy(true);
    client->ProxyHost(L"127.0.0.1");
    client->ProxyPort(server.Port());
    EXPECT_EQ(client->DownloadURL(L"http://quotes.invalid:8080/a"), L"the p\u00E4ge");
    const std::string request = server.TakeRequests().at(0);
    EXPECT_TRUE(request.starts_with("GET http://quotes.invalid:8080/a HTTP/1.1\r\n")) << request;
    EXPECT_NE(request.find("\r\nHost: quotes.invalid\r\n"), std::string::npos) << request;
}

TEST_F(HttpDownloaderTest, BadAddresses) {
    const ClosedPort closed;
    EXPECT_EQ(Fetch(closed), L"");
    EXPECT_EQ(client->LastError(), WSAECONNREFUSED);
    for (const auto& [url, error] : {std::pair{L"http://127.0.0.1", 1},
                                     {L"", 1},
                                     {L"http:///path", 1},
                                     {L"127.0.0.1:0/", 1},
                                     {L"127.0.0.1/\r\nInjected: 1", 1},
                                     {L"http://no such host/", 2},
                                     {L"http://127.0.0.1:70000/", WSAEADDRNOTAVAIL}}) {
        EXPECT_EQ(client->DownloadURL(url), L"");
        EXPECT_EQ(client->LastError(), error) << url;
    }
    client->UseProxy(true);
    EXPECT_EQ(client->DownloadURL(L"http://127.0.0.1/"), L"");
    EXPECT_EQ(client->LastError(), 2) << "no proxy is named";
}

TEST_F(HttpDownloaderTest, RepliesBeginAfresh) {
    struct Case {
        std::string reply;
        long status;
        const wchar_t* headers;
        const wchar_t* response;
    };
    const Case cases[] = {
        {"HTTP/1.1 404 Not Found\r\n\r\ngone", 1, L"HTTP/1.1 404 Not Found", L"gone"},
        {"HTTP/1.1 301 x\r\nA: /x\r\n\r\n", 2, L"HTTP/1.1 301 x\r\nA: /x", L""},
        {chunked, 0, L"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked", L"one two\r\n three"},
        {"HTTP/1.1 503 Busy\r\n\r\n4\r\nabcd", 1, L"HTTP/1.1 503 Busy", L"4\r\nabcd"},
        {"no head at all", 0, L"", L"no head at all"},
        {"\r\n\r\nbody\r\n\r\n", 0, L"", L"\r\n\r\nbody\r\n\r\n"},
        {"HTTP/1.1 600\r\n\r\n", 3, L"HTTP/1.1 600", L""},
        {"", 0, L"", L""},
    };
    std::string reply;
    LoopbackServer server([&](const std::string&) { return reply; });
    for (const Case& expected : cases) {
        reply = expected.reply;
        EXPECT_EQ(Fetch(server), expected.response);
        EXPECT_EQ(client->LastError(), 0) << reply;
        EXPECT_EQ(client->Status(), expected.status) << reply;
        EXPECT_EQ(client->Headers(), expected.headers);
    }
    // Nobody sends such a head; its end would not come before the memory is full.
    reply = std::string(8'000'000, 'h');
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_EQ(client->LastError(), WSAECONNABORTED);
    EXPECT_LT(client->Response().size(), 2'000'000u);
}

TEST_F(HttpDownloaderTest, RepliesInPieces) {
    LoopbackServer server([](const std::string&) { return chunked; });
    for (std::size_t piece = 1; piece < chunked.size(); ++piece) {
        server.Behave({piece});
        EXPECT_EQ(Fetch(server), L"one two\r\n three") << piece;
    }
}

// A handler that dispatches messages must not mix the order of what arrives meanwhile.
TEST_F(HttpDownloaderTest, ProgressOfALongReply) {
    std::string body;
    for (int i = 0; i < 60'000; ++i) body += std::to_string(i) + "\n";
    const std::string reply = HttpReply(body);
    LoopbackServer server(body);
    server.Behave({0, true});
    recorder.onEvent = [&](const std::wstring& event) {
        if (event == L"Downloading...") automation::PumpFor(1);
        if (client->Response().size() >= reply.size()) client->Disconnect();
    };
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_TRUE(client->Response() == std::wstring(reply.begin(), reply.end()));
    long previous = 0;
    for (const std::wstring& event : recorder.events) {
        if (!iswdigit(event[0])) continue;
        EXPECT_GE(std::stol(event), previous);
        previous = std::stol(event);
    }
    EXPECT_EQ(previous, 100);
}

TEST_F(HttpDownloaderTest, TimeoutEndsTheWait) {
    LoopbackServer server([](const std::string&) { return "HTTP/1.1 200 OK\r\n\r\npart"; });
    server.Behave({0, true});
    client->Timeout(1);
    const DWORD start = GetTickCount();
    EXPECT_EQ(Fetch(server), L"") << "a part is no result";
    EXPECT_GE(GetTickCount() - start, 950u);
    EXPECT_EQ(client->LastError(), 3);
    EXPECT_EQ(recorder.events.back(), L"Timeout expired.");
    EXPECT_TRUE(server.SeesClosing());
    EXPECT_FALSE(FindWindowExW(HWND_MESSAGE, nullptr, L"STATIC", L"VTDL"));

    client->Timeout(2'147'484);  // as milliseconds one more than there is room for
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_NE(TakeErrors().find(L"Overflow"), std::wstring::npos);
}

TEST_F(HttpDownloaderTest, DisconnectFromEveryEvent) {
    LoopbackServer server(
        [](const std::string&) { return "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\npart"; });
    server.Behave({0, true});
    for (const wchar_t* last : {L"Parsing URL", L"0", L"Resolving server address...",
                                L"Connecting to host...", L"Downloading...", L"4"}) {
        recorder.onEvent = [&](const std::wstring& event) {
            if (event == last) client->Disconnect(), client->Disconnect();
        };
        EXPECT_EQ(Fetch(server), L"");
        EXPECT_EQ(client->LastError(), 4) << last;
        EXPECT_EQ(std::count(recorder.events.begin(), recorder.events.end(), L"Cancelled."), 1);
    }
    EXPECT_TRUE(server.SeesClosing(2));
}

TEST_F(HttpDownloaderTest, DownloadsNest) {
    LoopbackServer outer(std::string(200'000, 'o')), inner(std::string(300'000, 'i'));
    const auto other = automation::Make<CHTTPDownloader>();
    std::wstring nested;
    recorder.onEvent = [&](const std::wstring& event) {
        if (event != L"Downloading..." || !nested.empty()) return;
        EXPECT_EQ(client->DownloadURL(L"http://127.0.0.1/"), L"") << "it is running";
        nested = other->DownloadURL(L"127.0.0.1:" + std::to_wstring(inner.Port()) + L"/");
    };
    EXPECT_TRUE(Fetch(outer) == std::wstring(200'000, L'o'));
    EXPECT_TRUE(nested == std::wstring(300'000, L'i'));
}

TEST(BufferStreamTest, StreamsReadTheBlock) {
    CBufferStream buffer;
    EXPECT_FALSE(buffer.IStream());
    buffer.Data(L"<p>t\u00E4xt</p>");
    for (int time = 0; time < 2; ++time) {  // a stream frees no block
        wchar_t text[12] = L"";
        ULONG count = 0;
        EXPECT_EQ(buffer.IStream()->Read(text, sizeof text, &count), S_OK);
        EXPECT_STREQ(text, L"<p>t\u00E4xt</p>");
    }
    EXPECT_THROW(buffer.bufferSize(-1), automation::Error);
}

}  // namespace
}  // namespace vtdl::tests
