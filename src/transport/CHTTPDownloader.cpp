#include "transport/CHTTPDownloader.h"

#include <algorithm>
#include <climits>

#include "automation/CodePage.h"
#include "automation/MessagePump.h"
#include "errors/MethodFrame.h"
#include "text/HttpHead.h"

namespace vtdl {

using namespace automation;

namespace {

/// The system's word for a connection that was given up at this side.
constexpr long givenUp = WSAECONNABORTED;

/// Heads are some hundred bytes. A peer that sends so many without a blank line sends no reply, and
/// what it sends must not fill the memory.
constexpr std::size_t headLimit = 1024 * 1024;

template <text::FixedString Member, class Body>
void InFrame(Body&& body, std::source_location at = std::source_location::current()) {
    Check(Framed<CHTTPDownloader::className, Member>(body, at));
}

/// A property's value, read inside a frame of its name.
template <text::FixedString Member, class Value>
const Value& Read(const Value& value) {
    InFrame<Member>([] {});
    return value;
}

std::string RequestFor(std::wstring_view target, std::wstring_view host) {
    return "GET " + ToBytes(target) +
           " HTTP/1.1\r\n"
           "Accept: */*\r\n"
           "Accept-Language: en-us\r\n"
           "Connection: close\r\n"
           "Host: " +
           ToBytes(host) + "\r\n\r\n";
}

// A line break in an address would end the request's line and begin another one.
bool IsValid(std::wstring_view url, const text::HttpUrl& parts) {
    constexpr std::wstring_view forbidden(L"\r\n\0", 3);
    return !parts.host.empty() && !parts.path.empty() && parts.port >= 1 &&
           url.find_first_of(forbidden) == std::wstring_view::npos;
}

}  // namespace

long CHTTPDownloader::LastError() const { return Read<"LastError">(m_reply.lastError); }
const std::wstring& CHTTPDownloader::Response() const { return Read<"Response">(m_reply.response); }
const std::wstring& CHTTPDownloader::Headers() const { return Read<"Headers">(m_reply.headers); }

std::string_view CHTTPDownloader::ResponseBytes() const {
    const std::string_view received = Read<"ResponseBytes">(m_reply.received);
    return m_reply.bodyStart > 0 ? received.substr(m_reply.bodyStart) : std::string_view();
}

long CHTTPDownloader::Status() const { return static_cast<long>(Read<"Status">(m_reply.status)); }

long CHTTPDownloader::Timeout() const { return Read<"Timeout">(m_timeout); }
void CHTTPDownloader::Timeout(long seconds) {
    InFrame<"Timeout">([&] { m_timeout = seconds; });
}

long CHTTPDownloader::ProxyPort() const { return Read<"ProxyPort">(m_proxyPort); }
void CHTTPDownloader::ProxyPort(long port) {
    InFrame<"ProxyPort">([&] { m_proxyPort = port; });
}

const std::wstring& CHTTPDownloader::ProxyHost() const { return Read<"ProxyHost">(m_proxyHost); }
void CHTTPDownloader::ProxyHost(std::wstring_view host) {
    InFrame<"ProxyHost">([&] { m_proxyHost = host; });
}

bool CHTTPDownloader::UseProxy() const { return Read<"UseProxy">(m_useProxy); }
void CHTTPDownloader::UseProxy(bool isUsed) {
    InFrame<"UseProxy">([&] { m_useProxy = isUsed; });
}

// By value: a handler may have released the last reference that the caller had.
std::wstring CHTTPDownloader::DownloadURL(const std::wstring& url) {
    if (m_isRunning) return {};
    const ComPtr<CHTTPDownloader> alive(this);
    m_reply = {};
    m_isConnected = m_isOver = false;
    m_isRunning = true;
    bool isDone = false;
    const HRESULT hr = Framed<className, "DownloadURL">([&](MethodFrame& frame) {
        Run(frame, url);
        if (m_reply.lastError == 0 && !ParseData()) Fail(givenUp);
        isDone = true;
    });
    // However it was left, nothing of it goes on, and only a finished one counts as a success.
    if (!isDone) Fail(givenUp);
    m_isOver = true;
    m_timer.reset();
    m_window.reset();
    m_client.Close();
    m_isRunning = false;
    Check(hr);
    return m_reply.lastError == 0 ? m_reply.response : std::wstring();
}

void CHTTPDownloader::Run(MethodFrame& frame, const std::wstring& url) {
    ReportStatus(L"Parsing URL");
    ReportProgress(0);
    const text::HttpUrl parts = text::SplitUrl(url);
    // The site is named also to a proxy, which the connection goes to.
    const std::string request = RequestFor(m_useProxy ? url : parts.path, parts.host);
    const std::wstring host = m_useProxy ? m_proxyHost : parts.host;
    const long port = m_useProxy ? m_proxyPort : parts.port;
    if (m_isOver) return;
    if (!IsValid(url, parts)) return Fail(invalidUrl);

    ReportStatus(L"Resolving server address...");
    if (m_isOver) return;
    if (!m_client.Resolve(host)) return Fail(unresolved);

    frame.Step([&] { StartTimer(); });
    ReportStatus(L"Connecting to host...");
    if (m_isOver || !Connect(frame, port)) return;
    frame.Step([&] { m_client.Send(request); });
    PumpUntil([this] { return m_isOver; });
}

/// False when there is no connection; the error is noted then.
bool CHTTPDownloader::Connect(MethodFrame& frame, long port) {
    long result = givenUp;
    frame.Step([&] { result = m_client.Connect(port); });
    if (result != 0) Fail(result);
    PumpUntil([this] { return m_isConnected || m_isOver; });
    return !m_isOver;
}

void CHTTPDownloader::StartTimer() {
    constexpr long second = 1000;
    if (m_timeout > LONG_MAX / second || m_timeout < LONG_MIN / second)
        throw MakeRuntimeError(RuntimeError::overflow);
    GUID identifier;
    Check(CoCreateGuid(&identifier));
    m_window = HiddenWindow::get();
    m_timer = std::make_unique<cTimer>();
    m_timer->StartTimer(m_timeout * second, this, m_window->Handle(),
                        static_cast<long>(identifier.Data1));
}

void CHTTPDownloader::Disconnect() {
    InFrame<"Disconnect">([&] { End(cancelled, L"Cancelled."); });
}

STDMETHODIMP CHTTPDownloader::Fire(long) noexcept {
    return Framed<className, "iTimer_Fire">([&] {
        m_timer.reset();
        End(timeout, L"Timeout expired.");
    });
}

// A download counts as connected from its start, so that an end that is asked for before the
// connection stands is not lost. What arrives while the handler runs comes too late.
void CHTTPDownloader::End(long error, std::wstring_view status) {
    if (m_isOver) return;
    m_reply.lastError = error;
    m_isOver = true;
    ReportStatus(status);
    m_client.Close();
}

void CHTTPDownloader::Fail(long error) noexcept {
    if (m_reply.lastError == 0) m_reply.lastError = error;
    m_isOver = true;
    m_client.Close();
}

void CHTTPDownloader::OnConnected(long result) noexcept {
    if (result != 0) return Fail(result);
    m_isConnected = true;
}

void CHTTPDownloader::OnBytesReceived(std::string_view bytes) noexcept {
    if (m_isOver) return;
    const bool isTaken = KeepBytes(bytes) && TakeText(bytes);
    // Bytes that are lost make the rest worthless.
    if (!isTaken && !m_isOver) Fail(givenUp);
}

bool CHTTPDownloader::KeepBytes(std::string_view bytes) noexcept {
    bool isKept = false;
    Framed<className, "m_oBytesTransferEvents_OnBytesReceived">([&] {
        m_reply.received += bytes;
        isKept = true;
    });
    return isKept;
}

bool CHTTPDownloader::TakeText(std::string_view bytes) noexcept {
    bool isTaken = false;
    Framed<className, "m_oStringTransferEvents_OnStringReceived">([&](MethodFrame& frame) {
        ReportStatus(L"Downloading...");
        if (m_isOver) return;
        frame.Step([&] { SeekHead(); });
        frame.Step([&] { m_reply.response += ToWide(bytes); });
        isTaken = true;
        if (m_reply.head.contentLength <= 0) return;
        const unsigned long long percent = m_reply.response.size() * 100ULL /
                                           static_cast<unsigned long>(m_reply.head.contentLength);
        ReportProgress(static_cast<long>(std::min(percent, 100ULL)));
    });
    return isTaken;
}

void CHTTPDownloader::OnDisconnected() noexcept {
    if (m_isOver) return;
    m_isOver = true;
    Framed<className, "m_oConnectionEvents_OnDisconnected">([&] { ReportProgress(100); });
    m_timer.reset();
}

// A reply that begins with a blank line has no head.
void CHTTPDownloader::SeekHead() {
    if (!m_reply.isHeadSought) return;
    const std::size_t end = text::FindBlankLine(m_reply.received, m_reply.searched);
    m_reply.searched = m_reply.received.size();
    m_reply.isHeadSought = end == std::string::npos;
    if (m_reply.isHeadSought) {
        if (m_reply.searched > headLimit) Fail(givenUp);
    } else if (end > 0) {
        m_reply.headers = ToWide(std::string_view(m_reply.received).substr(0, end));
        ParseHeaders();
    }
}

void CHTTPDownloader::ParseHeaders() {
    InFrame<"ParseHeaders">([&] { m_reply.head = text::ParseHead(m_reply.headers); });
}

/// False when the reply could not be read; one without a head stays as it was received.
bool CHTTPDownloader::ParseData() {
    bool isRead = false;
    InFrame<"ParseData">([&] {
        const std::string_view received = m_reply.received;
        const std::size_t end = text::FindBlankLine(received);
        isRead = true;
        if (end == std::string_view::npos || end == 0) return;
        isRead = false;
        m_reply.headers = ToWide(received.substr(0, end));
        m_reply.bodyStart = end + text::blankLine.size();
        std::wstring().swap(m_reply.response);
        m_reply.response = ToWide(received.substr(m_reply.bodyStart));
        m_reply.status = text::ClassOfStatus(m_reply.headers);
        ParseHeaders();
        if (m_reply.head.isChunked) m_reply.response = text::DecodeChunked(m_reply.response);
        isRead = true;
    });
    return isRead;
}

void CHTTPDownloader::ReportStatus(std::wstring_view text) noexcept {
    if (m_events) m_events->OnStatusText(text);
}

void CHTTPDownloader::ReportProgress(long percent) noexcept {
    if (m_events) m_events->OnProgress(percent);
}

STDMETHODIMP CHTTPDownloader::QueryInterface(REFIID id, void** object) noexcept {
    if (!object) return NullReference();
    *object =
        id == __uuidof(IUnknown) || id == __uuidof(iTimer) ? static_cast<iTimer*>(this) : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) CHTTPDownloader::AddRef() noexcept {
    return static_cast<ULONG>(InterlockedIncrement(&m_references));
}

STDMETHODIMP_(ULONG) CHTTPDownloader::Release() noexcept {
    const long left = InterlockedDecrement(&m_references);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
}

}  // namespace vtdl
