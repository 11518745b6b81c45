#pragma once
// What all web adapters share beyond the data-source contract: the HTTP client of a download, its
// reports to the session, and the hand-over of a result.

#include <cmath>
#include <memory>
#include <optional>

#include "objectmodel/CData.h"
#include "session/SessionErrors.h"
#include "sources/CurrentSession.h"
#include "sources/FieldReader.h"
#include "sources/SourceAdapter.h"
#include "sources/StrictReply.h"
#include "settings/SharedSettings.h"
#include "transport/WinInet.h"

namespace vtdl {

template <class D, class Coclass, class Default>
class WebAdapter : public SourceAdapter<D, Coclass, Default>, protected WinInetEvents {
public:
    STDMETHODIMP Abort() noexcept override {
        return this->template Framed<"CDataSource_Abort">([&] {
            m_isAborted = m_session.IsCurrent();
            if (m_ADL) m_ADL->Cancel();
        });
    }

protected:
    ~WebAdapter() {
        if (m_ADL) m_ADL->Cancel();
    }

    /// Runs the body of Download inside its frame, with the session as the current one.
    template <class Body>
    HRESULT Downloading(_CSession** session, Body&& body,
                        std::source_location at = std::source_location::current()) noexcept {
        if (!session || !*session) return automation::NullReference();
        const automation::ComPtr<_CSession> current(*session);
        const automation::ComPtr<_CDataSource> alive(this);
        const DownloadScope scope(*this, current.get());
        const HRESULT result = this->template Framed<"CDataSource_Download">(
            [&](MethodFrame& frame) { body(frame, current.get()); }, at);
        Conclude(current.get());
        return result;
    }

private:
    /// Makes the session current for the time of a download. A download of another session may
    /// start inside this one, from a callback or while messages run; afterwards this one goes on.
    class DownloadScope {
    public:
        DownloadScope(WebAdapter& adapter, _CSession* session)
            : m_adapter(adapter),
              m_outerSession(
                  std::exchange(adapter.m_session,
                                CurrentSession(static_cast<_CDataSource*>(&adapter), session))),
              m_outerIsAborted(std::exchange(adapter.m_isAborted, false)),
              m_outerVerdict(std::exchange(adapter.m_verdict, {})) {}
        DownloadScope(const DownloadScope&) = delete;
        DownloadScope& operator=(const DownloadScope&) = delete;
        ~DownloadScope() {
            m_adapter.m_session = m_outerSession;
            m_adapter.m_isAborted = m_outerIsAborted;
            m_adapter.m_verdict = std::move(m_outerVerdict);
        }

    private:
        WebAdapter& m_adapter;
        CurrentSession m_outerSession;
        bool m_outerIsAborted;
        StrictVerdict m_outerVerdict;
    };

    /// The end of a strict download: one that failed, or brought nothing, leaves no data, its error
    /// in the session, and a line in the log.
    void Conclude(_CSession* session) noexcept {
        if (!IsStrict()) return;
        this->template Framed<"CDataSource_Download">([&](MethodFrame& frame) {
            frame.Step([&] {
                if (m_session.Error() == 0 && !m_verdict.hasValues)
                    m_session.Done(dataNotAvailable);
            });
            if (m_session.Error() == 0) return;
            frame.Step([&] { automation::Check(session->putref_Data(nullptr)); });
            LogFailedDownload(D::identity.name, session, m_session.Error(), m_verdict);
        });
    }

    bool IsStrict() const noexcept {
        try {
            return AreRepliesStrict(*this->m_settings);
        } catch (...) {
            return false;  // as without settings
        }
    }

protected:
    /// A client for one request to a service.
    std::shared_ptr<WinInet> NewClient(const HostAddress& host, std::string resource) {
        const auto client = std::make_shared<WinInet>(static_cast<WinInetEvents*>(this));
        client->HostName = host.name;
        client->Port = host.port;
        client->Resource = std::move(resource);
        client->TimeoutSek = HttpSetting(*this->m_settings, L"timeout");
        client->TotalSek = HttpSetting(*this->m_settings, L"total");
        client->MaxBodyMB = HttpSetting(*this->m_settings, L"maxbody");
        client->Strict = AreRepliesStrict(*this->m_settings);
        return client;
    }

    std::shared_ptr<WinInet> NewClient(const wchar_t* service, std::string resource) {
        return NewClient(ParseHost(ServiceHost(*this->m_settings, service)), std::move(resource));
    }

    /// Runs a request; the body is then in the client. False when it failed or the download was
    /// aborted, and for a strict reply that does not count.
    bool Fetch(const std::shared_ptr<WinInet>& client) {
        m_verdict.place = PlaceOf(*client);
        m_verdict.fault = "aborted";
        if (m_isAborted) return false;
        m_verdict.fault = "the request cannot be made";
        struct Current {
            std::shared_ptr<WinInet>& slot;
            std::shared_ptr<WinInet> outer;
            ~Current() { slot = outer; }
        } const current{m_ADL, std::exchange(m_ADL, client)};
        client->Execute();
        m_verdict.fault = client->Fault();
        if (client->SuccessDone && client->Strict) m_verdict.fault = ReplyFault(*client);
        return m_verdict.fault.empty();
    }

    /// Fetches one reply and reports the outcome to the session. Empty when there is none, or one
    /// of the service's error pages.
    std::string DownloadURL(const std::shared_ptr<WinInet>& client) {
        std::string reply;
        automation::Check(this->template Framed<"DownloadURL">([&](MethodFrame& frame) {
            long error = downloadFailure;
            frame.Step([&] {
                if (!Fetch(client)) return;
                reply = client->TakeResponse();
                error = PageError(reply);
            });
            if (error != 0) reply.clear();
            const bool isForgiven = client->Strict && IsTrial();
            frame.Step([&] { m_session.Done(isForgiven ? 0 : error); });
        }));
        return reply;
    }

    /// The number of the error that a reply is the page of; 0 for any other reply.
    virtual long PageError(const std::string&) const { return 0; }

    /// Why a whole reply is not of the service's form, in words; empty when it is. Only strict
    /// replies are asked.
    virtual std::string FormFault(const WinInet& client) const {
        return IsPage(client.Response()) ? "a page instead of a table" : "";
    }

    /// Whether the reply being fetched is only a trial, whose failure is not the download's.
    virtual bool IsTrial() const { return false; }

    /// A session's request, read from its parameters; nothing when reading it failed and was
    /// ignored.
    template <class Request>
    static std::optional<Request> ReadRequest(MethodFrame& frame, _CSession* session) {
        std::optional<Request> request;
        frame.Step([&] {
            automation::ComPtr<_CParameters> parameters;
            automation::Check(session->get_Parameters(parameters.put()));
            request.emplace(parameters.get());
        });
        return request;
    }

    /// Gives the session its result, and notes whether it has any values.
    void Deliver(_CSession* session, CData& data, bool hasValues) {
        automation::Check(session->putref_Data(&data));
        m_verdict.hasValues = hasValues;
    }

    /// The same for a single block, which the host cannot change.
    void StoreResult(MethodFrame& frame, _CSession* session, std::wstring_view block,
                     _CDataFields* fields, bool hasValues) {
        frame.Step([&] {
            const auto data = automation::Make<CData>();
            SetBlock(*data.get(), block, fields, false);
            Deliver(session, *data.get(), hasValues);
        });
    }

    /// The same for rows, and tells the session.
    void HandOver(MethodFrame& frame, _CSession* session, std::wstring_view block,
                  replies::Columns columns, RowOrder order) {
        CheckIntegers(frame, session, columns);
        const bool hasRows = HasRows(columns);
        HandOver(frame, session, block, FieldsOf(std::move(columns), order).get(), hasRows);
    }

    void HandOver(MethodFrame& frame, _CSession* session, std::wstring_view block,
                  _CDataFields* fields, bool hasValues) {
        StoreResult(frame, session, block, fields, hasValues);
        frame.Step([&] { m_session.DataReady(); });
    }

    /// The text that goes along with progress reports.
    virtual const std::wstring& StatusText() const { return m_statusText; }

    void OnStateChanged(long state) noexcept override {
        this->template Framed<"m_ADL_OnStateChanged">([&] {
            if (state == WinInet::connected) m_session.Start();
        });
    }

    void OnProgress(long bytesReceived, long contentLength, float) noexcept override {
        this->template Framed<"m_ADL_OnProgress">(
            [&] { ReportProgress(PercentOf(bytesReceived, contentLength)); });
    }

    void ReportProgress(long percent) const {
        static const std::wstring none;
        m_session.Progress(percent, m_reportsStatusText ? StatusText() : none);
    }

    std::shared_ptr<WinInet> m_ADL;  ///< the fetch in progress, if any
    CurrentSession m_session;
    std::wstring m_statusText;
    bool m_reportsStatusText = true;
    bool m_isAborted = false;
    StrictVerdict m_verdict;

private:
    // A service's own error page has a number of its own, whatever its status.
    std::string ReplyFault(const WinInet& client) const {
        constexpr long firstErrorStatus = 400;
        std::string fault = client.Status() >= firstErrorStatus
                                ? "status " + std::to_string(client.Status())
                                : FormFault(client);
        return fault.empty() || PageError(client.Response()) != 0 ? std::string() : fault;
    }

    // Rounded half to even; 100 when the total is unknown.
    static long PercentOf(long bytesReceived, long contentLength) {
        return contentLength < 1 ? 100 : std::lrint(bytesReceived * 100.0 / contentLength);
    }
};

}  // namespace vtdl
