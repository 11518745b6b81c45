#pragma once
// Letting the host's window messages run while the library waits.

#include <windows.h>

#include <functional>

namespace vtdl::automation {

/// Dispatches the messages that are waiting now. A WM_QUIT among them is posted again for the host.
void PumpMessages() noexcept;

/// Waits, dispatching messages meanwhile.
void PumpFor(DWORD milliseconds) noexcept;

/// Waits until the condition holds, dispatching messages meanwhile; it is asked after each of them.
/// Timers get their turn also while other messages never cease. A WM_QUIT ends nothing: it is
/// posted again for the host afterwards.
void PumpUntil(const std::function<bool()>& condition);

}  // namespace vtdl::automation
