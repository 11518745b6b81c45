#pragma once
// One download of an adapter: its reports to the session, its requests, and the hand-over of its
// result.

#include <functional>
#include <memory>
#include <optional>
#include <source_location>
#include <span>
#include <string>
#include <string_view>

#include "automation/ComPtr.h"
#include "errors/MethodFrame.h"
#include "objectmodel/CData.h"
#include "settings/SharedSettings.h"
#include "text/FixedString.h"
#include "transport/WinInet.h"

namespace vtdl {

/// The session that an adapter serves, seen through its progress face; without one, reports go
/// nowhere. The adapter is the caller of every report.
class CurrentSession {
public:
    CurrentSession() = default;
    CurrentSession(IUnknown* adapter, IUnknown* session)
        : m_adapter(adapter), m_callback(automation::Query<_IProgressCallBack>(session)) {}

    bool IsCurrent() const noexcept { return static_cast<bool>(m_callback); }

    void Start() const;
    void Progress(long percent, const std::wstring& statusText) const;
    void DataReady() const;
    void Done(long errorNumber);

    /// The first error of this download; 0 without one. Note() is for one that is reported another
    /// way than through Done.
    long Error() const noexcept { return m_error; }
    void Note(long errorNumber) noexcept {
        if (m_error == 0) m_error = errorNumber;
    }

private:
    IUnknown* m_adapter = nullptr;
    automation::ComPtr<_IProgressCallBack> m_callback;
    long m_error = 0;
};

/// A download's routines as the call stack names them: under the adapter's name.
struct DownloadRoutines {
    std::wstring_view download;
    std::wstring_view fetch;
    std::wstring_view stateChanged;
    std::wstring_view progress;
};

template <text::FixedString Class>
constexpr DownloadRoutines downloadRoutines{
    text::RoutineName<Class, "CDataSource_Download">::value,
    text::RoutineName<Class, "DownloadURL">::value,
    text::RoutineName<Class, "m_ADL_OnStateChanged">::value,
    text::RoutineName<Class, "m_ADL_OnProgress">::value,
};

/// Why a whole reply cannot be a table, in words; empty when it can.
std::string TableFault(const WinInet& client);

/// How a service's replies are judged; what an adapter brings in place of these.
struct ReplyRules {
    /// The number of the error that a reply is the page of; 0 for any other reply.
    long (*pageError)(const std::string& reply) = [](const std::string&) { return 0L; };
    /// Why a whole reply is not of the service's form, as TableFault. Only strict replies are
    /// asked.
    std::string (*formFault)(const WinInet& client) = TableFault;
};

/// True when a quote says more than which ticker it is of: a value other than zero.
bool HasValues(std::span<const std::string_view> values);

/// What all adapters of web services do alike. An adapter has one for its life; downloads of other
/// sessions nest in it. Strictly, by the settings, a reply has to be whole and of its service's
/// form, and a download that failed or brought nothing leaves no data, its error in the session,
/// and a line in the log.
class Download final : private WinInetEvents {
public:
    using Body = std::function<void(MethodFrame& frame, _CSession* session)>;

    /// The source holds the download; name, routines and settings live as long.
    Download(_CDataSource& source, CXMLSettings& settings, std::wstring_view name,
             const DownloadRoutines& routines, const ReplyRules& rules)
        : m_source(source),
          m_settings(settings),
          m_name(name),
          m_routines(routines),
          m_rules(rules) {}
    Download(const Download&) = delete;
    Download& operator=(const Download&) = delete;
    ~Download();

    /// Runs the body of a download inside its frame, with the session as the current one.
    HRESULT Run(_CSession** session, const Body& body,
                std::source_location at = std::source_location::current()) noexcept;

    /// Ends the request that runs, and lets no other one begin.
    void Abort() noexcept;

    CurrentSession& Session() noexcept { return m_session; }

    /// A client for one request to a service. One that is not told of reports nothing on its way.
    std::shared_ptr<WinInet> NewClient(const HostAddress& host, std::string resource,
                                       bool isTold = true);
    std::shared_ptr<WinInet> NewClient(const wchar_t* service, std::string resource);

    /// Runs a request; the body is then in the client. False when it failed or the download was
    /// aborted, and for a strict reply that does not count.
    bool Fetch(const std::shared_ptr<WinInet>& client);

    /// Fetches one reply and reports the outcome to the session. Empty when there is none, or one
    /// of the service's error pages.
    std::string DownloadURL(const std::shared_ptr<WinInet>& client);

    /// From here on, until null is set, replies are only tried: that a strict one fails is not the
    /// download's failure. The text goes along with progress reports.
    void SetTrial(const std::wstring* statusText) noexcept { m_trial = statusText; }

    /// What the log will say about this download, should it fail.
    void Blame(std::string_view fault) { m_verdict.fault = fault; }

    /// Fails a strict download; others do not mind.
    void Refuse(std::string_view fault);

    void ReportProgress(long percent) const;

    /// Gives the session its result, and notes whether it has any values.
    void Deliver(_CSession* session, CData& data, bool hasValues);

    /// The same for a single block, which the host cannot change.
    void StoreResult(MethodFrame& frame, _CSession* session, std::wstring_view block,
                     _CDataFields* fields, bool hasValues);

    /// The same for rows, or for the columns of a block, and tells the session.
    void HandOver(MethodFrame& frame, _CSession* session, std::wstring_view block,
                  replies::Columns columns, RowOrder order);
    void HandOver(MethodFrame& frame, _CSession* session, std::wstring_view block,
                  _CDataFields* fields, bool hasValues);

private:
    /// What is known of a download at its end.
    struct Verdict {
        std::string place;       ///< host, port and path of the last request
        std::string fault;       ///< in words
        bool hasValues = false;  ///< in the result that was handed over
        bool isUnread = false;   ///< a run-time error, which was reported, ended the download
    };
    class Nesting;

    void OnStateChanged(long state) noexcept override;
    void OnProgress(long bytesReceived, long contentLength, float) noexcept override;

    bool IsStrict() const noexcept;
    std::string ReplyFault(const WinInet& client) const;
    void Conclude(_CSession* session) noexcept;
    void LogFailure(_CSession* session) const noexcept;

    _CDataSource& m_source;
    CXMLSettings& m_settings;
    std::wstring_view m_name;
    const DownloadRoutines& m_routines;
    ReplyRules m_rules;
    std::shared_ptr<WinInet> m_ADL;  ///< the fetch in progress, if any
    const std::wstring* m_trial = nullptr;
    CurrentSession m_session;
    bool m_isAborted = false;
    Verdict m_verdict;
};

}  // namespace vtdl
