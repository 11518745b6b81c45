#pragma once
// A host's message loop.

#include <windows.h>

#include <functional>
#include <thread>
#include <utility>

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

/// Runs once, after some milliseconds, from wherever messages run then: it is a sent one, which
/// Wine lets through in its transactions too, unlike a timer.
class Later {
public:
    Later(DWORD milliseconds, std::function<void()> action)
        : m_window(CreateWindowW(L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                                 nullptr)) {
        s_action = std::move(action);
        SetWindowLongPtrW(m_window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(Run));
        m_sender = std::thread([milliseconds, window = m_window, client = GetCurrentThreadId()] {
            Sleep(milliseconds);
            SendNotifyMessageW(window, WM_APP, 0, 0);
            PostThreadMessageW(client, WM_NULL, 0, 0);  // wakes the transaction
        });
    }
    ~Later() {
        m_sender.join();
        DestroyWindow(m_window);
    }
    static bool HasRun() { return !s_action; }

private:
    static LRESULT CALLBACK Run(HWND window, UINT message, WPARAM wide, LPARAM parameter) noexcept {
        if (message != WM_APP) return DefWindowProcW(window, message, wide, parameter);
        if (const auto action = std::exchange(s_action, nullptr)) action();
        return 0;
    }

    static inline std::function<void()> s_action;
    HWND m_window;
    std::thread m_sender;
};

}  // namespace vtdl::tests
