#pragma once
// The way from the system's timer procedure to the timer objects.

#include <windows.h>

namespace vtdl {

class cTimer;

namespace mTimer {

/// Enters a timer under its identifier; one look-up a tick leads back to it.
void SetTimerSession(UINT_PTR identifier, cTimer* timer);

/// Forgets a timer; a tick that still arrives stops the system's timer.
void DeleteTimerSession(UINT_PTR identifier) noexcept;

/// The procedure of every timer of the library.
void CALLBACK TimerProc(HWND window, UINT message, UINT_PTR identifier, DWORD ticks) noexcept;

}  // namespace mTimer
}  // namespace vtdl
