#include "sources/Download.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "automation/CodePage.h"
#include "errors/CErrorHandler.h"
#include "session/SessionState.h"
#include "sources/FieldReader.h"
#include "text/ErrorNumber.h"

namespace vtdl {

using namespace automation;

namespace {

// Host, port and path of a request, without an account and without the query.
std::string PlaceOf(const WinInet& client) {
    const std::string port = std::to_string(static_cast<unsigned short>(client.Port));
    return (client.Secure ? "https://" : "") +
           client.HostName.substr(client.HostName.rfind('@') + 1) + ":" + port +
           client.Resource.substr(0, client.Resource.find('?'));
}

// True for a reply that begins with markup where no table does. Comments in front do not count.
bool IsPage(std::string_view reply) {
    constexpr std::string_view mark = "\xEF\xBB\xBF", comment = "<!--", commentEnd = "-->";
    if (reply.starts_with(mark)) reply.remove_prefix(mark.size());
    for (;;) {
        reply.remove_prefix(std::min(reply.find_first_not_of(" \t\r\n"), reply.size()));
        const std::size_t end = reply.find(commentEnd);
        if (!reply.starts_with(comment) || end == reply.npos) return reply.starts_with('<');
        reply.remove_prefix(end + commentEnd.size());
    }
}

// True when a table has a row with a date: the one row of zeros that stands for none has not.
bool HasRows(const replies::Columns& columns) {
    return std::any_of(columns[0].begin(), columns[0].end(), [](double date) { return date != 0; });
}

std::wstring TickerOf(_CSession* session) {
    ComPtr<_CParameters> parameters;
    Check(session->get_Parameters(parameters.put()));
    return std::wstring(ToText(ParameterValue(parameters.get(), L"TICKER").get()).view());
}

// Rounded half to even; 100 when the total is unknown.
long PercentOf(long bytesReceived, long contentLength) {
    return contentLength < 1 ? 100 : std::lrint(bytesReceived * 100.0 / contentLength);
}

}  // namespace

void CurrentSession::Start() const {
    ComPtr<IUnknown> caller(m_adapter);
    if (const auto callback = m_callback) Check(callback->Start(caller.InOut()));
}

void CurrentSession::Progress(long percent, const std::wstring& statusText) const {
    if (!m_callback) return;
    ComPtr<IUnknown> caller(m_adapter);
    Bstr text(statusText);
    const auto callback = m_callback;
    Check(callback->Progress(caller.InOut(), percent, text.put()));
}

void CurrentSession::DataReady() const {
    ComPtr<IUnknown> caller(m_adapter);
    if (const auto callback = m_callback) Check(callback->DataReady(caller.InOut()));
}

void CurrentSession::Done(long errorNumber) {
    ComPtr<IUnknown> caller(m_adapter);
    Note(errorNumber);
    if (const auto callback = m_callback) Check(callback->Done(caller.InOut(), errorNumber));
}

std::string TableFault(const WinInet& client) {
    return IsPage(client.Response()) ? "a page instead of a table" : "";
}

// The service repeats the ticker where it knows no name.
bool HasValues(std::span<const std::string_view> values) {
    return std::any_of(values.begin(), values.end(), [&](std::string_view value) {
        return value != values.front() && value.find_first_of("123456789") != value.npos;
    });
}

/// Makes the session current for the time of a download. A download of another session may start
/// inside this one, from a callback or while messages run; afterwards this one goes on.
class Download::Nesting {
public:
    Nesting(Download& download, _CSession* session)
        : m_download(download),
          m_outerSession(
              std::exchange(download.m_session, CurrentSession(&download.m_source, session))),
          m_outerIsAborted(std::exchange(download.m_isAborted, false)),
          m_outerVerdict(std::exchange(download.m_verdict, {})) {}
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() {
        m_download.m_session = m_outerSession;
        m_download.m_isAborted = m_outerIsAborted;
        m_download.m_verdict = std::move(m_outerVerdict);
    }

private:
    Download& m_download;
    CurrentSession m_outerSession;
    bool m_outerIsAborted;
    Verdict m_outerVerdict;
};

Download::~Download() {
    if (m_ADL) m_ADL->Cancel();
}

HRESULT Download::Run(_CSession** session, const Body& body, std::source_location at) noexcept {
    if (!session || !*session) return NullReference();
    const ComPtr<_CSession> current(*session);
    const ComPtr<_CDataSource> alive(&m_source);
    const Nesting nesting(*this, current.get());
    const HRESULT result = Framed(
        m_routines.download,
        [&](MethodFrame& frame) {
            m_verdict.isUnread = true;  // unless the body comes to its end
            body(frame, current.get());
            m_verdict.isUnread = false;
        },
        at);
    Conclude(current.get());
    return result;
}

void Download::Abort() noexcept {
    m_isAborted = m_session.IsCurrent();
    if (m_ADL) m_ADL->Cancel();
}

std::shared_ptr<WinInet> Download::NewClient(const HostAddress& host, std::string resource,
                                             bool isTold) {
    const auto client =
        std::make_shared<WinInet>(static_cast<WinInetEvents*>(isTold ? this : nullptr));
    client->HostName = host.name;
    client->Port = host.port;
    client->Secure = host.isSecure;
    client->Resource = std::move(resource);
    client->Configure(m_settings);
    return client;
}

std::shared_ptr<WinInet> Download::NewClient(const wchar_t* service, std::string resource) {
    return NewClient(ParseHost(ServiceHost(m_settings, service)), std::move(resource));
}

bool Download::Fetch(const std::shared_ptr<WinInet>& client) {
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

// A service's own error page has a number of its own, whatever its status.
std::string Download::ReplyFault(const WinInet& client) const {
    constexpr long firstErrorStatus = 400;
    std::string fault = client.Status() >= firstErrorStatus
                            ? "status " + std::to_string(client.Status())
                            : m_rules.formFault(client);
    return fault.empty() || m_rules.pageError(client.Response()) != 0 ? std::string() : fault;
}

std::string Download::DownloadURL(const std::shared_ptr<WinInet>& client) {
    std::string reply;
    Check(Framed(m_routines.fetch, [&](MethodFrame& frame) {
        long error = downloadFailure;
        frame.Step([&] {
            if (!Fetch(client)) return;
            reply = client->TakeResponse();
            error = m_rules.pageError(reply);
        });
        if (error != 0) reply.clear();
        const bool isForgiven = client->Strict && m_trial;
        frame.Step([&] { m_session.Done(isForgiven ? 0 : error); });
    }));
    return reply;
}

void Download::Refuse(std::string_view fault) {
    if (!AreRepliesStrict(m_settings)) return;
    Blame(fault);
    m_session.Done(downloadFailure);
}

void Download::Deliver(_CSession* session, CData& data, bool hasValues) {
    Check(session->putref_Data(&data));
    m_verdict.hasValues = hasValues;
}

void Download::StoreResult(MethodFrame& frame, _CSession* session, std::wstring_view block,
                           _CDataFields* fields, bool hasValues) {
    frame.Step([&] {
        const auto data = Make<CData>();
        SetBlock(*data.get(), block, fields, false);
        Deliver(session, *data.get(), hasValues);
    });
}

void Download::HandOver(MethodFrame& frame, _CSession* session, std::wstring_view block,
                        replies::Columns columns, RowOrder order) {
    CheckIntegers(frame, session, columns);
    const bool hasRows = HasRows(columns);
    HandOver(frame, session, block, FieldsOf(std::move(columns), order).get(), hasRows);
}

void Download::HandOver(MethodFrame& frame, _CSession* session, std::wstring_view block,
                        _CDataFields* fields, bool hasValues) {
    StoreResult(frame, session, block, fields, hasValues);
    frame.Step([&] { m_session.DataReady(); });
}

void Download::OnStateChanged(long state) noexcept {
    Framed(m_routines.stateChanged, [&] {
        if (state == WinInet::connected) m_session.Start();
    });
}

void Download::OnProgress(long bytesReceived, long contentLength, float) noexcept {
    Framed(m_routines.progress, [&] { ReportProgress(PercentOf(bytesReceived, contentLength)); });
}

void Download::ReportProgress(long percent) const {
    static const std::wstring none;
    m_session.Progress(percent, m_trial ? *m_trial : none);
}

bool Download::IsStrict() const noexcept {
    try {
        return AreRepliesStrict(m_settings);
    } catch (...) {
        return false;  // as without settings
    }
}

// The end of a strict download.
void Download::Conclude(_CSession* session) noexcept {
    if (!IsStrict()) return;
    Framed(m_routines.download, [&](MethodFrame& frame) {
        frame.Step([&] {
            if (m_session.Error() == 0 && !m_verdict.hasValues) m_session.Done(dataNotAvailable);
        });
        if (m_session.Error() == 0) return;
        frame.Step([&] { Check(session->putref_Data(nullptr)); });
        LogFailure(session);
    });
}

// One line, if the error log can be written: when, which process, what, why.
void Download::LogFailure(_CSession* session) const noexcept {
    try {
        const long error = m_session.Error();
        std::wstring reason = ToWide(m_verdict.fault);
        if (reason.empty() && error == dataNotAvailable)
            reason = m_verdict.isUnread
                         ? L"a value cannot be read: " + gErrorHandler().ErrorDescription()
                         : L"no rows handed over";
        std::wstring text = std::wstring(m_name) + L" " + TickerOf(session);
        text += L", " + ToWide(m_verdict.place) + L": ";
        text.append(SessionErrorText(error)) += ToWide(text::InParentheses(error));
        if (!reason.empty()) text += L": " + reason;
        gErrorHandler().LogLine(text);
    } catch (...) {
        return;  // the session has the error all the same
    }
}

}  // namespace vtdl
