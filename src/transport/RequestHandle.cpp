#include "transport/RequestHandle.h"

#include <utility>

namespace vtdl {

// The repeats are harmless, and required.
void SetTimeouts(HINTERNET handle, DWORD milliseconds) noexcept {
    for (const DWORD option : {INTERNET_OPTION_CONNECT_TIMEOUT, INTERNET_OPTION_RECEIVE_TIMEOUT,
                               INTERNET_OPTION_SEND_TIMEOUT, INTERNET_OPTION_RECEIVE_TIMEOUT,
                               INTERNET_OPTION_SEND_TIMEOUT, INTERNET_OPTION_DATA_RECEIVE_TIMEOUT,
                               INTERNET_OPTION_DATA_SEND_TIMEOUT})
        InternetSetOptionA(handle, option, &milliseconds, sizeof milliseconds);
}

// Closing what a server still sends to reads all of it first, under Wine 8; so a thread of the
// system's does it, which runs nothing of this library. The client's library must stay under it,
// even when this one goes.
void CloseLater(HINTERNET handle) noexcept {
    if (!handle) return;
    static const auto close = [] {
        HMODULE client = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN, L"wininet.dll", &client);
        return reinterpret_cast<LPTHREAD_START_ROUTINE>(
            reinterpret_cast<void*>(GetProcAddress(client, "InternetCloseHandle")));
    }();
    if (!QueueUserWorkItem(close, handle, WT_EXECUTELONGFUNCTION)) InternetCloseHandle(handle);
}

void RequestHandle::Open(HINTERNET handle, DWORD milliseconds) {
    reset();
    m_handle = handle;
    if (!handle) return;
    if (!CreateTimerQueueTimer(&m_timer, nullptr, OnTime, this, milliseconds, 0,
                               WT_EXECUTEONLYONCE | WT_EXECUTELONGFUNCTION))
        m_timer = nullptr;
}

void RequestHandle::reset() noexcept {
    if (m_timer)
        DeleteTimerQueueTimer(nullptr, std::exchange(m_timer, nullptr), INVALID_HANDLE_VALUE);
    if (const HINTERNET handle = m_handle.exchange(nullptr)) InternetCloseHandle(handle);
}

// Closing ends a call that waits, but not in Wine 8: there the call goes on. It keeps to time-outs
// that change under it, so that redirects end with the first answer that takes a moment.
void CALLBACK RequestHandle::OnTime(void* handle, BOOLEAN) noexcept {
    auto& self = *static_cast<RequestHandle*>(handle);
    SetTimeouts(self.get(), 1);
    CloseLater(self.m_handle.exchange(nullptr));
}

void RequestHandle::release() noexcept {
    m_handle = nullptr;
    reset();
}

DWORD RequestHandle::StatusCode() const {
    DWORD code = 0;
    DWORD length = sizeof code;
    constexpr DWORD what = HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER;
    return HttpQueryInfoA(m_handle, what, &code, &length, nullptr) ? code : 0;
}

bool RequestHandle::QueryText(DWORD what, std::string& text) const {
    char buffer[4096];
    DWORD length = sizeof buffer;
    if (!HttpQueryInfoA(m_handle, what, buffer, &length, nullptr)) return false;
    text.assign(buffer, length);
    return true;
}

}  // namespace vtdl
