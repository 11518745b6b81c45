// Ctrl-C, which arrives on a thread of its own, while the library may only be called on the main
// one.
#pragma once

#include <windows.h>

namespace vtdl::host {

/// While it exists, Ctrl-C asks for an end. A download that does not end in time, because a server
/// keeps silent, ends with the program; so does everything at the second Ctrl-C.
class InterruptGuard {
public:
    /// The end may take so many milliseconds more than a download is given.
    explicit InterruptGuard(DWORD extraPatience = 0);
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;
    ~InterruptGuard();
};

bool IsInterrupted() noexcept;

/// Dispatches the messages of this thread, in whose course the library works. Waits for the first
/// of them, but not longer than that, and not after Ctrl-C.
void DispatchMessages(DWORD milliseconds);

}  // namespace vtdl::host
