#pragma once
// An HTTP server inside the test program, with canned replies.

#include <winsock2.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vtdl::tests {

/// A reply with a length header.
std::string HttpReply(const std::string& body, const std::string& status = "200 OK");

/// How replies are sent, unless at once and whole.
struct Manners {
    std::size_t piece = 0;    ///< in pieces of this size, one every few milliseconds
    bool leavesOpen = false;  ///< the next connection waits until the client closes this one
    bool resets = false;      ///< what was sent is all, and the connection breaks
};

/// An address that refuses connections: the port is held, and nobody listens.
class ClosedPort {
public:
    ClosedPort();
    ~ClosedPort() { closesocket(m_socket); }
    unsigned short Port() const { return m_port; }
    std::string Host() const { return "127.0.0.1:" + std::to_string(m_port); }

protected:
    unsigned short m_port = 0;
    SOCKET m_socket;
};

/// Listens on a free port of 127.0.0.1 until it is destroyed. Each connection carries one request;
/// the answer's bytes are sent as they are, and the connection is closed.
class LoopbackServer : public ClosedPort {
public:
    using Answer = std::function<std::string(const std::string& request)>;

    explicit LoopbackServer(Answer answer);
    /// The same body for every request.
    explicit LoopbackServer(const std::string& body)
        : LoopbackServer([body](const std::string&) { return HttpReply(body); }) {}
    ~LoopbackServer();

    /// From the next reply on.
    void Behave(Manners manners);
    /// What was asked so far, head and body; taken.
    std::vector<std::string> TakeRequests();
    /// The same without heads: "GET /path".
    std::vector<std::string> TakePaths();

private:
    void Serve();
    void ServeOne(SOCKET connection);

    Answer m_answer;
    std::atomic<bool> m_isOver = false;
    std::mutex m_mutex;
    Manners m_manners;
    std::vector<std::string> m_requests;
    std::thread m_thread;
};

}  // namespace vtdl::tests
