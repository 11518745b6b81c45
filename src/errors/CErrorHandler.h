#pragma once
// The library's single place for run-time errors: call stack, trace, reports, and what to do next.

#include <string>
#include <string_view>
#include <vector>

#include "automation/Error.h"

namespace vtdl {

/// One instance for each apartment, used from its thread only. Its members raise their errors to
/// the caller and do not put themselves on the call stack.
class CErrorHandler {
public:
    /// What the failing method does next.
    enum Answer : int { abort = 0, retry = 1, ignore = 2 };

    /// Bits of ErrorHandlerActions.
    enum Action : int { messageBox = 1, errorLog = 2, eventLog = 4, dialog = 8 };

    /// Bits of TracingFlags.
    enum TraceDestination : int { debugOutput = 1, traceFile = 2 };

    static constexpr HRESULT invalidFileName = static_cast<HRESULT>(0x800443F9);
    static constexpr HRESULT invalidActions = static_cast<HRESULT>(0x800443FA);
    static constexpr HRESULT invalidTracingFlags = static_cast<HRESULT>(0x800443FB);
    static constexpr HRESULT componentFailure = static_cast<HRESULT>(0x800443FC);

    CErrorHandler();

    const std::wstring& SupportMail() const noexcept { return m_supportMail; }
    void SupportMail(std::wstring address) { m_supportMail = std::move(address); }

    /// Sets all of it; checked in the order actions, error log, tracing flags, trace log, and each
    /// value is stored after its own check.
    void Init(int actions, std::wstring errorLogFile, bool callStackEnabled, bool tracingEnabled,
              int tracingFlags, std::wstring tracingLogFile);

    bool CallStackEnabled() const noexcept { return m_callStackEnabled; }
    void CallStackEnabled(bool enabled) noexcept { m_callStackEnabled = enabled; }
    const std::wstring& ErrorDescription() const noexcept { return m_errorDescription; }
    void ErrorDescription(std::wstring text) { m_errorDescription = std::move(text); }
    int ErrorHandlerActions() const noexcept { return m_actions; }
    void ErrorHandlerActions(int actions);  ///< 1 to 15
    long ErrorLine() const noexcept { return m_errorLine; }
    void ErrorLine(long line) noexcept { m_errorLine = line; }
    const std::wstring& ErrorLogFile() const noexcept { return m_errorLogFile; }
    void ErrorLogFile(std::wstring name);  ///< not empty
    long ErrorNumber() const noexcept { return m_errorNumber; }
    void ErrorNumber(long number) noexcept { m_errorNumber = number; }
    const std::wstring& Tag() const noexcept { return m_tag; }
    void Tag(std::wstring text) { m_tag = std::move(text); }
    bool TracingEnabled() const noexcept { return m_tracingEnabled; }
    void TracingEnabled(bool enabled) noexcept { m_tracingEnabled = enabled; }
    int TracingFlags() const noexcept { return m_tracingFlags; }
    void TracingFlags(int flags);  ///< 1 to 3
    const std::wstring& TracingLogFile() const noexcept { return m_tracingLogFile; }
    void TracingLogFile(std::wstring name);  ///< not empty

    /// Empties the call stack, when it is enabled.
    void CallStackClear() noexcept;
    /// Removes the newest entry; does nothing on an empty stack.
    void CallStackPop() {
        if (m_depth == 0) return;
        --m_depth;
        if (m_tracingEnabled) TracePop();
    }
    /// The texts live as long as the entry; those of the frame are constants. Throws the run-time
    /// error 28 on a stack that is too deep.
    void CallStackPush(std::wstring_view routineName, std::wstring_view arguments) {
        if (m_tracingEnabled || m_depth == m_routines.size() || m_depth >= shallow)
            PreparePush(routineName);
        m_routines[m_depth++] = {routineName, arguments};
    }

    /// Writes a line of the caller's to the trace, when tracing is on.
    void TraceLine(std::wstring_view text);

    /// Writes a line of the caller's to the error log, whatever the actions, behind the time and
    /// the process. Control characters in it become blanks.
    void LogLine(std::wstring text) const;

    /// Deletes the logs; a log that is missing or locked is left.
    void Clear(bool deleteErrorLog, bool deleteTracingLog) noexcept;

    /// The error that the next HandleError reports, and the source line of its statement.
    void SetPendingError(const automation::Error& error, long line);

    /// Reports the pending error by the actions chosen, and answers what to do next. An empty name
    /// stands for the routine on top of the call stack.
    Answer HandleError(std::wstring_view routineName);

private:
    struct Routine {
        std::wstring_view name;
        std::wstring_view arguments;
    };

    static constexpr std::size_t shallow = 128;  // less needs no look at the thread's stack

    void PreparePush(std::wstring_view routineName);
    void TracePop();
    template <class Body>
    auto Guarded(Body&& body) -> decltype(body());
    std::wstring Report(std::wstring_view routine) const;
    std::wstring CallStackText(int indent, bool withArguments) const;
    void Trace(std::wstring_view what, std::wstring_view routineName);
    Answer Act(const std::wstring& text);

    bool m_callStackEnabled = false;
    bool m_tracingEnabled = false;
    int m_actions = messageBox;
    int m_tracingFlags = 0;
    long m_errorNumber = 0;
    long m_errorLine = 0;
    std::wstring m_errorLogFile = L"Error Log.txt";
    std::wstring m_tracingLogFile = L"Tracing Log.txt";
    std::wstring m_tag;
    std::wstring m_errorDescription;
    std::wstring m_supportMail;
    bool m_isWindowsNT = false;
    // Entries above the depth are spent.
    std::vector<Routine> m_routines;
    std::size_t m_depth = 0;
    long m_pendingNumber = 0;
    long m_pendingLine = 0;
    std::wstring m_pendingDescription;
};

/// The apartment's own; created and configured on first use.
CErrorHandler& gErrorHandler();

}  // namespace vtdl
