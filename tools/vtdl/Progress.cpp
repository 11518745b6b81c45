#include "Progress.h"

#include <cstdio>

#include "Host.h"
#include "Output.h"

namespace vtdl::host {
namespace {

DWORD graceTime = 0;  // milliseconds
HANDLE finished = nullptr;

// Signalled by Ctrl-C.
HANDLE InterruptEvent() noexcept {
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

[[noreturn]] void EndNow() {
    std::fputs("\nvtdl: interrupted\n", stderr);
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 1);
    Sleep(INFINITE);
    __builtin_unreachable();
}

BOOL WINAPI OnControl(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    if (IsInterrupted()) EndNow();
    SetEvent(InterruptEvent());
    if (WaitForSingleObject(finished, graceTime) != WAIT_OBJECT_0) EndNow();
    return TRUE;
}

}  // namespace

InterruptGuard::InterruptGuard(DWORD extraPatience) {
    graceTime = 2000 + extraPatience;
    finished = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(OnControl, TRUE);
}

// The event stays open: the handler's thread may still look at it.
InterruptGuard::~InterruptGuard() {
    SetEvent(finished);  // first: taking the handler out waits for one that runs
    SetConsoleCtrlHandler(OnControl, FALSE);
}

bool IsInterrupted() noexcept { return WaitForSingleObject(InterruptEvent(), 0) == WAIT_OBJECT_0; }

void DispatchMessages(DWORD milliseconds) {
    const HANDLE interrupt = InterruptEvent();
    MsgWaitForMultipleObjectsEx(1, &interrupt, milliseconds, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

STDMETHODIMP ProgressSink::QueryInterface(REFIID identifier, void** object) noexcept {
    if (!object) return E_POINTER;
    const bool isKnown = identifier == IID_IUnknown || identifier == IID_IDispatch ||
                         identifier == __uuidof(_IProgressCallBack);
    *object = isKnown ? static_cast<_IProgressCallBack*>(this) : nullptr;
    if (!isKnown) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) ProgressSink::Release() noexcept {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
}

STDMETHODIMP ProgressSink::GetTypeInfoCount(UINT* count) noexcept {
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
}

STDMETHODIMP ProgressSink::Start(IUnknown**) noexcept {
    AbortIfInterrupted();
    return S_OK;
}

STDMETHODIMP ProgressSink::Progress(IUnknown**, long percent, BSTR* statusText) noexcept {
    try {
        const std::string text = ToUtf8(automation::ViewOf(statusText ? *statusText : nullptr));
        m_bar.Draw(ProgressLine(m_source, percent, text));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    AbortIfInterrupted();
    return S_OK;
}

STDMETHODIMP ProgressSink::DataReady(IUnknown**) noexcept {
    ++m_updates;
    m_hasEnded = true;
    return S_OK;
}

STDMETHODIMP ProgressSink::Done(IUnknown**, long) noexcept {
    m_hasEnded = true;
    return S_OK;
}

void ProgressSink::AbortIfInterrupted() noexcept {
    if (IsInterrupted()) m_session.Abort();
}

}  // namespace vtdl::host
