#pragma once
// The repeating timer behind periodic sessions, the way from the system's timer procedure to it,
// and the window that timers are attached to.

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

    /// For an owner whose work must not nest in that of others on its thread: whether it may work
    /// now. If not, because somebody works (not isFree) or has waited longer, its tick is repeated
    /// until its turn has come; then a whole interval passes before the next.
    bool TakeTurn(bool isFree);

private:
    void SetInterval(UINT interval) noexcept;

    iTimer* m_owner = nullptr;
    // Cleared with the timer, which may be destroyed by what its owner does in Fire.
    std::shared_ptr<bool> m_isBusy = std::make_shared<bool>(false);
    DWORD m_startTicks = 0;
    UINT m_interval = 0;
    HWND m_window = nullptr;
    UINT_PTR m_timerId = 0;
    UINT_PTR m_systemTimerId = 0;
    UINT_PTR m_killId = 0;
};

namespace mTimer {

/// Enters a timer under its identifier; one look-up a tick leads back to it.
void SetTimerSession(UINT_PTR identifier, cTimer* timer);

/// Forgets a timer; a tick that still arrives stops the system's timer.
void DeleteTimerSession(UINT_PTR identifier) noexcept;

/// The procedure of every timer of the library.
void CALLBACK TimerProc(HWND window, UINT message, UINT_PTR identifier, DWORD ticks) noexcept;

}  // namespace mTimer

/// The library's own message-only window. Exists while somebody of its thread holds it; that
/// thread's message loop serves it.
class HiddenWindow {
public:
    static std::shared_ptr<HiddenWindow> get();

    HiddenWindow();
    HiddenWindow(const HiddenWindow&) = delete;
    HiddenWindow& operator=(const HiddenWindow&) = delete;
    ~HiddenWindow();

    HWND Handle() const noexcept { return m_handle; }

private:
    HWND m_handle;
};

}  // namespace vtdl
