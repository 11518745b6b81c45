#pragma once
// One HTTP request over a socket of the library's own.

#include "transport/TcpClient.h"
// The socket header has to come before the system's main one.
#include <itimer.h>

#include <memory>
#include <string>
#include <string_view>

#include "timers/cTimer.h"
#include "automation/Object.h"
#include "text/FixedString.h"
#include "text/HttpHead.h"

namespace vtdl {

class MethodFrame;

/// Who wants to know how a download goes. A handler may dispatch messages, disconnect, and start
/// downloads of other objects.
class HttpDownloadEvents {
public:
    virtual void OnStatusText(std::wstring_view text) noexcept = 0;
    /// The share of the reply, its head counted too, so that it runs ahead.
    virtual void OnProgress(long percent) noexcept = 0;

protected:
    ~HttpDownloadEvents() = default;
};

/// Gets a page on the caller's thread while window messages run. Failures end in LastError. Every
/// DownloadURL begins afresh; made by automation::Make.
class CHTTPDownloader final : public iTimer,
                              private TcpClientEvents,
                              private automation::LiveObject {
public:
    static constexpr text::FixedString className{"CHTTPDownloader"};

    /// What LastError says besides 0 for success and the system's errors of sockets.
    enum Failure : long { invalidUrl = 1, unresolved = 2, timeout = 3, cancelled = 4 };

    /// The events' receiver, if any, outlives the downloader.
    explicit CHTTPDownloader(HttpDownloadEvents* events = nullptr) noexcept : m_events(events) {}

    long LastError() const;
    /// All that was received, head included; after success the body, without chunk sizes.
    const std::wstring& Response() const;
    const std::wstring& Headers() const;
    /// The body as it was received. Valid until the next download.
    std::string_view ResponseBytes() const;
    /// A text::StatusClass.
    long Status() const;

    /// Seconds for the whole download.
    long Timeout() const;
    void Timeout(long seconds);
    long ProxyPort() const;
    void ProxyPort(long port);
    const std::wstring& ProxyHost() const;
    void ProxyHost(std::wstring_view host);
    bool UseProxy() const;
    void UseProxy(bool isUsed);

    /// The page's text; empty after a failure, and for a call from inside a download of the same
    /// object, which is left alone.
    std::wstring DownloadURL(const std::wstring& url);

    /// Ends the download that runs; without one it does nothing.
    void Disconnect();

    STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override;
    STDMETHODIMP_(ULONG) Release() noexcept override;
    STDMETHODIMP Fire(long elapsed) noexcept override;

private:
    /// What one download leaves behind.
    struct Reply {
        long lastError = 0;
        text::StatusClass status = text::StatusClass::success;
        text::HttpHead head;
        std::wstring headers;
        std::wstring response;
        std::string received;
        std::size_t bodyStart = 0;
        std::size_t searched = 0;  ///< bytes without a blank line
        bool isHeadSought = true;
    };

    void OnConnected(long result) noexcept override;
    void OnBytesReceived(std::string_view bytes) noexcept override;
    void OnDisconnected() noexcept override;

    void Run(MethodFrame& frame, const std::wstring& url);
    bool Connect(MethodFrame& frame, long port);
    void StartTimer();
    bool KeepBytes(std::string_view bytes) noexcept;
    bool TakeText(std::string_view bytes) noexcept;
    void SeekHead();
    void ParseHeaders();
    bool ParseData();
    void Fail(long error) noexcept;
    void End(long error, std::wstring_view status);
    void ReportStatus(std::wstring_view text) noexcept;
    void ReportProgress(long percent) noexcept;

    HttpDownloadEvents* m_events;
    long m_references = 1;
    long m_timeout = 15;
    long m_proxyPort = 0;
    std::wstring m_proxyHost;
    bool m_useProxy = false;
    Reply m_reply;
    bool m_isRunning = false;
    bool m_isConnected = false;
    bool m_isOver = true;  ///< nothing more is waited for
    std::shared_ptr<HiddenWindow> m_window;
    std::unique_ptr<cTimer> m_timer;
    TcpClient m_client{*this};
};

}  // namespace vtdl
