// The HTTP client over sockets: what it sends, replies in pieces, ends of every kind, nesting.

#include "support/LoopbackServer.h"
// The socket header has to come before the system's main one.
#include "automation/MessagePump.h"
#include "errors/CErrorHandler.h"
#include "support/LibraryTest.h"
#include "transport/CHTTPDownloader.h"

namespace vtdl::tests {
namespace {

using automation::ComPtr;
using Events = std::vector<std::wstring>;

/// Writes down a download's events: texts, and percentages as numbers.
class Recorder : public HttpDownloadEvents {
public:
    Events events;
    std::function<void(const std::wstring&)> onEvent;

    void OnStatusText(std::wstring_view text) noexcept override { Note(std::wstring(text)); }
    void OnProgress(long percent) noexcept override { Note(std::to_wstring(percent)); }

private:
    void Note(const std::wstring& event) {
        events.push_back(event);
        if (onEvent) onEvent(event);
    }
};

/// Message-only windows of the library's that are left.
int WindowCount() {
    int count = 0;
    for (HWND window = nullptr;;) {
        window = FindWindowExW(HWND_MESSAGE, window, L"STATIC", L"VTDL");
        if (!window) return count;
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId()) ++count;
    }
}

class HttpDownloaderTest : public LibraryTest {
protected:
    ~HttpDownloaderTest() override {
        client.reset();
        EXPECT_EQ(WindowCount(), 0);
    }

    static std::wstring UrlOf(const LoopbackServer& server, const std::wstring& path = L"/a?b=c") {
        const std::string host = server.Host();
        return L"http://" + std::wstring(host.begin(), host.end()) + path;
    }
    std::wstring Fetch(const LoopbackServer& server) { return client->DownloadURL(UrlOf(server)); }

    Recorder recorder;
    ComPtr<CHTTPDownloader> client = automation::Make<CHTTPDownloader>(&recorder);
};

const std::string chunked =
    "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
    "4\r\none \r\nb\r\ntwo\r\n three\r\n0\r\n\r\n";

TEST_F(HttpDownloaderTest, Get) {
    LoopbackServer server([](const std::string&) { return HttpReply("the p\xE4ge"); });
    EXPECT_EQ(client->Timeout(), 15);
    EXPECT_EQ(Fetch(server), L"the p\u00E4ge");
    EXPECT_EQ(client->LastError(), 0);
    EXPECT_EQ(client->Status(), 0);
    EXPECT_EQ(client->Headers(),
              L"HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 8");
    EXPECT_EQ(client->Response(), L"the p\u00E4ge");
    EXPECT_EQ(client->ResponseBytes(), "the p\xE4ge");
    const std::vector<std::string> expected{
        "GET /a?b=c HTTP/1.1\r\nAccept: */*\r\nAccept-Language: en-us\r\nConnection: close\r\n"
        "Host: 127.0.0.1\r\n\r\n"};
    EXPECT_EQ(server.TakeRequests(), expected);
    // The head counts too, so the first arrival already passes the whole length.
    EXPECT_EQ(recorder.events,
              (Events{L"Parsing URL", L"0", L"Resolving server address...",
                      L"Connecting to host...", L"Downloading...", L"100", L"100"}));
}

TEST_F(HttpDownloaderTest, RunsInFramesOfItsMembers) {
    LoopbackServer server("page");
    gErrorHandler().TracingEnabled(true);
    Fetch(server);
    client->Status();
    gErrorHandler().TracingEnabled(false);
    const std::string trace = ReadAll("Tracing Log.txt"), entered = "Entered routine: ";
    std::string routines;
    for (std::size_t at = 0; (at = trace.find(entered, at)) != std::string::npos; ++at)
        routines +=
            trace.substr(at + entered.size(), trace.find("\r\n", at) - at - entered.size()) + "\n";
    EXPECT_EQ(routines,
              "vtdl.CHTTPDownloader.DownloadURL\n"
              "vtdl.CHTTPDownloader.m_oBytesTransferEvents_OnBytesReceived\n"
              "vtdl.CHTTPDownloader.m_oStringTransferEvents_OnStringReceived\n"
              "vtdl.CHTTPDownloader.ParseHeaders\n"
              "vtdl.CHTTPDownloader.m_oConnectionEvents_OnDisconnected\n"
              "vtdl.CHTTPDownloader.ParseData\n"
              "vtdl.CHTTPDownloader.ParseHeaders\n"
              "vtdl.CHTTPDownloader.Status\n");
}

TEST_F(HttpDownloaderTest, ReleasedByItsOwnHandler) {
    LoopbackServer server("page");
    recorder.onEvent = [&](const std::wstring& event) {
        if (event == L"Downloading...") client.reset();
    };
    EXPECT_EQ(Fetch(server), L"page");
}

TEST_F(HttpDownloaderTest, BadAddresses) {
    for (const wchar_t* url : {L"http://127.0.0.1", L"", L"/path", L"http:///path", L"127.0.0.1:0/",
                               L"127.0.0.1:-1/", L"127.0.0.1/\r\nInjected: 1"}) {
        recorder.events.clear();
        EXPECT_EQ(client->DownloadURL(url), L"");
        EXPECT_EQ(client->LastError(), 1) << url;
        EXPECT_EQ(recorder.events, (Events{L"Parsing URL", L"0"}));
    }
    EXPECT_EQ(client->DownloadURL(L"http://no such host/"), L"");
    EXPECT_EQ(client->LastError(), 2);
    client->UseProxy(true);
    EXPECT_EQ(client->DownloadURL(L"http://127.0.0.1/"), L"");
    EXPECT_EQ(client->LastError(), 2) << "no proxy is named";
    client->UseProxy(false);
    EXPECT_EQ(client->DownloadURL(L"http://127.0.0.1:70000/"), L"");
    EXPECT_EQ(client->LastError(), WSAEADDRNOTAVAIL);

    const ClosedPort closed;
    recorder.events.clear();
    EXPECT_EQ(
        client->DownloadURL(L"127.0.0.1:" +
                            std::to_wstring(static_cast<unsigned short>(closed.Port())) + L"/"),
        L"");
    EXPECT_EQ(client->LastError(), WSAECONNREFUSED);
    EXPECT_EQ(recorder.events.back(), L"Connecting to host...");
}

TEST_F(HttpDownloaderTest, Proxy) {
    LoopbackServer server("page");
    client->UseProxy(true);
    client->ProxyHost(L"127.0.0.1");
    client->ProxyPort(static_cast<unsigned short>(server.Port()));
    EXPECT_EQ(client->DownloadURL(L"http://quotes.invalid:8080/a"), L"page");
    const std::string request = server.TakeRequests().at(0);
    EXPECT_TRUE(request.starts_with("GET http://quotes.invalid:8080/a HTTP/1.1\r\n")) << request;
    EXPECT_NE(request.find("\r\nHost: quotes.invalid\r\n"), std::string::npos) << request;
}

TEST_F(HttpDownloaderTest, RepliesBeginAfresh) {
    struct Case {
        const char* reply;
        long status;
        const wchar_t* headers;
        const wchar_t* response;
    };
    const Case cases[] = {
        {"HTTP/1.1 404 Not Found\r\n\r\ngone", 1, L"HTTP/1.1 404 Not Found", L"gone"},
        {"HTTP/1.1 301 Moved\r\nLocation: /x\r\n\r\n", 2, L"HTTP/1.1 301 Moved\r\nLocation: /x",
         L""},
        {chunked.c_str(), 0, L"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked",
         L"one two\r\n three"},
        {"HTTP/1.1 503 Busy\r\n\r\n4\r\nabcd", 1, L"HTTP/1.1 503 Busy", L"4\r\nabcd"},
        {"no head at all", 0, L"", L"no head at all"},
        {"\r\n\r\nbody\r\n\r\n", 0, L"", L"\r\n\r\nbody\r\n\r\n"},
        {"HTTP/1.1 600\r\n\r\n", 3, L"HTTP/1.1 600", L""},
        {"", 0, L"", L""},
    };
    std::string reply;
    LoopbackServer server([&](const std::string&) { return reply; });
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.reply);
        reply = expected.reply;
        EXPECT_EQ(Fetch(server), expected.response);
        EXPECT_EQ(client->LastError(), 0);
        EXPECT_EQ(client->Status(), expected.status);
        EXPECT_EQ(client->Headers(), expected.headers);
        EXPECT_EQ(recorder.events.back(), L"100");
    }
}

TEST_F(HttpDownloaderTest, RepliesInEveryTwoPieces) {
    LoopbackServer server([](const std::string&) { return chunked; });
    for (std::size_t cut = 1; cut < chunked.size(); ++cut) {
        server.CutReplies(cut);
        EXPECT_EQ(Fetch(server), L"one two\r\n three") << cut;
        EXPECT_EQ(client->Headers(), L"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked") << cut;
    }
}

// A handler that dispatches messages must not mix the order of what arrives meanwhile.
TEST_F(HttpDownloaderTest, ProgressOfALongReply) {
    std::string body;
    for (int i = 0; i < 60'000; ++i) body += std::to_string(i) + "\n";
    LoopbackServer server(body);
    server.LeaveOpen();
    recorder.onEvent = [&](const std::wstring& event) {
        if (event == L"Downloading...") automation::PumpFor(1);
        if (client->Response().size() > body.size()) client->Disconnect();
    };
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_EQ(client->LastError(), 4);
    const std::string head = HttpReply(body).substr(0, HttpReply(body).size() - body.size());
    const std::wstring whole =
        std::wstring(head.begin(), head.end()) + std::wstring(body.begin(), body.end());
    EXPECT_TRUE(client->Response() == whole) << "received: " << client->Response().size();
    long previous = 0, reports = 0;
    for (const std::wstring& event : recorder.events) {
        if (event.find_first_not_of(L"0123456789") != std::wstring::npos) continue;
        const long percent = std::stol(event);
        EXPECT_GE(percent, previous);
        EXPECT_LE(percent, 100);
        previous = percent;
        ++reports;
    }
    EXPECT_GT(reports, 5);
}

TEST_F(HttpDownloaderTest, PeerClosesWhileAHandlerRuns) {
    LoopbackServer server("page");
    client->Timeout(5);
    recorder.onEvent = [](const std::wstring& event) {
        if (event == L"Downloading...") automation::PumpFor(100);
    };
    EXPECT_EQ(Fetch(server), L"page");
    EXPECT_EQ(client->LastError(), 0);
}

TEST_F(HttpDownloaderTest, TimeoutEndsTheWait) {
    LoopbackServer server([](const std::string&) { return "HTTP/1.1 200 OK\r\n\r\npart"; });
    server.LeaveOpen();
    client->Timeout(1);
    const DWORD start = GetTickCount();
    EXPECT_EQ(Fetch(server), L"") << "a part is no result";
    EXPECT_GE(GetTickCount() - start, 950u);
    EXPECT_LT(GetTickCount() - start, 2500u);
    EXPECT_EQ(client->LastError(), 3);
    EXPECT_EQ(recorder.events.back(), L"Timeout expired.");
    EXPECT_EQ(client->Response(), L"HTTP/1.1 200 OK\r\n\r\npart");
    EXPECT_TRUE(server.SeesClosing());
    EXPECT_EQ(WindowCount(), 0);

    client->Timeout(2'147'484);  // as milliseconds one more than there is room for
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_NE(client->LastError(), 0);
    EXPECT_NE(TakeErrors().find(L"Overflow"), std::wstring::npos);
}

TEST_F(HttpDownloaderTest, ConnectingEndsToo) {
    const DeafPort deaf;
    const std::wstring url =
        L"127.0.0.1:" + std::to_wstring(static_cast<unsigned short>(deaf.Port())) + L"/";
    client->Timeout(1);
    EXPECT_EQ(client->DownloadURL(url), L"");
    EXPECT_EQ(client->LastError(), 3);
    EXPECT_EQ(recorder.events.end()[-2], L"Connecting to host...");
    EXPECT_EQ(recorder.events.back(), L"Timeout expired.");
}

// More than a socket takes at once.
TEST_F(HttpDownloaderTest, LongAddress) {
    LoopbackServer server("page");
    const std::wstring path = L"/" + std::wstring(12'000'000, L'p');
    EXPECT_EQ(client->DownloadURL(UrlOf(server, path)), L"page");
    const auto paths = server.TakePaths();
    ASSERT_EQ(paths.size(), 1u);
    EXPECT_EQ(paths[0].size(), path.size() + 4);
}

TEST_F(HttpDownloaderTest, DisconnectFromEveryEvent) {
    LoopbackServer server(
        [](const std::string&) { return "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\npart"; });
    server.LeaveOpen();
    client->Disconnect();
    EXPECT_EQ(client->LastError(), 0) << "nothing is running";
    EXPECT_EQ(recorder.events, Events{});
    for (const wchar_t* last : {L"Parsing URL", L"0", L"Resolving server address...",
                                L"Connecting to host...", L"Downloading...", L"4"}) {
        recorder.events.clear();
        DWORD cancelled = 0;
        recorder.onEvent = [&](const std::wstring& event) {
            if (event != last) return;
            cancelled = GetTickCount();
            client->Disconnect();
            client->Disconnect();
        };
        EXPECT_EQ(Fetch(server), L"");
        EXPECT_LT(GetTickCount() - cancelled, 250u) << last;
        EXPECT_EQ(client->LastError(), 4) << last;
        EXPECT_EQ(std::count(recorder.events.begin(), recorder.events.end(), L"Cancelled."), 1);
    }
    EXPECT_TRUE(server.SeesClosing(2));
}

TEST_F(HttpDownloaderTest, DisconnectFromATimer) {
    LoopbackServer server([](const std::string&) { return std::string(); });
    server.LeaveOpen();
    static CHTTPDownloader* running;
    static DWORD cancelled;
    running = client.get();
    struct Host {
        static void CALLBACK Cancel(HWND, UINT, UINT_PTR id, DWORD) noexcept {
            KillTimer(nullptr, id);
            cancelled = GetTickCount();
            running->Disconnect();
        }
    };
    SetTimer(nullptr, 0, 100, Host::Cancel);
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_LT(GetTickCount() - cancelled, 250u);
    EXPECT_EQ(client->LastError(), 4);
    EXPECT_EQ(recorder.events.back(), L"Cancelled.");
    EXPECT_TRUE(server.SeesClosing());
}

TEST_F(HttpDownloaderTest, DownloadsNest) {
    LoopbackServer outer(std::string(200'000, 'o')), inner(std::string(300'000, 'i'));
    const auto other = automation::Make<CHTTPDownloader>();
    bool isNested = false;
    std::wstring nested;
    recorder.onEvent = [&](const std::wstring& event) {
        if (event != L"Downloading..." || std::exchange(isNested, true)) return;
        EXPECT_EQ(client->DownloadURL(UrlOf(outer)), L"") << "it is running";
        nested = other->DownloadURL(UrlOf(inner));
    };
    EXPECT_TRUE(Fetch(outer) == std::wstring(200'000, L'o'));
    EXPECT_TRUE(nested == std::wstring(300'000, L'i'));
    EXPECT_EQ(outer.TakeRequests().size(), 1u);

    // Neither server closes, and the outer download's time is over while the inner one waits.
    outer.LeaveOpen();
    inner.LeaveOpen();
    client->Timeout(1);
    other->Timeout(2);
    recorder.onEvent = [&, isStarted = false](const std::wstring& event) mutable {
        if (event != L"Downloading..." || std::exchange(isStarted, true)) return;
        other->DownloadURL(UrlOf(inner));
        EXPECT_EQ(client->LastError(), 3);
    };
    EXPECT_EQ(Fetch(outer), L"");
    EXPECT_EQ(client->LastError(), 3);
    EXPECT_EQ(other->LastError(), 3);
}

// Nobody sends such a head; its end would not come before the memory is full.
TEST_F(HttpDownloaderTest, EndlessHead) {
    LoopbackServer server([](const std::string&) { return std::string(100'000'000, 'h'); });
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_EQ(client->LastError(), WSAECONNABORTED);
    EXPECT_LT(client->Response().size(), 2'000'000u);
}

TEST_F(HttpDownloaderTest, QuitIsPostedAgain) {
    LoopbackServer server("page");
    recorder.onEvent = [](const std::wstring& event) {
        if (event == L"Connecting to host...") PostQuitMessage(7);
    };
    EXPECT_EQ(Fetch(server), L"page");
    MSG message;
    ASSERT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 7u);
}

// Messages that never cease, as those of a fast peer, must not keep timers from firing.
TEST_F(HttpDownloaderTest, TimersFireWhileMessagesFlood) {
    static bool isFired;
    isFired = false;
    struct Host {
        static LRESULT CALLBACK Flood(HWND window, UINT message, WPARAM a, LPARAM b) noexcept {
            if (message != WM_APP) return DefWindowProcW(window, message, a, b);
            PostMessageW(window, WM_APP, 0, 0);
            return 0;
        }
        static void CALLBACK Fire(HWND, UINT, UINT_PTR, DWORD) noexcept { isFired = true; }
    };
    const HWND window = CreateWindowExW(0, L"STATIC", L"flood", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                        nullptr, nullptr, nullptr);
    SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Host::Flood));
    PostMessageW(window, WM_APP, 0, 0);
    SetTimer(window, 1, 20, Host::Fire);
    const DWORD start = GetTickCount();
    automation::PumpUntil([&] { return isFired || GetTickCount() - start > 5000; });
    EXPECT_TRUE(isFired);
    DestroyWindow(window);
}

}  // namespace
}  // namespace vtdl::tests
