// The HTTP client: its states and progress in order, what it sends, cancelling, limits, odd
// replies.

#include <cstring>

#include "support/Downloads.h"
#include "transport/WinInet.h"

namespace vtdl::tests {
namespace {

using States = std::vector<long>;
const States complete{1, 3, 6, 7, 9, 11};

/// A request that writes down its events, and may cancel itself at a state.
class Fetch : public WinInetEvents, public WinInet {
public:
    States states;
    std::vector<std::pair<long, long>> progress;
    long cancelAt = 0;
    bool cancelsAtProgress = false;

    explicit Fetch(const ClosedPort& server) : WinInet(static_cast<WinInetEvents*>(this)) {
        HostName.assign("127.0.0.1");
        Port = static_cast<short>(server.Port());
        Resource.assign("/table.csv?s=A");
    }

    void OnStateChanged(long state) noexcept override {
        states.push_back(state);
        EXPECT_EQ(LastState(), state);
        EXPECT_EQ(SuccessDone, state == WinInet::complete);
        if (state == cancelAt) Cancel();
    }
    void OnProgress(long bytesReceived, long contentLength, float elapsed) noexcept override {
        progress.emplace_back(bytesReceived, contentLength);
        EXPECT_GE(elapsed, 0);
        EXPECT_EQ(states.back(), WinInet::receiving);
        if (cancelsAtProgress) Cancel();
    }
};

class WinInetTest : public LibraryTest {};

bool Has(const std::string& request, const std::string& text) {
    return request.find(text) != std::string::npos;
}

TEST_F(WinInetTest, Get) {
    std::string body;
    for (int i = 0; i < 10'000; ++i) body += static_cast<char>(i % 256);
    LoopbackServer server(body);
    Fetch fetch(server);
    fetch.Method = "GET";
    fetch.AgentName = "the agent";
    fetch.Referer = "http://example.com/here";
    fetch.AcceptTypes = fetch.ContentType = "x/never-sent";
    fetch.Execute();
    EXPECT_EQ(fetch.states, complete);
    EXPECT_EQ(fetch.Response(), body);
    EXPECT_EQ(fetch.ContentType, "text/plain");

    ASSERT_GE(fetch.progress.size(), 4u) << "three blocks and the end";
    long previous = 0;
    for (const auto& [received, total] : fetch.progress) {
        EXPECT_EQ(total, 10'000);
        EXPECT_GE(received, previous);
        EXPECT_LE(received - previous, 4096);
        previous = received;
    }
    EXPECT_EQ(fetch.progress.rbegin()[1].first, 10'000) << "the last report repeats the count";

    const std::string request = server.TakeRequests().at(0);
    EXPECT_TRUE(request.starts_with("GET /table.csv?s=A HTTP/1.0\r\n")) << request;
    EXPECT_TRUE(Has(request, "Referer: http://example.com/here\r\n"));
    EXPECT_TRUE(Has(request, "User-Agent: the agent\r\n"));
    EXPECT_FALSE(Has(request, "Content-Type:") || Has(request, "never-sent"));
}

TEST_F(WinInetTest, Post) {
    LoopbackServer server("answer");
    for (const std::string query : {"a=1&b=%20", ""}) {
        Fetch fetch(server);
        fetch.Method = "POST";
        fetch.PostQuery = query;
        fetch.ContentType = "x/never-sent";
        fetch.Execute();
        EXPECT_EQ(fetch.Response(), "answer");
        const std::string request = server.TakeRequests().at(0);
        EXPECT_TRUE(request.starts_with("POST /table.csv?s=A HTTP/1.0\r\n")) << request;
        EXPECT_TRUE(request.ends_with("\r\n\r\n" + query)) << request;
        EXPECT_EQ(Has(request, "Content-Type: application/x-www-form-urlencoded\r\n"),
                  !query.empty());
        EXPECT_FALSE(Has(request, "never-sent"));
    }
}

TEST_F(WinInetTest, Timeouts) {
    LoopbackServer server("x");
    for (const auto& [given, used] : {std::pair{0L, 300L}, {-1L, 300L}, {1L, 1L}}) {
        Fetch fetch(server);
        fetch.TimeoutSek = given;
        fetch.Execute();
        EXPECT_EQ(fetch.TimeoutSek, used);
        EXPECT_TRUE(fetch.SuccessDone);
    }
    Fetch fetch(server);
    fetch.TimeoutSek = 2'147'484;  // as milliseconds one more than there is room for
    EXPECT_EQ(ErrorFrom(L"vtdl.WinInet.Execute", [&] { fetch.Execute(); }),
              L"80040064 WinInet component failure");
    EXPECT_EQ(fetch.states, States{1});
}

// However a server goes on, a request ends at its limits; a silent one also at the time-out.
TEST_F(WinInetTest, Limits) {
    const std::string head = "HTTP/1.0 200 OK\r\n", body(3 << 20, 'x');
    struct Case {
        const char* what;
        std::string reply;
        Manners manners;
        long timeout, total, state;
    };
    const Case cases[] = {
        {"silence", "", {0, true}, 1, 0, WinInet::sendFailed},
        {"longer silence", "", {0, true}, 30, 1, WinInet::sendFailed},
        {"slow body", head + "\r\n" + body, {1000}, 30, 1, WinInet::cancelled},
        {"large body", head + "\r\n" + body, {}, 30, 30, WinInet::cancelled},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.what);
        LoopbackServer server([&](const std::string&) { return expected.reply; });
        server.Behave(expected.manners);
        Fetch fetch(server);
        fetch.TimeoutSek = expected.timeout;
        fetch.TotalSek = expected.total;
        fetch.MaxBodyMB = 1;
        const ULONGLONG start = GetTickCount64();
        fetch.Execute();
        EXPECT_LT(GetTickCount64() - start, 5000u);
        EXPECT_EQ(fetch.states.back(), expected.state);
        for (const auto& [received, total] : fetch.progress) EXPECT_LE(received, 1 << 20);
    }
}

// What could write a header of the caller's choice is not sent.
TEST_F(WinInetTest, ControlCharacters) {
    LoopbackServer server("x");
    const std::pair<std::string WinInet::*, long> parts[] = {
        {&WinInet::AgentName, WinInet::openFailed},   {&WinInet::HostName, WinInet::connectFailed},
        {&WinInet::UserName, WinInet::connectFailed}, {&WinInet::Password, WinInet::connectFailed},
        {&WinInet::Method, WinInet::requestFailed},   {&WinInet::Resource, WinInet::requestFailed},
        {&WinInet::Referer, WinInet::requestFailed},  {&WinInet::PostQuery, WinInet::requestFailed},
    };
    for (const auto& [part, state] : parts)
        for (const char character : {'\r', '\n', '\0', '\t', '\x7F'}) {
            Fetch fetch(server);
            (fetch.*part += character) += "X-Of-The-Caller: 1";
            fetch.Execute();
            EXPECT_EQ(fetch.states.back(), state);
        }
    EXPECT_TRUE(server.TakeRequests().empty());
}

// Strictly, only the server that was asked gets requests, and none of them tells of another.
TEST_F(WinInetTest, StrictRedirects) {
    LoopbackServer other("other");
    struct Case {
        std::string location;
        std::size_t requests;
        const char* body;
    };
    for (Case expected : {Case{"/b?c#d", 2, "done"},
                          {"c.csv", 2, "done"},
                          {"http://127.0.0.1:PORT/b", 2, "done"},
                          {"/again", 6, ""},
                          {"http://127.0.0.1:OTHER/b", 1, ""},
                          {"//127.0.0.1:OTHER/b", 1, ""},
                          {"https://127.0.0.1:PORT/b", 1, ""},
                          {"http://a@127.0.0.1:PORT/b", 1, ""}}) {
        LoopbackServer server([&](const std::string& request) {
            const bool isOver = !Has(request, "POST /") && !Has(request, "GET /again");
            return isOver
                       ? HttpReply("done")
                       : "HTTP/1.0 302 Found\r\nSet-Cookie: a=b\r\nLocation: " + expected.location +
                             "\r\n\r\n";
        });
        for (const auto& [name, port] : {std::pair{"PORT", server.Port()}, {"OTHER", other.Port()}})
            if (const std::size_t at = expected.location.find(name); at != std::string::npos)
                expected.location.replace(at, std::strlen(name), std::to_string(port));
        SCOPED_TRACE(expected.location);
        Fetch fetch(server);
        fetch.Method = "POST";
        fetch.PostQuery = "a=1";
        fetch.Strict = true;
        fetch.Execute();
        EXPECT_EQ(fetch.Response(), expected.body);
        EXPECT_EQ(fetch.SuccessDone, *expected.body != 0);
        const auto requests = server.TakeRequests();
        EXPECT_EQ(requests.size(), expected.requests);
        for (const std::string& request : requests) EXPECT_FALSE(Has(request, "Cookie")) << request;
    }
    EXPECT_TRUE(other.TakeRequests().empty());
}

TEST_F(WinInetTest, CancelAtEachState) {
    LoopbackServer server(std::string(100'000, 'x'));
    for (const long state : {1L, 3L, 6L, 7L, 9L, 0L}) {  // 0: at the first progress
        SCOPED_TRACE(state);
        Fetch fetch(server);
        fetch.cancelAt = state;
        fetch.cancelsAtProgress = state == 0;
        fetch.Execute();
        States expected(complete.begin(),
                        std::find(complete.begin(), complete.end(), state ? state : 9) + 1);
        expected.push_back(WinInet::cancelled);
        EXPECT_EQ(fetch.states, expected);
        EXPECT_EQ(fetch.Response(), "");
        EXPECT_EQ(fetch.progress.size(), state ? 0u : 1u);
        EXPECT_EQ(server.TakeRequests().size(), state == 0 || state >= WinInet::sent ? 1u : 0u);
        fetch.Execute();
        EXPECT_EQ(fetch.states.back(), WinInet::cancelled) << "it stays cancelled";
    }
}

TEST_F(WinInetTest, Replies) {
    struct Case {
        const char* reply;
        const char* body;  ///< null: it has failed
        long total;
    };
    const Case cases[] = {
        {"HTTP/1.0 200 OK\r\n\r\nno length", "no length", 0},
        {"HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n", "", 0},
        {"HTTP/1.0 200 OK\r\n\r\n", "", 0},
        {"HTTP/1.0 404 Not Found\r\nContent-Length: 4\r\n\r\npage", "page", 4},
        {"HTTP/1.0 200 OK\r\nContent-Length: 100\r\n\r\nclosed early", "closed early", 100},
        {"", nullptr, 0},
        {"page", nullptr, 0},
        {"HTTP/1.0\r\n\r\npage", nullptr, 0},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.reply);
        LoopbackServer server([&](const std::string&) { return std::string(expected.reply); });
        Fetch fetch(server);
        fetch.Execute();
        EXPECT_EQ(fetch.states, expected.body ? complete : (States{1, 3, 6, 8}));
        EXPECT_EQ(fetch.Response(), expected.body ? expected.body : "");
        EXPECT_EQ(fetch.progress.empty(), expected.body == nullptr);
        for (const auto& [received, total] : fetch.progress) EXPECT_EQ(total, expected.total);
    }
    Fetch refused{ClosedPort()};
    refused.Execute();
    EXPECT_EQ(refused.states, (States{1, 3, 6, 8}));
    EXPECT_FALSE(refused.SuccessDone);
}

}  // namespace
}  // namespace vtdl::tests
