#include "automation/MessagePump.h"

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

}  // namespace vtdl::automation
