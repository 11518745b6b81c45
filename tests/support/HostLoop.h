#pragma once
// A host's message loop.

#include <windows.h>

namespace vtdl::tests {

inline constexpr DWORD enough = 10'000;

/// Runs until the condition holds. False when the time is over.
template <class Condition>
bool RunLoop(DWORD milliseconds, Condition&& condition) {
    const DWORD start = GetTickCount();
    for (DWORD passed = 0; passed < milliseconds; passed = GetTickCount() - start) {
        MSG message;
        if (condition()) return true;
        MsgWaitForMultipleObjectsEx(0, nullptr, milliseconds - passed, QS_ALLINPUT,
                                    MWMO_INPUTAVAILABLE);
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    }
    return condition();
}

inline void RunLoop(DWORD milliseconds) {
    RunLoop(milliseconds, [] { return false; });
}

}  // namespace vtdl::tests
