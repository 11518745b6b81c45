#include "transport/TcpClient.h"

#include <ws2tcpip.h>

#include <utility>

#include "automation/Error.h"

namespace vtdl {
namespace {

constexpr UINT socketMessage = WM_APP;
constexpr std::size_t blockSize = 16 * 1024;

}  // namespace

// A library that cannot be started shows when a host cannot be resolved.
TcpClient::Library::Library() noexcept {
    WSADATA data;
    m_isStarted = WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

TcpClient::Library::~Library() {
    if (m_isStarted) WSACleanup();
}

// The system takes an empty name for this machine's own.
bool TcpClient::Resolve(const std::wstring& host) {
    if (host.empty()) return false;
    ADDRINFOW hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW* found = nullptr;
    if (GetAddrInfoW(host.c_str(), nullptr, &hints, &found) != 0 || !found) return false;
    m_address = *reinterpret_cast<const sockaddr_in*>(found->ai_addr);
    FreeAddrInfoW(found);
    return true;
}

long TcpClient::Connect(long port) {
    Close();
    if (port < 1 || port > 0xFFFF) return WSAEADDRNOTAVAIL;
    CreateOwnWindow();
    m_address.sin_port = htons(static_cast<u_short>(port));
    m_socket = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    const bool isStarted =
        m_socket != INVALID_SOCKET &&
        WSAAsyncSelect(m_socket, m_window, socketMessage,
                       FD_CONNECT | FD_READ | FD_WRITE | FD_CLOSE) == 0 &&
        (connect(m_socket, reinterpret_cast<const sockaddr*>(&m_address), sizeof m_address) == 0 ||
         WSAGetLastError() == WSAEWOULDBLOCK);
    if (isStarted) return 0;
    const long error = WSAGetLastError();
    Close();
    return error;
}

void TcpClient::Send(const std::string& bytes) {
    m_unsent += bytes;
    SendPending();
}

void TcpClient::Close() noexcept {
    if (m_socket != INVALID_SOCKET) closesocket(std::exchange(m_socket, INVALID_SOCKET));
    if (m_window) DestroyWindow(std::exchange(m_window, nullptr));
    m_unsent.clear();
    m_missed = 0;
}

// A system class with a procedure of ours: no class of the library's own is left behind when it is
// unloaded. The window goes with the connection, and with it the messages still on their way.
void TcpClient::CreateOwnWindow() {
    m_window = CreateWindowExW(0, L"STATIC", L"VTDL", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                               nullptr);
    if (!m_window) automation::ThrowLastError(L"CreateWindowEx");
    SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    SetWindowLongPtrW(m_window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&WindowProc));
}

LRESULT CALLBACK TcpClient::WindowProc(HWND window, UINT message, WPARAM first,
                                       LPARAM second) noexcept {
    if (message != socketMessage) return DefWindowProcW(window, message, first, second);
    auto* const client = reinterpret_cast<TcpClient*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (client && client->m_socket == first)
        client->OnSocketEvent(WSAGETSELECTEVENT(second), WSAGETSELECTERROR(second));
    return 0;
}

void TcpClient::OnSocketEvent(WORD event, WORD error) noexcept {
    switch (event) {
        case FD_CONNECT:
            m_events.OnConnected(error);
            break;
        case FD_WRITE:
            SendPending();
            break;
        case FD_READ:
        case FD_CLOSE:
            // A handler that dispatches messages must not get the next bytes before it is done.
            if (m_isDelivering)
                m_missed |= event;
            else
                Receive(event == FD_CLOSE);
            break;
        default:
            break;
    }
}

// One block a message, so that a fast peer leaves the other messages their turn. What the peer sent
// before it closed is read first.
void TcpClient::Receive(bool isClosing) noexcept {
    char block[blockSize];
    const int count = recv(m_socket, block, sizeof block, 0);
    if (count > 0) {
        m_isDelivering = true;
        m_events.OnBytesReceived({block, static_cast<std::size_t>(count)});
        m_isDelivering = false;
        const WORD missed = std::exchange(m_missed, WORD{0});
        if (isClosing || (missed & FD_CLOSE))
            Post(FD_CLOSE);
        else if (missed & FD_READ)
            Post(FD_READ);
        return;
    }
    if (count < 0 && !isClosing && WSAGetLastError() == WSAEWOULDBLOCK) return;
    Close();
    m_events.OnDisconnected();
}

void TcpClient::SendPending() noexcept {
    std::size_t sent = 0;
    while (sent < m_unsent.size()) {
        const int count =
            send(m_socket, m_unsent.data() + sent, static_cast<int>(m_unsent.size() - sent), 0);
        if (count <= 0)
            break;  // the rest follows with FD_WRITE; a broken connection says so itself
        sent += static_cast<std::size_t>(count);
    }
    m_unsent.erase(0, sent);
}

void TcpClient::Post(WORD event) noexcept {
    if (m_socket != INVALID_SOCKET)
        PostMessageW(m_window, socketMessage, m_socket, WSAMAKESELECTREPLY(event, 0));
}

}  // namespace vtdl
