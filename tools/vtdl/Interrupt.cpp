#include "Interrupt.h"

#include <cstdio>

namespace vtdl::host {
namespace {

DWORD patience = 0;  // milliseconds
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
    if (WaitForSingleObject(finished, patience) != WAIT_OBJECT_0) EndNow();
    return TRUE;
}

}  // namespace

InterruptGuard::InterruptGuard(DWORD extraPatience) {
    patience = 2000 + extraPatience;
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

}  // namespace vtdl::host
