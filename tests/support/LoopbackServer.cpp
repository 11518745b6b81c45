#include "support/LoopbackServer.h"

#include <algorithm>
#include <stdexcept>

namespace vtdl::tests {
namespace {

sockaddr_in Loopback(unsigned short port) {
    sockaddr_in address{AF_INET, htons(port), {}, {}};
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool IsWhole(const std::string& request) {
    const std::size_t end = request.find("\r\n\r\n"), length = request.find("Content-Length: ");
    if (end == std::string::npos) return false;
    return length == std::string::npos ||
           request.size() >= end + 4 + std::stoul(request.substr(length + 16));
}

}  // namespace

std::string HttpReply(const std::string& body, const std::string& status) {
    return "HTTP/1.0 " + status +
           "\r\nContent-Type: text/plain\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

ClosedPort::ClosedPort() : m_socket(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
    sockaddr_in address = Loopback(0);
    int size = sizeof address;
    if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no loopback port is free");
    m_port = ntohs(address.sin_port);
}

LoopbackServer::LoopbackServer(Answer answer) : m_answer(std::move(answer)) {
    if (listen(m_socket, SOMAXCONN) != 0) throw std::runtime_error("cannot listen");
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
}

void LoopbackServer::Behave(Manners manners) {
    const std::lock_guard lock(m_mutex);
    m_manners = manners;
}

std::vector<std::string> LoopbackServer::TakeRequests() {
    const std::lock_guard lock(m_mutex);
    return std::move(m_requests);
}

std::vector<std::string> LoopbackServer::TakePaths() {
    std::vector<std::string> paths = TakeRequests();
    for (std::string& path : paths) path.erase(path.rfind(" HTTP/", path.find("\r\n")));
    return paths;
}

void LoopbackServer::Serve() {
    while (!m_isOver) {
        const SOCKET connection = accept(m_socket, nullptr, nullptr);
        if (connection == INVALID_SOCKET) return;
        if (!m_isOver) ServeOne(connection);
        closesocket(connection);
    }
}

void LoopbackServer::ServeOne(SOCKET connection) {
    std::string request;
    while (!IsWhole(request)) {
        char block[4096];
        const int count = recv(connection, block, sizeof block, 0);
        if (count <= 0) return;
        request.append(block, static_cast<std::size_t>(count));
    }
    std::unique_lock lock(m_mutex);
    m_requests.push_back(request);
    lock.unlock();
    const std::string reply = m_answer(request);
    lock.lock();
    const Manners manners = m_manners;
    lock.unlock();
    const std::size_t piece = manners.piece ? manners.piece : reply.size();
    const int atOnce = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&atOnce), 4);
    for (std::size_t at = 0; at < reply.size() && !m_isOver; at += piece) {
        const auto size = static_cast<int>(std::min(piece, reply.size() - at));
        if (send(connection, reply.data() + at, size, 0) != size) return;
        if (manners.piece) Sleep(3);
    }
    const DWORD pause = 10;
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&pause), 4);
    while (manners.leavesOpen && !m_isOver)
        if (char byte; recv(connection, &byte, 1, 0) == 0 || WSAGetLastError() != WSAETIMEDOUT)
            return;
    const linger abruptly{1, 0};
    if (manners.resets)
        setsockopt(connection, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abruptly),
                   sizeof abruptly);
    else
        shutdown(connection, SD_SEND);
}

}  // namespace vtdl::tests
