#include "transport/WinInet.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>

#include "automation/Error.h"
#include "automation/MessagePump.h"

namespace vtdl {
namespace {

constexpr std::size_t blockSize = 4096;

const char* orNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

}  // namespace

void WinInet::Execute() {
    try {
        run();
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

std::string WinInet::takeResponse() { return SuccessDone ? std::move(m_response) : std::string(); }

void WinInet::run() {
    if (openSession() && connect() && openRequest() && send() && queryReply()) receive();
}

bool WinInet::openSession() {
    m_internet = InternetHandle(InternetOpenA(AgentName.c_str(), INTERNET_OPEN_TYPE_PRECONFIG, nullptr,
                                              nullptr, 0));
    return m_internet ? pass(opened) : fail(openFailed);
}

bool WinInet::connect() {
    setTimeouts();
    m_connection = InternetHandle(InternetConnectA(
        m_internet.get(), HostName.c_str(), static_cast<INTERNET_PORT>(Port), orNull(UserName),
        orNull(Password), INTERNET_SERVICE_HTTP, 0, 0));
    return m_connection ? pass(connected) : fail(connectFailed);
}

// The repeats are harmless, and required.
void WinInet::setTimeouts() {
    if (TimeoutSek < 1) TimeoutSek = 300;
    if (TimeoutSek > LONG_MAX / 1000) throw automation::runtimeError(automation::RuntimeError::overflow);
    DWORD milliseconds = static_cast<DWORD>(TimeoutSek) * 1000;
    for (const DWORD option :
         {INTERNET_OPTION_CONNECT_TIMEOUT, INTERNET_OPTION_RECEIVE_TIMEOUT,
          INTERNET_OPTION_SEND_TIMEOUT, INTERNET_OPTION_RECEIVE_TIMEOUT, INTERNET_OPTION_SEND_TIMEOUT,
          INTERNET_OPTION_DATA_RECEIVE_TIMEOUT, INTERNET_OPTION_DATA_SEND_TIMEOUT})
        InternetSetOptionA(m_internet.get(), option, &milliseconds, sizeof milliseconds);
}

bool WinInet::openRequest() {
    canonicalizeResource();
    m_request = InternetHandle(HttpOpenRequestA(m_connection.get(), orNull(Method), Resource.c_str(),
                                                "HTTP/1.0", orNull(Referer), nullptr,
                                                INTERNET_FLAG_RELOAD, 0));
    return m_request ? pass(requestOpened) : fail(requestFailed);
}

void WinInet::canonicalizeResource() {
    char canonical[4096];
    DWORD length = sizeof canonical;
    if (InternetCanonicalizeUrlA(Resource.c_str(), canonical, &length, ICU_BROWSER_MODE))
        Resource.assign(canonical, length);
}

// The form's header is fixed; ContentType is the reply's.
bool WinInet::send() {
    constexpr char formHeader[] = "Content-Type: application/x-www-form-urlencoded";
    const BOOL done =
        PostQuery.empty()
            ? HttpSendRequestA(m_request.get(), nullptr, 0, nullptr, 0)
            : HttpSendRequestA(m_request.get(), formHeader, sizeof formHeader - 1, PostQuery.data(),
                               static_cast<DWORD>(PostQuery.size()));
    return done ? pass(sent) : fail(sendFailed);
}

bool WinInet::queryReply() {
    queryText(HTTP_QUERY_CONTENT_TYPE, ContentType);
    if (isCancelled()) return false;
    std::string length;
    if (queryText(HTTP_QUERY_CONTENT_LENGTH, length)) m_contentLength = std::atol(length.c_str());
    if (isCancelled()) return false;
    queryText(HTTP_QUERY_REQUEST_METHOD, Method);
    return !isCancelled();
}

// A failed read ends the body as a success, on purpose: it delivers no bytes, like the end.
void WinInet::receive() {
    using Clock = std::chrono::steady_clock;
    ChangeStatus(receiving);
    m_response.clear();
    reserveResponse();
    const Clock::time_point start = Clock::now();
    for (;;) {
        char block[blockSize];
        DWORD read = 0;
        if (!InternetReadFile(m_request.get(), block, sizeof block, &read)) read = 0;
        if (read > m_response.capacity() - m_response.size())
            m_response.reserve(m_response.capacity() + m_response.capacity() / 4 + blockSize);
        m_response.append(block, read);
        if (isCancelled()) return;
        m_bytesReceived += static_cast<long>(read);
        const std::chrono::duration<float> elapsed = Clock::now() - start;
        if (m_events) m_events->OnProgress(m_bytesReceived, m_contentLength, elapsed.count());
        automation::pumpMessages();
        if (read > 0) continue;
        CloseHandles();
        SuccessDone = true;
        ChangeStatus(complete);
        return;
    }
}

// A header may promise anything; what is reserved on its word stays small enough to be harmless.
void WinInet::reserveResponse() {
    constexpr long trusted = 16 * 1024 * 1024;
    m_response.reserve(static_cast<std::size_t>(std::clamp(m_contentLength, 0L, trusted)));
}

bool WinInet::fail(State state) {
    ChangeStatus(state);
    CloseHandles();
    return false;
}

bool WinInet::pass(State state) {
    ChangeStatus(state);
    return !isCancelled();
}

bool WinInet::isCancelled() {
    if (m_isCancelled) fail(cancelled);
    return m_isCancelled;
}

void WinInet::ChangeStatus(State state) {
    m_state = state;
    if (m_events) m_events->OnStateChanged(state);
    automation::pumpMessages();
}

void WinInet::CloseHandles() noexcept {
    m_request.reset();
    m_connection.reset();
    m_internet.reset();
}

bool WinInet::queryText(DWORD what, std::string& text) const {
    char buffer[4096];
    DWORD length = sizeof buffer;
    if (!HttpQueryInfoA(m_request.get(), what, buffer, &length, nullptr)) return false;
    text.assign(buffer, length);
    return true;
}

}  // namespace vtdl
