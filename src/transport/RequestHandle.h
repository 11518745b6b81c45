#pragma once
// A handle of the system's internet-transfer library, whose time is limited.

#include <windows.h>
#include <wininet.h>

#include <atomic>
#include <string>

namespace vtdl {

/// Limits each connect, send and receive of a session or a request.
void SetTimeouts(HINTERNET handle, DWORD milliseconds) noexcept;

/// Closes a handle on which a server may still send, on a thread of the system's.
void CloseLater(HINTERNET handle) noexcept;

/// A request's handle, closed by a thread of the system's when its time is over: nothing else ends
/// a call that waits in it.
class RequestHandle {
public:
    RequestHandle() = default;
    RequestHandle(const RequestHandle&) = delete;
    RequestHandle& operator=(const RequestHandle&) = delete;
    ~RequestHandle() { reset(); }

    void Open(HINTERNET handle, DWORD milliseconds);
    void reset() noexcept;
    /// Leaves the handle open.
    void release() noexcept;
    /// Null without a handle, and when the time is over.
    HINTERNET get() const noexcept { return m_handle; }

    /// The reply's, 0 before there is one.
    DWORD StatusCode() const;
    /// Whether there is such a text; it is left alone if not.
    bool QueryText(DWORD what, std::string& text) const;

private:
    static void CALLBACK OnTime(void* handle, BOOLEAN) noexcept;

    std::atomic<HINTERNET> m_handle = nullptr;
    HANDLE m_timer = nullptr;
};

}  // namespace vtdl
