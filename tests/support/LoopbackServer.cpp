#include "support/LoopbackServer.h"

#include <algorithm>
#include <stdexcept>

namespace vtdl::tests {
namespace {

sockaddr_in Loopback(unsigned short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

SOCKET Bound(unsigned short& port) {
    const SOCKET bound = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = Loopback(0);
    int size = sizeof address;
    if (bind(bound, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(bound, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no loopback port is free");
    port = ntohs(address.sin_port);
    return bound;
}

std::size_t BodyLength(const std::string& head) {
    constexpr char name[] = "Content-Length: ";
    const std::size_t at = head.find(name);
    return at == std::string::npos ? 0 : std::stoul(head.substr(at + sizeof name - 1));
}

}  // namespace

std::string HttpReply(const std::string& body, const std::string& status) {
    return "HTTP/1.0 " + status +
           "\r\nContent-Type: text/plain\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

LoopbackServer::LoopbackServer(Answer answer)
    : m_answer(std::move(answer)), m_listener(Bound(m_port)) {
    if (listen(m_listener, SOMAXCONN) != 0) throw std::runtime_error("cannot listen");
    m_thread = std::thread([this] { Serve(); });
}

// A last connection of our own wakes the thread.
LoopbackServer::~LoopbackServer() {
    const SOCKET last = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    const sockaddr_in address = Loopback(m_port);
    m_isOver = true;
    connect(last, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    closesocket(last);
    m_thread.join();
    closesocket(m_listener);
}

std::vector<std::string> LoopbackServer::TakeRequests() {
    const std::lock_guard lock(m_mutex);
    return std::move(m_requests);
}

std::vector<std::string> LoopbackServer::TakePaths() {
    std::vector<std::string> paths;
    for (const std::string& request : TakeRequests())
        paths.push_back(request.substr(0, request.rfind(" HTTP/", request.find("\r\n"))));
    return paths;
}

void LoopbackServer::Serve() {
    for (;;) {
        const SOCKET connection = accept(m_listener, nullptr, nullptr);
        if (connection == INVALID_SOCKET) return;
        if (!m_isOver) ServeOne(connection);
        closesocket(connection);
        if (m_isOver) return;
    }
}

void LoopbackServer::ServeOne(SOCKET connection) {
    std::string request;
    for (std::size_t head = std::string::npos;;) {
        char block[4096];
        const int count = recv(connection, block, sizeof block, 0);
        if (count <= 0) return;
        const std::size_t searched = request.size() - std::min<std::size_t>(request.size(), 3);
        request.append(block, static_cast<std::size_t>(count));
        if (head == std::string::npos) head = request.find("\r\n\r\n", searched);
        if (head != std::string::npos && request.size() >= head + 4 + BodyLength(request)) break;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
    }
    const std::string reply = m_answer(request);
    const std::size_t cut = std::min<std::size_t>(m_cut, reply.size());
    const bool isSent = Send(connection, reply.substr(0, cut));
    if (cut > 0) Sleep(5);
    if (!isSent || !Send(connection, std::string_view(reply).substr(cut))) return;
    if (m_leavesOpen) return AwaitClosing(connection);
    shutdown(connection, SD_SEND);
}

bool LoopbackServer::Send(SOCKET connection, std::string_view bytes) {
    const std::size_t piece = m_piece;
    while (!bytes.empty() && !m_isOver) {
        const std::size_t size = piece ? std::min(piece, bytes.size()) : bytes.size();
        const int count = send(connection, bytes.data(), static_cast<int>(size), 0);
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
        if (piece) Sleep(5);
    }
    return true;
}

void LoopbackServer::AwaitClosing(SOCKET connection) {
    while (!m_isOver) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(connection, &readable);
        timeval pause{0, 10'000};
        char byte;
        if (select(0, &readable, nullptr, nullptr, &pause) == 0) continue;
        if (recv(connection, &byte, 1, 0) > 0) continue;
        ++m_closings;
        return;
    }
}

bool LoopbackServer::SeesClosing(int count) const {
    for (int i = 0; i < 500 && m_closings < count; ++i) Sleep(10);
    return m_closings >= count;
}

ClosedPort::ClosedPort() : m_socket(Bound(m_port)) {}

DeafPort::DeafPort() : m_socket(Bound(m_port)) {
    listen(m_socket, 1);
    const sockaddr_in address = Loopback(m_port);
    for (int i = 0; i < 4; ++i) {
        u_long doesNotBlock = 1;
        m_waiting.push_back(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        ioctlsocket(m_waiting.back(), static_cast<long>(FIONBIO), &doesNotBlock);
        connect(m_waiting.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
}

DeafPort::~DeafPort() {
    for (const SOCKET waiting : m_waiting) closesocket(waiting);
    closesocket(m_socket);
}

}  // namespace vtdl::tests
