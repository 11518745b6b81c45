#include "errors/CErrorHandler.h"

#include <windows.h>

#include <algorithm>

#include "automation/PerApartment.h"
#include "errors/MethodFrame.h"
#include "errors/Notices.h"

namespace vtdl {
namespace {

using automation::Error;

// A session can be its own progressor, or two be each other's: without an end to that, the host's
// stack would overflow. What is left of it is looked at now and then on a deep call stack.
bool IsStackSpent(std::size_t depth) {
    constexpr std::size_t interval = 32;
    constexpr std::ptrdiff_t reserve = 128 * 1024;
    if (depth % interval != 0) return false;
    MEMORY_BASIC_INFORMATION stack{};
    return VirtualQuery(&stack, &stack, sizeof stack) &&
           reinterpret_cast<char*>(&stack) - static_cast<char*>(stack.AllocationBase) < reserve;
}

Error HandlerError(HRESULT code, const wchar_t* description) {
    return Error(code, L"Vestora Download Library.CErrorHandler", description);
}

void CheckFileName(const std::wstring& name) {
    if (name.empty()) throw HandlerError(CErrorHandler::invalidFileName, L"Invalid file name");
}

// True on the NT platform. The longer version record exists since its service packs do; what does
// not know it is asked with the basic one.
bool RunsOnWindowsNT() {
    OSVERSIONINFOEXA version{};
    version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOEXA);
    auto* record = reinterpret_cast<OSVERSIONINFOA*>(&version);
    if (!GetVersionExA(record)) {
        version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
        if (!GetVersionExA(record)) return false;
    }
    return version.dwPlatformId == VER_PLATFORM_WIN32_NT;
}

std::wstring DateAndTime() {
    wchar_t date[80] = L"", time[80] = L"";
    GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, nullptr, nullptr, date, ARRAYSIZE(date));
    GetTimeFormatW(LOCALE_USER_DEFAULT, 0, nullptr, nullptr, time, ARRAYSIZE(time));
    return std::wstring(date) + L" - " + time;
}

std::wstring ProcessName() {
    wchar_t program[MAX_PATH];
    const std::wstring_view path(program, GetModuleFileNameW(nullptr, program, MAX_PATH));
    return std::wstring(path.substr(path.rfind(L'\\') + 1));
}

// False for the trace log that was told last.
bool IsNewTrouble(std::wstring traceLog) {
    static SRWLOCK lock = SRWLOCK_INIT;
    static std::wstring told;
    AcquireSRWLockExclusive(&lock);
    told.swap(traceLog);
    const bool isNew = told != traceLog;
    ReleaseSRWLockExclusive(&lock);
    return isNew;
}

struct Configured : CErrorHandler {
    Configured() { Init(dialog, L"Error Log.txt", true, false, traceFile, L"Tracing Log.txt"); }
};

automation::PerApartment<Configured> handlers;

}  // namespace

CErrorHandler& gErrorHandler() { return *handlers; }

CErrorHandler::CErrorHandler() : m_isWindowsNT(RunsOnWindowsNT()) {}

// Whatever fails inside the handler reaches its caller under the handler's own number.
template <class Body>
auto CErrorHandler::Guarded(Body&& body) -> decltype(body()) {
    try {
        return body();
    } catch (...) {
        throw HandlerError(componentFailure, L"CErrorHandler component failure");
    }
}

void CErrorHandler::Init(int actions, std::wstring errorLogFile, bool callStackEnabled,
                         bool tracingEnabled, int tracingFlags, std::wstring tracingLogFile) {
    ErrorHandlerActions(actions);
    ErrorLogFile(std::move(errorLogFile));
    TracingFlags(tracingFlags);
    TracingLogFile(std::move(tracingLogFile));
    m_callStackEnabled = callStackEnabled;
    m_tracingEnabled = tracingEnabled;
}

void CErrorHandler::ErrorHandlerActions(int actions) {
    if (actions < 1 || actions > 15)
        throw HandlerError(invalidActions, L"Invalid error handler actions");
    m_actions = actions;
}

void CErrorHandler::ErrorLogFile(std::wstring name) {
    CheckFileName(name);
    m_errorLogFile = std::move(name);
}

void CErrorHandler::TracingFlags(int flags) {
    if (flags < 1 || flags > 3) throw HandlerError(invalidTracingFlags, L"Invalid tracing flags");
    m_tracingFlags = flags;
}

void CErrorHandler::TracingLogFile(std::wstring name) {
    CheckFileName(name);
    m_tracingLogFile = std::move(name);
}

void CErrorHandler::CallStackClear() noexcept {
    if (m_callStackEnabled) m_depth = 0;
}

void CErrorHandler::TracePop() {
    Guarded([&] { Trace(L" --- Exited routine: ", m_routines[m_depth].name); });
}

void CErrorHandler::PreparePush(std::wstring_view routineName) {
    if (m_depth >= shallow && IsStackSpent(m_depth))
        throw automation::MakeRuntimeError(automation::RuntimeError::outOfStack);
    if (m_tracingEnabled) Guarded([&] { Trace(L" --- Entered routine: ", routineName); });
    // Only now: a push that failed is not on the stack, and a report of the trace may have let
    // other routines come and go.
    if (m_depth == m_routines.size()) Guarded([&] { m_routines.emplace_back(); });
}

void CErrorHandler::TraceLine(std::wstring_view text) {
    if (m_tracingEnabled) Guarded([&] { Trace(L" --- ", text); });
}

void CErrorHandler::LogLine(std::wstring text) const {
    const auto isControl = [](wchar_t c) {
        return c < L' ' || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
    };
    std::replace_if(text.begin(), text.end(), isControl, L' ');
    AppendToLog(m_errorLogFile, DateAndTime() + L" --- " + ProcessName() + L" " +
                                    std::to_wstring(GetCurrentProcessId()) + L": " + text);
}

void CErrorHandler::Clear(bool deleteErrorLog, bool deleteTracingLog) noexcept {
    if (deleteErrorLog) DeleteLog(m_errorLogFile);
    if (deleteTracingLog) DeleteLog(m_tracingLogFile);
}

void CErrorHandler::SetPendingError(const Error& error, long line) {
    m_pendingNumber = error.Number();
    m_pendingLine = line;
    m_pendingDescription = error.Description();
}

CErrorHandler::Answer CErrorHandler::HandleError(std::wstring_view routineName) {
    return Guarded([&] {
        m_errorDescription = m_pendingDescription;
        m_errorNumber = m_pendingNumber;
        m_errorLine = m_pendingLine;
        std::wstring_view routine = routineName;
        if (routine.empty() && m_callStackEnabled && m_depth > 0)
            routine = m_routines[m_depth - 1].name;
        return Act(Report(routine.empty() ? L"Unknown" : routine));
    });
}

std::wstring CErrorHandler::Report(std::wstring_view routine) const {
    std::wstring text = DateAndTime();
    text += L"\r\n\tError: " + std::to_wstring(m_errorNumber) + L", (" + m_errorDescription + L")";
    text.append(L"\r\n\tin ").append(routine);
    text += L" at line " + std::to_wstring(m_errorLine);
    text += L"\r\n\r\nThe call stack is:\r\n";
    return text += CallStackText(20, true);
}

std::wstring CErrorHandler::CallStackText(int indent, bool withArguments) const {
    std::wstring text;
    for (std::size_t i = m_depth; i-- > 0;) {
        if (!text.empty()) text += L"\r\n";
        text.append(static_cast<std::size_t>(indent), L' ') += m_routines[i].name;
        if (withArguments) text += L"(" + std::wstring(m_routines[i].arguments) + L")";
    }
    return text;
}

// The dialog comes last and its answer overrides the message box's. When nobody can be asked, the
// report goes to the log, and the method is left.
CErrorHandler::Answer CErrorHandler::Act(const std::wstring& text) {
    const int actions = m_actions;
    if (actions & errorLog) AppendToLog(m_errorLogFile, text);
    if (actions & eventLog && m_isWindowsNT) WriteEventLog(text);
    std::optional<Answer> answer;
    if (actions & messageBox) answer = ShowMessageBox(text);
    if (actions & dialog)
        if (const auto chosen = ShowErrorDialog(text, m_supportMail)) answer = chosen;
    if (!answer && (actions & (messageBox | dialog)) && !(actions & errorLog))
        AppendToLog(m_errorLogFile, text);
    return answer.value_or(abort);
}

// A log that cannot be written would fail every routine: tracing ends, and the process reports it
// once, however many managers turn it on again.
void CErrorHandler::Trace(std::wstring_view what, std::wstring_view routineName) {
    try {
        const std::wstring line = DateAndTime().append(what).append(routineName);
        if (m_tracingFlags & debugOutput) OutputDebugStringW(line.c_str());
        if (m_tracingFlags & traceFile) AppendToLog(m_tracingLogFile, line);
    } catch (const Error& error) {
        m_tracingEnabled = false;
        if (!IsNewTrouble(m_tracingLogFile)) return;
        // The properties stay those of the last error that a method had.
        CErrorHandler report = *this;
        report.SetPendingError(
            Error(error.Code(), error.Source(), L"The trace is off: " + error.Description()), 0);
        report.HandleError(routineName);
    }
}

}  // namespace vtdl
