// The HTTP client: its states and progress in order, what it sends, cancelling, odd replies.

#include <cstring>

#include "automation/Error.h"
#include "support/Downloads.h"
#include "transport/WinInet.h"

namespace vtdl::tests {
namespace {

using States = std::vector<long>;

/// Writes down a request's events, and cancels it at a state.
class Recorder : public WinInetEvents {
public:
    States states;
    std::vector<std::pair<long, long>> progress;
    long cancelAt = 0;
    bool cancelsAtProgress = false;
    bool isReused = false;
    WinInet* client = nullptr;

    void OnStateChanged(long state) noexcept override {
        states.push_back(state);
        EXPECT_EQ(client->LastState(), state);
        EXPECT_EQ(client->SuccessDone, isReused || state == WinInet::complete);
        if (state == cancelAt) client->Cancel();
    }
    void OnProgress(long bytesReceived, long contentLength, float elapsed) noexcept override {
        progress.emplace_back(bytesReceived, contentLength);
        EXPECT_GE(elapsed, 0);
        EXPECT_EQ(states.back(), WinInet::receiving);
        if (cancelsAtProgress) client->Cancel();
    }
};

class WinInetTest : public LibraryTest {
protected:
    WinInetTest() { recorder.client = &client; }

    static void Aim(WinInet& one, short port) {
        one.HostName.assign("127.0.0.1");
        one.Port = port;
        if (one.Resource.empty()) one.Resource.assign("/table.csv?s=A");
    }
    void Execute(const LoopbackServer& server) {
        Aim(client, server.Port());
        client.Execute();
    }

    Recorder recorder;
    WinInet client{&recorder};
};

const States complete{1, 3, 6, 7, 9, 11};

bool Has(const std::string& request, const std::string& text) {
    return request.find(text) != std::string::npos;
}

TEST_F(WinInetTest, Get) {
    std::string body;
    for (int i = 0; i < 10'000; ++i) body += static_cast<char>(i % 256);
    LoopbackServer server(body);
    client.Method = "GET";
    client.AgentName = "the agent";
    client.Referer = "http://example.com/here";
    client.AcceptTypes = "x/never-sent";
    client.ContentType = "x/never-sent";
    Execute(server);
    EXPECT_EQ(recorder.states, complete);
    EXPECT_TRUE(client.SuccessDone);
    EXPECT_EQ(client.Response(), body);
    EXPECT_EQ(client.ContentType, "text/plain");
    EXPECT_EQ(client.Method, "GET");
    EXPECT_EQ(client.TimeoutSek, 300);

    ASSERT_GE(recorder.progress.size(), 4u) << "three blocks and the end";
    long previous = 0;
    for (const auto& [received, total] : recorder.progress) {
        EXPECT_EQ(total, 10'000);
        EXPECT_GE(received, previous);
        EXPECT_LE(received - previous, 4096);
        previous = received;
    }
    EXPECT_EQ(previous, 10'000);
    EXPECT_EQ(recorder.progress.rbegin()[1].first, 10'000) << "the last report repeats the count";

    const auto requests = server.TakeRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_TRUE(requests[0].starts_with("GET /table.csv?s=A HTTP/1.0\r\n")) << requests[0];
    EXPECT_TRUE(Has(requests[0], "Referer: http://example.com/here\r\n"));
    EXPECT_TRUE(Has(requests[0], "User-Agent: the agent\r\n"));
    EXPECT_FALSE(Has(requests[0], "Content-Type:"));
    EXPECT_FALSE(Has(requests[0], "never-sent"));
}

TEST_F(WinInetTest, Post) {
    LoopbackServer server("answer");
    client.Method = "POST";
    client.PostQuery = "a=1&b=%20";
    client.ContentType = "x/never-sent";
    Execute(server);
    EXPECT_EQ(recorder.states, complete);
    EXPECT_EQ(client.Response(), "answer");
    EXPECT_EQ(client.Method, "POST");
    const auto requests = server.TakeRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_TRUE(requests[0].starts_with("POST /table.csv?s=A HTTP/1.0\r\n")) << requests[0];
    EXPECT_TRUE(Has(requests[0], "Content-Type: application/x-www-form-urlencoded\r\n"));
    EXPECT_TRUE(requests[0].ends_with("\r\n\r\na=1&b=%20"));
    EXPECT_FALSE(Has(requests[0], "never-sent"));

    WinInet bare;
    Aim(bare, server.Port());
    bare.Method = "POST";
    bare.Execute();
    const std::string request = server.TakeRequests().at(0);
    EXPECT_TRUE(request.starts_with("POST /table.csv?s=A HTTP/1.0\r\n")) << request;
    EXPECT_FALSE(Has(request, "Content-Type:")) << "no form without a body";
    EXPECT_TRUE(request.ends_with("\r\n\r\n"));
}

TEST_F(WinInetTest, Timeouts) {
    LoopbackServer server("x");
    for (const auto& [given, used] : {std::pair{0L, 300L}, {-1L, 300L}, {1L, 1L}}) {
        WinInet one;
        Aim(one, server.Port());
        one.TimeoutSek = given;
        one.Execute();
        EXPECT_EQ(one.TimeoutSek, used);
        EXPECT_TRUE(one.SuccessDone);
    }
    client.TimeoutSek = 2'147'484;  // as milliseconds one more than there is room for
    try {
        Execute(server);
        ADD_FAILURE() << "no error";
    } catch (const automation::Error& error) {
        EXPECT_EQ(error.Code(), static_cast<HRESULT>(0x80040064));
        EXPECT_EQ(error.Source(), L"vtdl.WinInet.Execute");
        EXPECT_EQ(error.Description(), L"WinInet component failure");
    }
    EXPECT_EQ(recorder.states, States{1});
    EXPECT_FALSE(client.SuccessDone);
}

// However a server goes on, a request ends at its limits; a silent one also at the time-out.
TEST_F(WinInetTest, Limits) {
    const std::string head = "HTTP/1.0 200 OK\r\n";
    const std::string megabytes(3 << 20, 'x');
    struct Case {
        const char* what;
        std::string reply;  ///< empty: silence
        std::size_t piece;
        long timeout, total, state;
    };
    const Case cases[] = {
        {"silence", "", 0, 1, 0, WinInet::sendFailed},
        {"longer silence", "", 0, 30, 1, WinInet::sendFailed},
        {"slow body", head + "\r\n" + megabytes, 1000, 30, 1, WinInet::cancelled},
        {"large body", head + "\r\n" + megabytes, 0, 30, 30, WinInet::cancelled},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.what);
        LoopbackServer server([&](const std::string&) {
            if (expected.reply.empty()) Sleep(2500);
            return expected.reply;
        });
        server.PaceReplies(expected.piece);
        Recorder one;
        WinInet fetch(&one);
        one.client = &fetch;
        Aim(fetch, server.Port());
        fetch.TimeoutSek = expected.timeout;
        fetch.TotalSek = expected.total;
        fetch.MaxBodyMB = 1;
        const ULONGLONG start = GetTickCount64();
        fetch.Execute();
        EXPECT_LT(GetTickCount64() - start, 2300u);
        EXPECT_EQ(one.states.back(), expected.state);
        EXPECT_FALSE(fetch.SuccessDone);
        for (const auto& [received, total] : one.progress) EXPECT_LE(received, 1 << 20);
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
            Recorder one;
            WinInet fetch(&one);
            one.client = &fetch;
            Aim(fetch, server.Port());
            fetch.*part += character;
            fetch.*part += "X-Of-The-Caller: 1";
            fetch.Execute();
            EXPECT_EQ(one.states.back(), state);
        }
    EXPECT_TRUE(server.TakeRequests().empty());
}

// Strictly, only the server that was asked gets requests, and none of them tells of another.
TEST_F(WinInetTest, StrictRedirects) {
    LoopbackServer other("other");
    struct Case {
        const char* location;
        std::size_t requests;
        const char* body;
    };
    for (const Case& expected : {Case{"/b?c#d", 2, "done"},
                                 {"c.csv", 2, "done"},
                                 {"http://127.0.0.1:PORT/b", 2, "done"},
                                 {"/again", 6, ""},
                                 {"http://127.0.0.1:OTHER/b", 1, ""},
                                 {"//127.0.0.1:OTHER/b", 1, ""},
                                 {"https://127.0.0.1:PORT/b", 1, ""},
                                 {"http://a@127.0.0.1:PORT/b", 1, ""}}) {
        SCOPED_TRACE(expected.location);
        std::string location = expected.location;
        LoopbackServer server([&](const std::string& request) {
            const bool isOver = !Has(request, "POST /") && !Has(request, "GET /again");
            return isOver ? HttpReply("done")
                          : "HTTP/1.0 302 Found\r\nSet-Cookie: a=b\r\nLocation: " + location +
                                "\r\n\r\n";
        });
        for (const auto& [name, port] : {std::pair{"PORT", server.Port()}, {"OTHER", other.Port()}})
            if (const std::size_t at = location.find(name); at != std::string::npos)
                location.replace(at, std::strlen(name),
                                 std::to_string(static_cast<unsigned short>(port)));
        WinInet fetch;
        Aim(fetch, server.Port());
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
    for (const long state : {1L, 3L, 6L, 7L, 9L}) {
        SCOPED_TRACE(state);
        Recorder one;
        WinInet cancelled(&one);
        one.client = &cancelled;
        one.cancelAt = state;
        Aim(cancelled, server.Port());
        cancelled.Execute();
        States expected(complete.begin(), std::find(complete.begin(), complete.end(), state) + 1);
        expected.push_back(WinInet::cancelled);
        EXPECT_EQ(one.states, expected);
        EXPECT_FALSE(cancelled.SuccessDone);
        EXPECT_EQ(cancelled.Response(), "");
        EXPECT_EQ(one.progress.size(), 0u);
        EXPECT_EQ(server.TakeRequests().size(), state >= WinInet::sent ? 1u : 0u);
        cancelled.Execute();
        EXPECT_EQ(one.states.back(), WinInet::cancelled) << "it stays cancelled";
    }
    recorder.cancelsAtProgress = true;
    Execute(server);
    EXPECT_EQ(recorder.states, (States{1, 3, 6, 7, 9, 12}));
    EXPECT_EQ(recorder.progress.size(), 1u);
    EXPECT_EQ(client.Response(), "");
}

TEST_F(WinInetTest, Replies) {
    struct Case {
        const char* reply;
        const char* body;
        long total;
    };
    const Case cases[] = {
        {"HTTP/1.0 200 OK\r\n\r\nno length", "no length", 0},
        {"HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n", "", 0},
        {"HTTP/1.0 200 OK\r\n\r\n", "", 0},
        {"HTTP/1.0 404 Not Found\r\nContent-Length: 4\r\n\r\npage", "page", 4},
        {"HTTP/1.0 200 OK\r\nContent-Length: 100\r\n\r\nclosed early", "closed early", 100},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.reply);
        LoopbackServer server([&](const std::string&) { return std::string(expected.reply); });
        Recorder one;
        WinInet fetch(&one);
        one.client = &fetch;
        Aim(fetch, server.Port());
        fetch.Execute();
        EXPECT_EQ(one.states, complete);
        EXPECT_TRUE(fetch.SuccessDone);
        EXPECT_EQ(fetch.Response(), expected.body);
        ASSERT_FALSE(one.progress.empty());
        for (const auto& [received, total] : one.progress) EXPECT_EQ(total, expected.total);
        EXPECT_EQ(one.progress.back().first, static_cast<long>(fetch.Response().size()));
    }
}

TEST_F(WinInetTest, RepliesWithoutStatusLine) {
    for (const char* reply : {"", "page", "HTTP/1.0\r\n\r\npage"}) {
        SCOPED_TRACE(reply);
        LoopbackServer server([&](const std::string&) { return std::string(reply); });
        Recorder one;
        WinInet fetch(&one);
        one.client = &fetch;
        Aim(fetch, server.Port());
        fetch.Execute();
        EXPECT_EQ(one.states, (States{1, 3, 6, 8}));
        EXPECT_FALSE(fetch.SuccessDone);
    }
}

TEST_F(WinInetTest, RefusedConnectionFailsSoftly) {
    const ClosedPort closed;
    Aim(client, closed.Port());
    EXPECT_NO_THROW(client.Execute());
    EXPECT_EQ(recorder.states, (States{1, 3, 6, 8}));
    EXPECT_FALSE(client.SuccessDone);
    EXPECT_EQ(client.Response(), "");
    EXPECT_EQ(recorder.progress.size(), 0u);
}

TEST_F(WinInetTest, ResponseIsEmptyUnlessDone) {
    EXPECT_EQ(client.Response(), "");
    client.Response("set by hand");
    EXPECT_EQ(client.Response(), "");
    client.SuccessDone = true;
    EXPECT_EQ(client.Response(), "set by hand");
}

TEST_F(WinInetTest, ReuseKeepsCounting) {
    LoopbackServer server("12345");
    client.Resource = "/a b/../c.csv";
    Execute(server);
    recorder.isReused = true;
    Execute(server);
    EXPECT_EQ(client.Response(), "12345");
    EXPECT_EQ(recorder.progress.back().first, 10);
    EXPECT_EQ(recorder.states.size(), 2 * complete.size());
    const auto paths = server.TakePaths();
    ASSERT_EQ(paths.size(), 2u);
    EXPECT_EQ(paths[0].substr(4), client.Resource) << "the resource is what was sent";
    EXPECT_EQ(paths[1], paths[0]);
    EXPECT_EQ(client.Resource.find(' '), std::string::npos) << client.Resource;
}

}  // namespace
}  // namespace vtdl::tests
