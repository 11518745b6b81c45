#pragma once
// The repeating timer behind periodic sessions.

#include <itimer.h>

#include <memory>

namespace vtdl {

/// Fires every interval from the host's message loop until it is destroyed. A tick that arrives
/// while Fire runs is dropped.
class cTimer {
public:
    cTimer() = default;
    cTimer(const cTimer&) = delete;
    cTimer& operator=(const cTimer&) = delete;
    ~cTimer();

    /// Starts a system timer on the window. The owner is not kept alive. When the system has no
    /// timer left, nothing ever fires; that is no error.
    void StartTimer(long interval, iTimer* owner, HWND window, long timerId);

    /// Calls the owner with the milliseconds since the start, modulo 2^32.
    void Tick(DWORD ticks) noexcept;

private:
    iTimer* m_owner = nullptr;
    // Cleared with the timer, which may be destroyed by what its owner does in Fire.
    std::shared_ptr<bool> m_isBusy = std::make_shared<bool>(false);
    DWORD m_startTicks = 0;
    HWND m_window = nullptr;
    UINT_PTR m_timerId = 0;
    UINT_PTR m_systemTimerId = 0;
    UINT_PTR m_killId = 0;
};

}  // namespace vtdl
