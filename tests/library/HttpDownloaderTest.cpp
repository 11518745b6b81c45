// The HTTP client over sockets: what it sends, replies in pieces, ends of every kind.

#include "support/LoopbackServer.h"
// The socket header has to come before the system's main one.
#include "automation/MessagePump.h"
#include "support/LibraryTest.h"
#include "transport/CHTTPDownloader.h"

namespace vtdl::tests {
namespace {

using Events = std::vector<std::wstring>;

class HttpDownloaderTest : public LibraryTest, public HttpDownloadEvents {
protected:
    /// Texts, and percentages as numbers.
    void OnStatusText(std::wstring_view text) noexcept override { Note(std::wstring(text)); }
    void OnProgress(long percent) noexcept override { Note(std::to_wstring(percent)); }
    void Note(const std::wstring& event) {
        events.push_back(event);
        onEvent(event);
    }
    std::wstring Fetch(const ClosedPort& server) {
        events.clear();
        return client->DownloadURL(L"http://127.0.0.1:" + std::to_wstring(server.Port()) +
                                   L"/a?b=c");
    }

    Events events;
    std::function<void(const std::wstring&)> onEvent = [](const std::wstring&) {};
    automation::ComPtr<CHTTPDownloader> client = automation::Make<CHTTPDownloader>(this);
};

TEST_F(HttpDownloaderTest, Get) {
    LoopbackServer server("the p\xE4ge");
    EXPECT_EQ(Fetch(server), L"the p\u00E4ge");
    EXPECT_EQ(
        server.TakeRequests().at(0),
        "GET /a?b=c HTTP/1.1\r\nAccept: */*\r\nAccept-Language: en-us\r\nConnection: close\r\n"
        "Host: 127.0.0.1\r\n\r\n");
    // The head counts too, so the first arrival already passes the whole length.
    EXPECT_EQ(events, (Events{L"Parsing URL", L"0", L"Resolving server address...",
                              L"Connecting to host...", L"Downloading...", L"100", L"100"}));
}

TEST_F(HttpDownloaderTest, BadAddresses) {
    for (const auto& [url, error] : {std::pair{L"127.0.0.1/\r\nInjected: 1", 1},
                                     {L"http://no such host/", 2},
                                     {L"http://127.0.0.1:70000/", WSAEADDRNOTAVAIL}}) {
        EXPECT_EQ(client->DownloadURL(url), L"");
        EXPECT_EQ(client->LastError(), error) << url;
    }
}

TEST_F(HttpDownloaderTest, RepliesBeginAfresh) {
    const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    const std::tuple<std::string, long, const wchar_t*, const wchar_t*> cases[] = {
        {"HTTP/1.1 404 Not Found\r\n\r\ngone", 1, L"HTTP/1.1 404 Not Found", L"gone"},
        {chunked + "4\r\none \r\n3\r\ntwo\r\n0\r\n\r\n", 0,
         L"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked", L"one two"},
        {"no head at all", 0, L"", L"no head at all"},
    };
    std::string sent;
    LoopbackServer server([&](const std::string&) { return sent; });
    for (const std::size_t piece : {0u, 1u}) {
        server.Behave({piece});
        for (const auto& [reply, status, headers, response] : cases) {
            sent = reply;
            EXPECT_EQ(Fetch(server), response);
            EXPECT_EQ(client->LastError(), 0) << reply;
            EXPECT_EQ(client->Status(), status) << reply;
            EXPECT_EQ(client->Headers(), headers);
        }
    }
    // Nobody sends such a head; its end would not come before the memory is full.
    server.Behave({});
    sent = std::string(8'000'000, 'h');
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_EQ(client->LastError(), WSAECONNABORTED);
}

// A handler that dispatches messages must not mix the order of what arrives meanwhile.
TEST_F(HttpDownloaderTest, ProgressOfALongReply) {
    std::string body;
    for (int i = 0; i < 60'000; ++i) body += std::to_string(i) + "\n";
    const std::string reply = HttpReply(body);
    LoopbackServer server(body);
    server.Behave({0, true});
    onEvent = [&](const std::wstring& event) {
        if (event == L"Downloading...") automation::PumpFor(1);
        if (client->Response().size() >= reply.size()) client->Disconnect();
    };
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_TRUE(client->Response() == std::wstring(reply.begin(), reply.end()));
}

TEST_F(HttpDownloaderTest, EndsBeforeTheReplyDoes) {
    LoopbackServer server(
        [](const std::string&) { return "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\npart"; });
    server.Behave({0, true});
    for (const wchar_t* last :
         {L"Parsing URL", L"Connecting to host...", L"Downloading...", L"4"}) {
        onEvent = [&](const std::wstring& event) {
            if (event == last) client->Disconnect(), client->Disconnect();
        };
        EXPECT_EQ(Fetch(server), L"");
        EXPECT_EQ(client->LastError(), 4) << last;
        EXPECT_EQ(std::count(events.begin(), events.end(), L"Cancelled."), 1);
    }
    onEvent = [](const std::wstring&) {};
    client->Timeout(1);
    EXPECT_EQ(Fetch(server), L"") << "a part is no result";
    EXPECT_EQ(client->LastError(), 3);
    EXPECT_EQ(events.back(), L"Timeout expired.");
    EXPECT_FALSE(FindWindowExW(HWND_MESSAGE, nullptr, L"STATIC", L"VTDL"));
}

}  // namespace
}  // namespace vtdl::tests
