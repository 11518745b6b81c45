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

/// Listens on a free port of 127.0.0.1 until it is destroyed. Each connection carries one request;
/// the answer's bytes are sent as they are, and the connection is closed.
class LoopbackServer {
public:
    using Answer = std::function<std::string(const std::string& request)>;

    explicit LoopbackServer(Answer answer);
    /// The same body for every request.
    explicit LoopbackServer(const std::string& body)
        : LoopbackServer([body](const std::string&) { return HttpReply(body); }) {}
    ~LoopbackServer();

    /// From now on a reply's bytes up to the cut are sent first, the others a little later.
    void CutReplies(std::size_t cut) { m_cut = cut; }
    /// From now on replies go out in pieces of this size, one every few milliseconds.
    void PaceReplies(std::size_t piece) { m_piece = piece; }
    /// From now on connections are not closed here; the next one waits until the client closes.
    void LeaveOpen() { m_leavesOpen = true; }
    /// Waits for the clients of open connections to close them; false when they do not.
    bool SeesClosing(int count = 1) const;

    short Port() const { return static_cast<short>(m_port); }
    std::string Host() const { return "127.0.0.1:" + std::to_string(m_port); }
    /// What was asked so far, head and body; taken.
    std::vector<std::string> TakeRequests();
    /// The same without heads: "GET /path".
    std::vector<std::string> TakePaths();

private:
    void Serve();
    void ServeOne(SOCKET connection);
    bool Send(SOCKET connection, std::string_view bytes);
    void AwaitClosing(SOCKET connection);

    Answer m_answer;
    std::atomic<bool> m_isOver = false;
    std::atomic<bool> m_leavesOpen = false;
    std::atomic<std::size_t> m_cut = 0;
    std::atomic<std::size_t> m_piece = 0;  ///< 0: as fast as it can
    std::atomic<int> m_closings = 0;
    unsigned short m_port = 0;
    SOCKET m_listener;
    std::mutex m_mutex;
    std::vector<std::string> m_requests;
    std::thread m_thread;
};

/// An address that refuses connections: the port is held, and nobody listens.
class ClosedPort {
public:
    ClosedPort();
    ~ClosedPort() { closesocket(m_socket); }
    short Port() const { return static_cast<short>(m_port); }
    std::string Host() const { return "127.0.0.1:" + std::to_string(m_port); }

private:
    unsigned short m_port = 0;
    SOCKET m_socket;
};

/// An address that answers no connection, as a host behind a wall: its queue is full.
class DeafPort {
public:
    DeafPort();
    ~DeafPort();
    short Port() const { return static_cast<short>(m_port); }

private:
    unsigned short m_port = 0;
    SOCKET m_socket;
    std::vector<SOCKET> m_waiting;
};

}  // namespace vtdl::tests
