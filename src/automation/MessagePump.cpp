#include "automation/MessagePump.h"

#include <optional>

namespace vtdl::automation {
namespace {

// False when the host is asked to end: its own loop has to see that message.
bool PumpUntilQuit() noexcept {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(message.wParam));
            return false;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return true;
}

/// Dispatches one message of those asked for, or notes that the host is asked to end.
bool DispatchOne(UINT message, std::optional<WPARAM>& quit) noexcept {
    MSG next;
    if (!PeekMessageW(&next, nullptr, message, message, PM_REMOVE)) return false;
    if (next.message == WM_QUIT) {
        quit = next.wParam;
        return true;
    }
    TranslateMessage(&next);
    DispatchMessageW(&next);
    return true;
}

}  // namespace

void PumpMessages() noexcept { PumpUntilQuit(); }

void PumpFor(DWORD milliseconds) noexcept {
    const ULONGLONG deadline = GetTickCount64() + milliseconds;
    for (;;) {
        const ULONGLONG now = GetTickCount64();
        if (now >= deadline) return;
        const DWORD left = static_cast<DWORD>(deadline - now);
        if (!PumpUntilQuit()) {
            Sleep(left);  // a quit that waits in the queue would wake every further wait at once
            return;
        }
        MsgWaitForMultipleObjectsEx(0, nullptr, left, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
}

void PumpUntil(const std::function<bool()>& condition) {
    constexpr UINT any = 0;
    std::optional<WPARAM> quit;
    while (!condition()) {
        const bool isTimer = DispatchOne(WM_TIMER, quit);
        if (condition()) break;
        if (!DispatchOne(any, quit) && !isTimer)
            MsgWaitForMultipleObjectsEx(0, nullptr, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
    if (quit) PostQuitMessage(static_cast<int>(*quit));
}

}  // namespace vtdl::automation
