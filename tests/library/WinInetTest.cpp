// The HTTP client: its states and progress in order, what it sends, cancelling, limits, odd
// replies.

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
    const std::string body = std::string(5'000, '\0') + std::string(5'000, '\xFF');
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

    long previous = 0;
    for (const auto& [received, total] : fetch.progress) {
        EXPECT_EQ(total, 10'000);
        EXPECT_TRUE(received >= previous && received - previous <= 4096);
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
        fetch.TimeoutSek = -1;
        fetch.Execute();
        EXPECT_EQ(fetch.TimeoutSek, 300);
        EXPECT_EQ(fetch.Response(), "answer");
        const std::string request = server.TakeRequests().at(0);
        EXPECT_TRUE(request.starts_with("POST /table.csv?s=A HTTP/1.0\r\n")) << request;
        EXPECT_TRUE(request.ends_with("\r\n\r\n" + query)) << request;
        EXPECT_EQ(Has(request, "Content-Type: application/x-www-form-urlencoded\r\n"),
                  !query.empty());
    }
    Fetch fetch(server);
    fetch.TimeoutSek = 2'147'484;  // as milliseconds one more than there is room for
    EXPECT_EQ(ErrorFrom(L"vtdl.WinInet.Execute", [&] { fetch.Execute(); }),
              L"80040064 WinInet component failure");
}

// However a server goes on, a request ends at its limits; a silent one also at the time-out.
TEST_F(WinInetTest, Limits) {
    const std::tuple<bool, Manners, long, long, long> cases[] = {
        {false, {0, true}, 1, 0, WinInet::sendFailed},
        {false, {0, true}, 30, 1, WinInet::sendFailed},
        {true, {1000}, 30, 1, WinInet::cancelled},
        {true, {}, 30, 30, WinInet::cancelled},
    };
    for (const auto& [isLarge, manners, timeout, total, state] : cases) {
        LoopbackServer server([&, large = isLarge](const std::string&) {
            return large ? "HTTP/1.0 200 OK\r\n\r\n" + std::string(3 << 20, 'x') : "";
        });
        server.Behave(manners);
        Fetch fetch(server);
        fetch.TimeoutSek = timeout;
        fetch.TotalSek = total;
        fetch.MaxBodyMB = 1;
        const ULONGLONG start = GetTickCount64();
        fetch.Execute();
        EXPECT_LT(GetTickCount64() - start, 5000u);
        EXPECT_EQ(fetch.states.back(), state);
        for (const auto& progress : fetch.progress) EXPECT_LE(progress.first, 1 << 20);
    }
}

// What could write a header of the caller's choice is not sent.
TEST_F(WinInetTest, ControlCharacters) {
    LoopbackServer server("x");
    for (const auto part :
         {&WinInet::AgentName, &WinInet::HostName, &WinInet::UserName, &WinInet::Password,
          &WinInet::Method, &WinInet::Resource, &WinInet::Referer, &WinInet::PostQuery})
        for (const char character : {'\r', '\n', '\0', '\x7F'}) {
            Fetch fetch(server);
            (fetch.*part += character) += "X-Of-The-Caller: 1";
            fetch.Execute();
            EXPECT_FALSE(fetch.SuccessDone);
        }
    EXPECT_TRUE(server.TakeRequests().empty());
}

// Strictly, only the server that was asked gets requests, and none of them tells of another.
TEST_F(WinInetTest, StrictRedirects) {
    LoopbackServer other("other");
    std::string location;
    LoopbackServer server([&](const std::string& request) {
        const bool isOver = !Has(request, "POST /") && !Has(request, "GET /again");
        const std::string head = "HTTP/1.0 302 Found\r\nSet-Cookie: a=b\r\nLocation: ";
        return isOver ? HttpReply("done") : head + location + "\r\n\r\n";
    });
    const std::tuple<std::string, std::size_t, const char*> cases[] = {
        {"/b?c#d", 2, "done"},
        {"c.csv", 2, "done"},
        {"http://" + server.Host() + "/b", 2, "done"},
        {"/again", 6, ""},
        {"http://" + other.Host() + "/b", 1, ""},
        {"//" + other.Host() + "/b", 1, ""},
        {"https://" + server.Host() + "/b", 1, ""},
        {"http://a@" + server.Host() + "/b", 1, ""}};
    for (const auto& [target, count, body] : cases) {
        SCOPED_TRACE(location = target);
        Fetch fetch(server);
        fetch.Method = "POST";
        fetch.PostQuery = "a=1";
        fetch.Strict = true;
        fetch.Execute();
        EXPECT_EQ(fetch.Response(), body);
        EXPECT_EQ(fetch.SuccessDone, *body != 0);
        const auto requests = server.TakeRequests();
        EXPECT_EQ(requests.size(), count);
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
    const std::tuple<const char*, const char*, long> cases[] = {
        // no body: it has failed
        {"HTTP/1.0 200 OK\r\n\r\nno length", "no length", 0},
        {"HTTP/1.0 200 OK\r\n\r\n", "", 0},
        {"HTTP/1.0 404 Not Found\r\nContent-Length: 4\r\n\r\npage", "page", 4},
        {"HTTP/1.0 200 OK\r\nContent-Length: 100\r\n\r\nclosed early", "closed early", 100},
        {"", nullptr, 0},
        {"HTTP/1.0\r\n\r\npage", nullptr, 0},
    };
    for (const auto& [reply, body, length] : cases) {
        SCOPED_TRACE(reply);
        LoopbackServer server([text = std::string(reply)](const std::string&) { return text; });
        Fetch fetch(server);
        fetch.Execute();
        EXPECT_EQ(fetch.states, body ? complete : (States{1, 3, 6, 8}));
        EXPECT_EQ(fetch.Response(), body ? body : "");
        EXPECT_EQ(fetch.progress.empty(), body == nullptr);
        for (const auto& progress : fetch.progress) EXPECT_EQ(progress.second, length);
    }
    Fetch refused{ClosedPort()};
    refused.Execute();
    EXPECT_EQ(refused.states, (States{1, 3, 6, 8}));
}

}  // namespace
}  // namespace vtdl::tests
