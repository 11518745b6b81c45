#include "transport/WinInet.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>

#include "automation/Error.h"
#include "automation/MessagePump.h"

namespace vtdl {
namespace {

const char* orNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

}  // namespace

void WinInet::Execute() {
    try {
        Run();
    } catch (...) {
        CloseHandles();
        throw automation::Error(static_cast<HRESULT>(0x80040064), L"vtdl.WinInet.Execute",
                                L"WinInet component failure");
    }
}

const std::string& WinInet::Response() const noexcept {
    static const std::string none;
    return SuccessDone ? m_response : none;
}

std::string WinInet::TakeResponse() { return SuccessDone ? std::move(m_response) : std::string(); }

void WinInet::Run() {
    if (OpenSession() && Connect() && OpenRequest() && Send() && QueryReply()) Receive();
}

bool WinInet::OpenSession() {
    m_internet = InternetHandle(
        InternetOpenA(AgentName.c_str(), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    return m_internet ? Pass(opened) : Fail(openFailed);
}

bool WinInet::Connect() {
    SetTimeouts(m_internet.get());
    m_connection = InternetHandle(
        InternetConnectA(m_internet.get(), HostName.c_str(), static_cast<INTERNET_PORT>(Port),
                         orNull(UserName), orNull(Password), INTERNET_SERVICE_HTTP, 0, 0));
    return m_connection ? Pass(connected) : Fail(connectFailed);
}

// The repeats are harmless, and required.
void WinInet::SetTimeouts(HINTERNET handle) {
    if (TimeoutSek < 1) TimeoutSek = 300;
    if (TimeoutSek > LONG_MAX / 1000)
        throw automation::MakeRuntimeError(automation::RuntimeError::overflow);
    DWORD milliseconds = static_cast<DWORD>(TimeoutSek) * 1000;
    for (const DWORD option : {INTERNET_OPTION_CONNECT_TIMEOUT, INTERNET_OPTION_RECEIVE_TIMEOUT,
                               INTERNET_OPTION_SEND_TIMEOUT, INTERNET_OPTION_RECEIVE_TIMEOUT,
                               INTERNET_OPTION_SEND_TIMEOUT, INTERNET_OPTION_DATA_RECEIVE_TIMEOUT,
                               INTERNET_OPTION_DATA_SEND_TIMEOUT})
        InternetSetOptionA(handle, option, &milliseconds, sizeof milliseconds);
}

bool WinInet::OpenRequest() {
    CanonicalizeResource();
    m_request = InternetHandle(HttpOpenRequestA(m_connection.get(), orNull(Method),
                                                Resource.c_str(), "HTTP/1.0", orNull(Referer),
                                                nullptr, INTERNET_FLAG_RELOAD, 0));
    if (!m_request) return Fail(requestFailed);
    SetTimeouts(m_request.get());  // Wine 8 does not hand the session's limits down to its requests
    return Pass(requestOpened);
}

void WinInet::CanonicalizeResource() {
    char canonical[4096];
    DWORD length = sizeof canonical;
    if (InternetCanonicalizeUrlA(Resource.c_str(), canonical, &length, ICU_BROWSER_MODE))
        Resource.assign(canonical, length);
}

// The form's header is fixed; ContentType is the reply's.
bool WinInet::Send() {
    constexpr char formHeader[] = "Content-Type: application/x-www-form-urlencoded";
    const BOOL done = PostQuery.empty() ? HttpSendRequestA(m_request.get(), nullptr, 0, nullptr, 0)
                                        : HttpSendRequestA(m_request.get(), formHeader,
                                                           sizeof formHeader - 1, PostQuery.data(),
                                                           static_cast<DWORD>(PostQuery.size()));
    return done ? Pass(sent) : Fail(sendFailed);
}

bool WinInet::QueryReply() {
    QueryText(HTTP_QUERY_CONTENT_TYPE, ContentType);
    if (IsCancelled()) return false;
    std::string length;
    if (QueryText(HTTP_QUERY_CONTENT_LENGTH, length)) m_contentLength = std::atol(length.c_str());
    if (IsCancelled()) return false;
    QueryText(HTTP_QUERY_REQUEST_METHOD, Method);
    return !IsCancelled();
}

// A failed read ends the body as a success, on purpose: it delivers no bytes, like the end.
void WinInet::Receive() {
    using Clock = std::chrono::steady_clock;
    ChangeStatus(receiving);
    m_response.clear();
    ReserveResponse();
    const Clock::time_point start = Clock::now();
    for (;;) {
        char block[blockSize];
        const DWORD read = ReadBlock(block);
        if (read > m_response.capacity() - m_response.size())
            m_response.reserve(m_response.capacity() + m_response.capacity() / 4 + blockSize);
        m_response.append(block, read);
        if (IsCancelled()) return;
        m_bytesReceived += static_cast<long>(read);
        const std::chrono::duration<float> elapsed = Clock::now() - start;
        if (m_events) m_events->OnProgress(m_bytesReceived, m_contentLength, elapsed.count());
        automation::PumpMessages();
        if (read > 0) continue;
        CloseHandles();
        SuccessDone = true;
        ChangeStatus(complete);
        return;
    }
}

// A read waits until it has all the bytes that it asks for. Asked for no more than is there, it lets
// messages and a cancel through after every piece that a slow server sends.
DWORD WinInet::ReadBlock(char (&block)[blockSize]) const {
    DWORD available = 0;
    DWORD read = 0;
    if (!InternetQueryDataAvailable(m_request.get(), &available, 0, 0) || available == 0) return 0;
    const DWORD asked = std::min<DWORD>(available, blockSize);
    return InternetReadFile(m_request.get(), block, asked, &read) ? read : 0;
}

// A header may promise anything; what is reserved on its word stays small enough to be harmless.
void WinInet::ReserveResponse() {
    constexpr long trusted = 16 * 1024 * 1024;
    m_response.reserve(static_cast<std::size_t>(std::clamp(m_contentLength, 0L, trusted)));
}

bool WinInet::Fail(State state) {
    ChangeStatus(state);
    CloseHandles();
    return false;
}

bool WinInet::Pass(State state) {
    ChangeStatus(state);
    return !IsCancelled();
}

bool WinInet::IsCancelled() {
    if (m_isCancelled) Fail(cancelled);
    return m_isCancelled;
}

void WinInet::ChangeStatus(State state) {
    m_state = state;
    if (m_events) m_events->OnStateChanged(state);
    automation::PumpMessages();
}

void WinInet::CloseHandles() noexcept {
    m_request.reset();
    m_connection.reset();
    m_internet.reset();
}

bool WinInet::QueryText(DWORD what, std::string& text) const {
    char buffer[4096];
    DWORD length = sizeof buffer;
    if (!HttpQueryInfoA(m_request.get(), what, buffer, &length, nullptr)) return false;
    text.assign(buffer, length);
    return true;
}

}  // namespace vtdl
