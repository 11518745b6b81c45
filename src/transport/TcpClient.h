#pragma once
// A TCP connection whose events arrive through the message loop.

#include <winsock2.h>

#include <string>
#include <string_view>

namespace vtdl {

/// Who wants to know how a connection goes. Called while messages are dispatched; a handler may
/// dispatch messages itself, close the connection, or use other connections.
class TcpClientEvents {
public:
    /// The connection stands, or could not be made: 0 or the system's error.
    virtual void OnConnected(long result) noexcept = 0;
    virtual void OnBytesReceived(std::string_view bytes) noexcept = 0;
    /// The peer has closed the connection, or it broke; it is closed at this side too.
    virtual void OnDisconnected() noexcept = 0;

protected:
    ~TcpClientEvents() = default;
};

/// One connection at a time, with a message-only window of its own. Belongs to one thread.
class TcpClient {
public:
    /// The events' receiver outlives the connection.
    explicit TcpClient(TcpClientEvents& events) noexcept : m_events(events) {}
    TcpClient(const TcpClient&) = delete;
    TcpClient& operator=(const TcpClient&) = delete;
    ~TcpClient() { Close(); }

    /// Looks a host's address up; the call blocks. False when there is none.
    bool Resolve(const std::wstring& host);

    /// Starts to connect to the address that was found; OnConnected tells the rest, unless the
    /// result says that it failed at once. Throws when the window cannot be made.
    long Connect(long port);

    /// Sends the bytes as the connection takes them.
    void Send(const std::string& bytes);

    /// Ends the connection without an event. Nothing is left of it afterwards.
    void Close() noexcept;

private:
    /// The system's socket library, which has to be started before anything else.
    class Library {
    public:
        Library() noexcept;
        Library(const Library&) = delete;
        Library& operator=(const Library&) = delete;
        ~Library();

    private:
        bool m_isStarted;
    };

    static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM first,
                                       LPARAM second) noexcept;
    void CreateOwnWindow();
    void OnSocketEvent(WORD event, WORD error) noexcept;
    void Receive(bool isClosing) noexcept;
    void SendPending() noexcept;
    void Post(WORD event) noexcept;

    TcpClientEvents& m_events;
    Library m_library;
    sockaddr_in m_address{};
    HWND m_window = nullptr;
    SOCKET m_socket = INVALID_SOCKET;
    std::string m_unsent;
    bool m_isDelivering = false;
    WORD m_missed = 0;  ///< what arrived while bytes were being delivered
};

}  // namespace vtdl
