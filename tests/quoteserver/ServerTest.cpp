#include "Server.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <deque>

#include "Support.h"

namespace quoteserver {
namespace {

const std::string& Body() {
    static const std::string body = std::string(400, 'a') + std::string(600, 'b');
    return body;
}

// It gives the text to everybody.
struct TextServer : RunningServer {
    explicit TextServer(Fault fault, unsigned goodRequests = 0,
                        std::chrono::milliseconds patience = std::chrono::seconds(15))
        : RunningServer(TextRoutes(), {"test", false, fault, goodRequests, 0, patience}) {}

    static Routes TextRoutes() {
        Routes routes;
        routes.Add("GET", "/", [](const Request&) { return Reply{200, "text/plain", Body()}; });
        return routes;
    }
};

enum class End { Closed, Reset, Quiet };

// A connection that has asked for the text.
class Client {
public:
    explicit Client(
        const RunningServer& server,
        std::string_view request = "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n")
        : m_socket(::socket(AF_INET, SOCK_STREAM, 0)) {
        const sockaddr_in address{AF_INET, htons(server.Port()), {htonl(INADDR_LOOPBACK)}, {}};
        EXPECT_EQ(::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
        EXPECT_EQ(::send(m_socket, request.data(), request.size(), 0),
                  static_cast<ssize_t>(request.size()));
    }
    ~Client() { ::close(m_socket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Until the server ends the connection, or says nothing for so long, or said enough.
    End Read(int milliseconds = 500, std::size_t enough = std::string::npos) {
        char block[65536];
        while (text.size() < enough) {
            pollfd poll{m_socket, POLLIN, 0};
            if (::poll(&poll, 1, milliseconds) == 0) return End::Quiet;
            const ssize_t count = ::recv(m_socket, block, sizeof block, 0);
            if (count <= 0) return count == 0 ? End::Closed : End::Reset;
            text.append(block, static_cast<std::size_t>(count));
        }
        return End::Quiet;
    }

    std::string Rest() const {
        const std::size_t end = text.find("\r\n\r\n");
        return end == std::string::npos ? "" : text.substr(end + 4);
    }

    std::string text;

private:
    int m_socket;
};

TEST(Server, SpoilsRepliesAsItSays) {
    const std::string half = Body().substr(0, 500), rest = Body().substr(500);
    const struct {
        Fault fault;
        End end;
        const char* head;
        std::string body;
    } cases[] = {
        {Fault::Stall, End::Quiet, "Content-Length: 1000\r\n", half},
        {Fault::Close, End::Closed, "Content-Length: 1000\r\n", half},
        {Fault::Reset, End::Reset, "Content-Length: 1000\r\n", half},
        {Fault::Drip, End::Quiet, "Content-Length: 1000\r\n", "a"},
        {Fault::Length, End::Closed, "Content-Length: 2000\r\n", Body()},
        // 500 bytes, as said; then 1500 said and 500 sent.
        {Fault::Chunks, End::Closed, "Transfer-Encoding: chunked\r\n",
         "1f4\r\n" + half + "\r\n5dc\r\n" + rest + "\r\n0\r\n\r\n"},
        {Fault::Head, End::Closed, "X-Padding: x", Body()},
        {Fault::Html, End::Closed, "HTTP/1.1 200 OK\r\n", "<!DOCTYPE html>"},
    };
    for (const auto& [fault, end, head, body] : cases) {
        const TextServer server(fault, 1);
        Client first(server);
        EXPECT_EQ(first.Read(), End::Closed);
        EXPECT_EQ(first.Rest(), Body()) << "it is answered properly";
        Client client(server);
        EXPECT_EQ(client.Read(), end) << static_cast<int>(fault);
        EXPECT_NE(client.text.find(head), std::string::npos) << static_cast<int>(fault);
        EXPECT_EQ(client.Rest().substr(0, fault == Fault::Html ? body.size() : std::string::npos),
                  body)
            << static_cast<int>(fault);
    }
}

// Clients that wait for the rest, that do not read, or that went away keep nobody from an answer.
TEST(Server, AnswersOthersMeanwhile) {
    for (const Fault fault : {Fault::Silent, Fault::Stall, Fault::Drip, Fault::Head}) {
        const TextServer server(fault, 1);
        Client{server}.Read();
        { const Client gone(server); }
        const Client waiting(server);
        Client client(server);
        EXPECT_EQ(client.Read(300, 10'000'000), End::Quiet) << static_cast<int>(fault);
        EXPECT_EQ(client.text.empty(), fault == Fault::Silent) << static_cast<int>(fault);
    }
}

// A page of the web may have given its own name our address.
TEST(Server, AnswersOnlyWhoAsksForThisMachine) {
    const TextServer server(Fault::None);
    const auto statusFor = [&](const std::string& header) {
        Client client(server, "GET / HTTP/1.0\r\n" + header + "\r\n");
        EXPECT_EQ(client.Read(), End::Closed);
        return client.text.substr(9, 3);
    };
    for (const char* own :
         {"", "Host: 127.0.0.1:8733\r\n", "Host: LOCALHOST\r\n", "Host: [::1]:8733\r\n"})
        EXPECT_EQ(statusFor(own), "200") << own;
    for (const char* foreign : {"x", "127.0.0.1.x.org", "", "localhost.x.org:80", "["})
        EXPECT_EQ(statusFor(std::string("Host: ") + foreign + "\r\n"), "421") << foreign;
}

// Each of 520 clients that only wait takes a place; the first of them makes room.
TEST(Server, EndsIdleConnectionsAndMakesRoomForOthers) {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = std::max<rlim_t>(files.rlim_cur, std::min<rlim_t>(files.rlim_max, 2000));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
    const TextServer server(Fault::None, 0, std::chrono::seconds(3));
    std::deque<Client> idle;
    for (int i = 0; i < 520; ++i) idle.emplace_back(server, "");
    Client client(server);
    EXPECT_EQ(client.Read(), End::Closed);
    EXPECT_EQ(client.Rest(), Body());
    EXPECT_NE(idle.front().Read(), End::Quiet) << "it made room";
    EXPECT_EQ(idle.back().Read(), End::Quiet);
    EXPECT_NE(idle.back().Read(4000), End::Quiet) << "after its time";
}

}  // namespace
}  // namespace quoteserver
