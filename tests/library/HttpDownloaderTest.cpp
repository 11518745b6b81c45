// The HTTP client over sockets, through which no host's request goes.

#include "support/LoopbackServer.h"
// The socket header has to come before the system's main one.
#include "automation/MessagePump.h"
#include "support/LibraryTest.h"
#include "transport/CHTTPDownloader.h"

namespace vtdl::tests {
namespace {

class HttpDownloaderTest : public LibraryTest, public HttpDownloadEvents {
protected:
    void OnStatusText(std::wstring_view text) noexcept override { onEvent(text); }
    void OnProgress(long) noexcept override { onEvent(L"progress"); }
    std::wstring Fetch(const ClosedPort& server) {
        return client->DownloadURL(L"http://127.0.0.1:" + std::to_wstring(server.Port()) + L"/a?b");
    }

    std::function<void(std::wstring_view)> onEvent = [](std::wstring_view) {};
    automation::ComPtr<CHTTPDownloader> client = automation::Make<CHTTPDownloader>(this);
};

TEST_F(HttpDownloaderTest, RepliesInPieces) {
    LoopbackServer server([](const std::string&) {
        return "HTTP/1.1 404 Not Found\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nth\xE9 \r\n"
               "3\r\ntwo\r\n0\r\n\r\n";
    });
    for (const std::size_t piece : {0u, 1u}) {
        server.Behave({piece});
        EXPECT_EQ(Fetch(server), L"th\u00E9 two");
        EXPECT_EQ(client->Status(), 1);
        EXPECT_EQ(server.TakeRequests().at(0),
                  "GET /a?b HTTP/1.1\r\nAccept: */*\r\nAccept-Language: en-us\r\nConnection: "
                  "close\r\nHost: 127.0.0.1\r\n\r\n");
    }
}

// A handler that dispatches messages must not mix the order of what arrives meanwhile; it may end
// the download too.
TEST_F(HttpDownloaderTest, HandlersOfALongReply) {
    std::string body;
    for (int i = 0; i < 60'000; ++i) body += std::to_string(i) + "\n";
    const std::string reply = HttpReply(body);
    LoopbackServer server(body);
    server.Behave({0, true});
    onEvent = [&](std::wstring_view event) {
        if (event == L"Downloading...") automation::PumpFor(1);
        if (client->Response().size() >= reply.size()) client->Disconnect();
    };
    EXPECT_EQ(Fetch(server), L"");
    EXPECT_EQ(client->LastError(), 4) << "cancelled";
    EXPECT_TRUE(client->Response() == std::wstring(reply.begin(), reply.end()));
}

}  // namespace
}  // namespace vtdl::tests
