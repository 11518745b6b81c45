#pragma once
// One HTTP request over the system's internet-transfer library.

#include <windows.h>
#include <wininet.h>

#include <string>

#include "automation/UniqueHandle.h"
#include "transport/RequestHandle.h"

namespace vtdl {

class CXMLSettings;

/// Who wants to know how a request goes. An error in a handler does not stop the request.
class WinInetEvents {
public:
    virtual void OnStateChanged(long state) noexcept = 0;
    /// Bytes of the body so far, its length from the reply's header (0 when unknown), and the
    /// seconds since the body transfer began.
    virtual void OnProgress(long bytesReceived, long contentLength, float elapsed) noexcept = 0;

protected:
    ~WinInetEvents() = default;
};

/// Runs one request from start to end on the caller's thread, letting window messages run between
/// its stages and after every block. Stages fail softly: the state tells which. A second Execute
/// keeps counting where the first one stopped; use a new object for every request.
///
/// A text with a control character, which could end a line of the request, fails the stage that
/// would send it. A request beyond its limits fails in state sendFailed or, once a reply has begun,
/// cancelled.
class WinInet {
public:
    enum State : long {
        opened = 1,
        openFailed = 2,
        connected = 3,
        connectFailed = 4,
        requestFailed = 5,
        requestOpened = 6,
        sent = 7,
        sendFailed = 8,
        receiving = 9,
        complete = 11,
        cancelled = 12,
    };

    /// The events' receiver, if any, outlives the request.
    explicit WinInet(WinInetEvents* events = nullptr) noexcept : m_events(events) {}

    /// Takes the limits and the strictness that the settings' section "HTTP" asks for.
    void Configure(CXMLSettings& settings);

    long TimeoutSek =
        0;  ///< seconds for each connect, send and receive; below 1: 300 from Execute on
    long TotalSek = 0;   ///< seconds for the whole request; below 1: twice TimeoutSek
    long MaxBodyMB = 0;  ///< megabytes of a body; below 1: 64
    /// No cookies, and only few redirects, all to the same server; and the body has to be whole:
    /// one that is shorter than its header promises, or whose end cannot be told, has failed.
    bool Strict = false;
    /// Over TLS, to a server whose certificate holds; redirects as strictly, so that nothing leads
    /// to the open line.
    bool Secure = false;
    std::string AgentName;
    std::string HostName;
    short Port = 0;
    std::string UserName;
    std::string Password;
    std::string Method;    ///< empty: GET; after a reply the method that it reports
    std::string Resource;  ///< path and query; made canonical by Execute
    std::string Referer;
    std::string AcceptTypes;  ///< stored only, never sent
    std::string PostQuery;    ///< not empty: sent as the body of a form
    std::string ContentType;  ///< of the reply
    bool SuccessDone = false;

    /// Makes the running request end at its next check.
    void Cancel() noexcept { m_isCancelled = true; }

    /// Runs the request. Throws 0x80040064 for anything but a failed stage.
    void Execute();

    /// The reply's body, byte for byte; empty unless it was received to its end.
    const std::string& Response() const noexcept;
    std::string TakeResponse();
    void Response(std::string text) { m_response = std::move(text); }

    long LastState() const noexcept { return m_state; }

    /// The status code of the reply, 0 before there is one.
    long Status() const noexcept { return m_status; }

    /// Why there is no response, in words; empty when there is one.
    std::string Fault() const;

    /// Whether a request runs on this thread, to which whoever asks would have to return first.
    static bool IsAnyRunning() noexcept;

private:
    using InternetHandle = automation::UniqueHandle<HINTERNET, InternetCloseHandle>;

    static constexpr DWORD blockSize = 4096;

    void Run();
    bool OpenSession();
    bool Connect();
    bool OpenRequest();
    bool OpenRequestHandle();
    bool Send();
    bool SendRequest();
    bool IsWhole();
    bool HasOwnRedirects() const noexcept { return Strict || Secure; }
    bool FollowRedirects();
    bool TakeRedirect(DWORD status, const std::string& location);
    bool IsBeyondLimits() const;
    std::size_t MaxBody() const noexcept;
    ULONGLONG TotalMilliseconds() const noexcept;
    ULONGLONG AnswerMilliseconds() const noexcept;
    bool QueryReply();
    void Receive();
    DWORD ReadBlock(char (&block)[blockSize]);
    void SetTimeouts(HINTERNET handle);
    void CanonicalizeResource();
    bool Fail(State state);
    bool Pass(State state);
    bool IsCancelled();
    void ChangeStatus(State state);
    void CloseHandles() noexcept;
    void Abandon() noexcept;
    void ReserveResponse();

    WinInetEvents* m_events;
    long m_state = 0;
    long m_contentLength = 0;
    long m_bytesReceived = 0;
    long m_status = 0;
    bool m_isCancelled = false;
    bool m_isChunked = false;
    DWORD m_readError = 0;
    DWORD m_available = 0;  // bytes that can be read without waiting
    std::string m_fault;
    std::string m_response;
    InternetHandle m_internet;
    InternetHandle m_connection;
    RequestHandle m_request;
    ULONGLONG m_deadline = 0;  ///< in system ticks
};

}  // namespace vtdl
