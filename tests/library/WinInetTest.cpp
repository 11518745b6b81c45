// The HTTP client: its states and progress in order, what it sends, cancelling, redirects.

#include "support/Downloads.h"
#include "transport/WinInet.h"

namespace vtdl::tests {
namespace {

using States = std::vector<long>;
const States complete{1, 3, 6, 7, 9, 11};

/// A request that writes down its events, and may cancel itself at a state; 0: at its progress.
class Fetch : public WinInetEvents, public WinInet {
public:
    States states;
    std::vector<long> progress;
    long cancelAt = -1;

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
    void OnProgress(long bytesReceived, long, float) noexcept override {
        progress.push_back(bytesReceived);
        if (cancelAt == 0) Cancel();
    }
};

class WinInetTest : public LibraryTest {};

bool Has(const std::string& request, const std::string& text) {
    return request.find(text) != std::string::npos;
}

TEST_F(WinInetTest, GetAndPost) {
    const std::string body = std::string(5'000, '\0') + std::string(5'000, '\xFF');
    LoopbackServer server(body);
    for (const bool isPost : {false, true}) {
        Fetch fetch(server);
        fetch.Method = isPost ? "POST" : "GET";
        fetch.PostQuery = isPost ? "a=1&b=%20" : "";
        fetch.AgentName = "the agent";
        fetch.Referer = "http://example.com/here";
        if (isPost) fetch.UserName = "somebody";  // without a password
        fetch.AcceptTypes = fetch.ContentType = "x/never-sent";
        fetch.Execute();
        EXPECT_EQ(fetch.states, complete);
        EXPECT_EQ(fetch.Response(), body);
        EXPECT_EQ(fetch.ContentType, "text/plain");
        EXPECT_LE(fetch.progress.at(0), 4096);
        EXPECT_EQ(fetch.progress.rbegin()[1], 10'000) << "the last report repeats the count";
        const std::string request = server.TakeRequests().at(0);
        EXPECT_TRUE(request.starts_with(fetch.Method + " /table.csv?s=A HTTP/1.0\r\n")) << request;
        EXPECT_TRUE(request.ends_with("\r\n\r\n" + fetch.PostQuery)) << request;
        for (const char* header : {"Referer: http://example.com/here", "User-Agent: the agent"})
            EXPECT_TRUE(Has(request, header)) << request;
        EXPECT_EQ(Has(request, "Content-Type: application/x-www-form-urlencoded\r\n"), isPost);
        EXPECT_FALSE(Has(request, "never-sent"));
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
        const std::string moved = "HTTP/1.0 302 Found\r\nSet-Cookie: a=b\r\nLocation: ";
        return isOver ? HttpReply("done") : moved + location + "\r\n\r\n";
    });
    const std::tuple<std::string, std::size_t, const char*> cases[] = {
        {"/b?c#d", 2, "done"},
        {"http://" + server.Host() + "/b", 2, "done"},
        {"/again", 6, ""},
        {"http://" + other.Host() + "/b", 1, ""},
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
        EXPECT_FALSE(Has(requests.back(), "Cookie"));
    }
    EXPECT_TRUE(other.TakeRequests().empty());
}

TEST_F(WinInetTest, CancelAtEachState) {
    LoopbackServer server(std::string(100'000, 'x'));
    for (const long state : {1L, 3L, 6L, 7L, 9L, 0L}) {
        SCOPED_TRACE(state);
        Fetch fetch(server);
        fetch.cancelAt = state;
        fetch.Execute();
        States expected(complete.begin(), std::ranges::find(complete, state ? state : 9) + 1);
        expected.push_back(WinInet::cancelled);
        EXPECT_EQ(fetch.states, expected);
        EXPECT_EQ(fetch.Response(), "");
    }
}

TEST_F(WinInetTest, NoReply) {
    for (const char* reply : {"", "HTTP/1.0\r\n\r\npage"}) {
        LoopbackServer server([&](const std::string&) { return std::string(reply); });
        Fetch fetch(server);
        fetch.Execute();
        EXPECT_EQ(fetch.states, (States{1, 3, 6, WinInet::sendFailed}));
        EXPECT_EQ(fetch.Response(), "");
    }
    const ClosedPort closed;
    LoopbackServer silent([](const std::string&) { return std::string(); });
    silent.Behave({0, true});
    const std::tuple<const ClosedPort*, const char*, const char*> cases[] = {
        {&closed, "127.0.0.1", "the host takes no connection"},
        {&closed, "nosuch.invalid", "the host's name is not known"},
        {&silent, "127.0.0.1", "no answer within 1 s"}};
    for (const auto& [server, host, fault] : cases) {
        Fetch fetch(*server);
        fetch.HostName.assign(host);
        fetch.TimeoutSek = 1;
        fetch.Execute();
        EXPECT_EQ(fetch.states, (States{1, 3, 6, WinInet::sendFailed}));
        EXPECT_TRUE(fetch.Fault().starts_with(fault)) << fetch.Fault();
    }
}

}  // namespace
}  // namespace vtdl::tests
