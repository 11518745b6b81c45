#pragma once
// Letting the host's window messages run while the library waits.

#include <windows.h>

namespace vtdl::automation {

/// Dispatches the messages that are waiting now. A WM_QUIT among them is posted again for the host.
void PumpMessages() noexcept;

/// Waits, dispatching messages meanwhile.
void PumpFor(DWORD milliseconds) noexcept;

}  // namespace vtdl::automation
