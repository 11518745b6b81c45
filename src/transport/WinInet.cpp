#include "transport/WinInet.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>

#include "automation/Error.h"
#include "automation/MessagePump.h"
#include "automation/PerApartment.h"
#include "settings/SharedSettings.h"
#include "text/Ascii.h"
#include "transport/SecurityFault.h"

namespace vtdl {
namespace {

constexpr int maxRedirects = 5;

automation::PerApartment<int> runningRequests;

const char* orNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

template <class... Texts>
bool HasControlCharacter(const Texts&... texts) {
    return (text::HasControlCharacter(texts) || ...);
}

// Requests nest on a thread when a host starts one in another's event. The platform lets so many
// through to a server, and would keep the next one waiting for those below it on the same stack.
void RaiseConnectionLimit() noexcept {
    static const bool isRaised [[maybe_unused]] = [] {
        DWORD connections = 128;
        for (const DWORD option :
             {INTERNET_OPTION_MAX_CONNS_PER_SERVER, INTERNET_OPTION_MAX_CONNS_PER_1_0_SERVER})
            InternetSetOptionA(nullptr, option, &connections, sizeof connections);
        return true;
    }();
}

std::string Seconds(ULONGLONG milliseconds) { return std::to_string(milliseconds / 1000) + " s"; }

// Why a request had no answer. Wine 8 tells a time-out as a connection that was ended.
std::string NoAnswer(DWORD error, ULONGLONG milliseconds, ULONGLONG limit) {
    std::string reason = SecurityFault(error);
    if (!reason.empty())
        reason.insert(0, "the host's ");
    else if (error == ERROR_INTERNET_NAME_NOT_RESOLVED)
        reason = "the host's name is not known";
    else if (error == ERROR_INTERNET_CANNOT_CONNECT)
        reason = "the host takes no connection";
    else if (milliseconds >= limit)
        reason = "no answer within " + Seconds(limit);
    else
        reason = "no answer";
    return reason + " (error " + std::to_string(error) + ")";
}

}  // namespace

void WinInet::Configure(CXMLSettings& settings) {
    TimeoutSek = HttpSetting(settings, L"timeout");
    TotalSek = HttpSetting(settings, L"total");
    MaxBodyMB = HttpSetting(settings, L"maxbody");
    Strict = AreRepliesStrict(settings);
}

void WinInet::Execute() {
    struct Running {
        int& count = ++*runningRequests;
        ~Running() { --count; }
    } const running;
    try {
        Run();
    } catch (...) {
        CloseHandles();
        throw automation::Error(static_cast<HRESULT>(0x80040064), L"vtdl.WinInet.Execute",
                                L"WinInet component failure");
    }
}

bool WinInet::IsAnyRunning() noexcept {
    const int* const count = runningRequests.find();
    return count && *count > 0;
}

const std::string& WinInet::Response() const noexcept {
    static const std::string none;
    return SuccessDone ? m_response : none;
}

std::string WinInet::Fault() const {
    if (SuccessDone || !m_fault.empty()) return SuccessDone ? std::string() : m_fault;
    return m_state == cancelled ? "aborted" : "the request cannot be made";
}

std::string WinInet::TakeResponse() { return SuccessDone ? std::move(m_response) : std::string(); }

void WinInet::Run() {
    if (OpenSession() && Connect() && OpenRequest() && Send() && QueryReply()) Receive();
}

bool WinInet::OpenSession() {
    if (HasControlCharacter(AgentName)) return Fail(openFailed);
    RaiseConnectionLimit();
    m_internet = InternetHandle(
        InternetOpenA(AgentName.c_str(), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    return m_internet ? Pass(opened) : Fail(openFailed);
}

bool WinInet::Connect() {
    SetTimeouts(m_internet.get());
    m_deadline = GetTickCount64() + TotalMilliseconds();
    if (HasControlCharacter(HostName, UserName, Password)) return Fail(connectFailed);
    m_connection = InternetHandle(
        InternetConnectA(m_internet.get(), HostName.c_str(), static_cast<INTERNET_PORT>(Port),
                         orNull(UserName), UserName.empty() ? nullptr : Password.c_str(),
                         INTERNET_SERVICE_HTTP, 0, 0));  // Wine 8 reads a user's missing password
    return m_connection ? Pass(connected) : Fail(connectFailed);
}

void WinInet::SetTimeouts(HINTERNET handle) {
    if (TimeoutSek < 1) TimeoutSek = 300;
    if (TimeoutSek > LONG_MAX / 1000)
        throw automation::MakeRuntimeError(automation::RuntimeError::overflow);
    vtdl::SetTimeouts(handle, static_cast<DWORD>(AnswerMilliseconds()));
}

ULONGLONG WinInet::AnswerMilliseconds() const noexcept {
    return std::min(1000ULL * static_cast<ULONGLONG>(TimeoutSek), TotalMilliseconds());
}

ULONGLONG WinInet::TotalMilliseconds() const noexcept {
    return 1000ULL * static_cast<ULONGLONG>(TotalSek > 0 ? TotalSek : 2LL * TimeoutSek);
}

bool WinInet::OpenRequest() {
    if (HasControlCharacter(Method, Resource, Referer, PostQuery)) return Fail(requestFailed);
    CanonicalizeResource();
    return OpenRequestHandle() ? Pass(requestOpened) : Fail(requestFailed);
}

bool WinInet::OpenRequestHandle() {
    const DWORD flags = INTERNET_FLAG_RELOAD | (Strict ? INTERNET_FLAG_NO_COOKIES : 0) |
                        (HasOwnRedirects() ? INTERNET_FLAG_NO_AUTO_REDIRECT : 0) |
                        (Secure ? INTERNET_FLAG_SECURE : 0);
    const ULONGLONG now = GetTickCount64();
    const DWORD left = static_cast<DWORD>(
        std::min<ULONGLONG>(m_deadline > now ? m_deadline - now : 1, INFINITE - 1));
    m_request.Open(HttpOpenRequestA(m_connection.get(), orNull(Method), Resource.c_str(),
                                    "HTTP/1.0", orNull(Referer), nullptr, flags, 0),
                   left);
    if (!m_request.get()) return false;
    SetTimeouts(m_request.get());  // Wine 8 does not hand the session's limits down to its requests
    return true;
}

void WinInet::CanonicalizeResource() {
    char canonical[4096];
    DWORD length = sizeof canonical;
    if (InternetCanonicalizeUrlA(Resource.c_str(), canonical, &length, ICU_BROWSER_MODE))
        Resource.assign(canonical, length);
}

bool WinInet::Send() {
    if (!SendRequest() || (HasOwnRedirects() && !FollowRedirects())) return Fail(sendFailed);
    return Pass(sent);
}

// The form's header is fixed; ContentType is the reply's.
bool WinInet::SendRequest() {
    constexpr char formHeader[] = "Content-Type: application/x-www-form-urlencoded";
    const ULONGLONG start = GetTickCount64();
    const BOOL done = PostQuery.empty() ? HttpSendRequestA(m_request.get(), nullptr, 0, nullptr, 0)
                                        : HttpSendRequestA(m_request.get(), formHeader,
                                                           sizeof formHeader - 1, PostQuery.data(),
                                                           static_cast<DWORD>(PostQuery.size()));
    if (!done) m_fault = NoAnswer(GetLastError(), GetTickCount64() - start, AnswerMilliseconds());
    // Wine 8 counts a server that hangs up without a status line as one that has answered.
    else if (m_request.StatusCode() == 0)
        m_fault = "no status line";
    m_status = done ? static_cast<long>(m_request.StatusCode()) : 0;
    return m_status > 0;
}

bool WinInet::FollowRedirects() {
    for (int count = 0;; ++count) {
        const DWORD status = m_request.StatusCode();
        std::string location;
        if (status < 300 || status > 399 || !m_request.QueryText(HTTP_QUERY_LOCATION, location))
            return true;
        if (count == maxRedirects || !TakeRedirect(status, location)) {
            m_fault = "a redirect that is not followed";
            return false;
        }
        if (!OpenRequestHandle() || !SendRequest()) return false;
    }
}

// Leads to another path of the same server, or nowhere. What took a form may name a page to get.
bool WinInet::TakeRedirect(DWORD status, const std::string& location) {
    const auto port = static_cast<INTERNET_PORT>(Port);
    const std::string scheme = Secure ? "https://" : "http://", host = scheme + HostName;
    const std::string server = host + ":" + std::to_string(port);
    char url[4096];
    DWORD length = sizeof url;
    if (!InternetCombineUrlA((server + Resource).c_str(), location.c_str(), url, &length,
                             ICU_BROWSER_MODE))
        return false;
    const std::string_view target(url, length);
    const std::string_view address = target.substr(0, target.find('/', scheme.size()));
    const bool isSame =
        text::EqualsIgnoringCase(address, server) ||
        (port == (Secure ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT) &&
         text::EqualsIgnoringCase(address, host));
    if (!isSame || HasControlCharacter(target)) return false;
    Resource = target.substr(address.size(), target.find('#') - address.size());
    if (Resource.empty()) Resource = "/";
    if (status <= HTTP_STATUS_REDIRECT_METHOD && !PostQuery.empty()) {
        Method = "GET";
        PostQuery.clear();
    }
    return true;
}

bool WinInet::QueryReply() {
    m_request.QueryText(HTTP_QUERY_CONTENT_TYPE, ContentType);
    if (IsCancelled()) return false;
    std::string length;
    if (m_request.QueryText(HTTP_QUERY_CONTENT_LENGTH, length))
        m_contentLength = std::atol(length.c_str());
    if (IsCancelled()) return false;
    std::string coding;
    m_isChunked = m_request.QueryText(HTTP_QUERY_TRANSFER_ENCODING, coding) &&
                  !text::EqualsIgnoringCase(text::Trimmed(coding), "identity");
    m_request.QueryText(HTTP_QUERY_REQUEST_METHOD, Method);
    return !IsCancelled();
}

// A failed read ends the body as a success, on purpose, unless strictly: it delivers no bytes, like
// the end.
void WinInet::Receive() {
    using Clock = std::chrono::steady_clock;
    ChangeStatus(receiving);
    m_response.clear();
    m_available = 0;
    ReserveResponse();
    const Clock::time_point start = Clock::now();
    for (;;) {
        char block[blockSize];
        const DWORD read = ReadBlock(block);
        // In small steps: while the text moves, it is there twice.
        if (read > m_response.capacity() - m_response.size())
            m_response.reserve(m_response.capacity() + m_response.capacity() / 16 + blockSize);
        m_response.append(block, read);
        if (IsBeyondLimits()) {
            m_fault = m_response.size() > MaxBody()
                          ? "a body beyond the limit of size"
                          : "not all there within " + Seconds(TotalMilliseconds());
            Cancel();
        } else if (read == 0 && Strict && !IsWhole()) {
            Cancel();
        }
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

// The chunks of a body are joined by the system's client, whose reads say success for the end of a
// whole body, a cut one and a broken chunk alike; no documented option tells them apart. Only where
// it is asked to keep the connection does Wine 8 report one that is cut as closed, but a broken
// size as kept, like the whole; of Windows nothing of the kind is documented. Nobody may answer an
// HTTP/1.0 request with chunks, so that they count as broken.
bool WinInet::IsWhole() {
    if (m_readError != 0)
        m_fault = "the body breaks off (error " + std::to_string(m_readError) + ")";
    else if (m_isChunked)
        m_fault = "the body is in chunks, whose end cannot be told";
    else if (m_contentLength > m_bytesReceived)
        m_fault =
            std::to_string(m_bytesReceived) + " of " + std::to_string(m_contentLength) + " bytes";
    return m_fault.empty();
}

// The request's handle goes when its time is over, which may be a little early.
bool WinInet::IsBeyondLimits() const {
    return m_response.size() > MaxBody() || !m_request.get() || GetTickCount64() >= m_deadline;
}

std::size_t WinInet::MaxBody() const noexcept {
    constexpr long unit = 1024 * 1024, most = LONG_MAX / unit, usual = 64;
    return static_cast<std::size_t>((MaxBodyMB < 1 ? usual : std::min(MaxBodyMB, most)) * unit);
}

// A read waits until it has all the bytes that it asks for. Asked for no more than is there, it
// lets messages and a cancel through after every piece that a slow server sends.
DWORD WinInet::ReadBlock(char (&block)[blockSize]) {
    DWORD read = 0;
    m_readError = 0;
    if ((m_available == 0 && !InternetQueryDataAvailable(m_request.get(), &m_available, 0, 0)) ||
        (m_available > 0 &&
         !InternetReadFile(m_request.get(), block, std::min<DWORD>(m_available, blockSize), &read)))
        m_readError = std::max<DWORD>(GetLastError(), 1);
    m_available -= std::min(m_available, read);
    return m_readError == 0 ? read : 0;
}

// A header may promise anything; what is reserved on its word stays small enough to be harmless.
void WinInet::ReserveResponse() {
    constexpr long trusted = 16 * 1024 * 1024;
    m_response.reserve(static_cast<std::size_t>(std::clamp(m_contentLength, 0L, trusted)));
}

bool WinInet::Fail(State state) {
    const bool isMoreToCome = m_state == receiving;
    ChangeStatus(state);
    if (isMoreToCome)
        Abandon();
    else
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

// The session takes its connection and its request with it.
void WinInet::Abandon() noexcept {
    m_request.release();
    m_connection.release();
    CloseLater(m_internet.release());
}

}  // namespace vtdl
