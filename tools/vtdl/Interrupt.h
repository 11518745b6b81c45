// Ctrl-C, which arrives on a thread of its own, while the library may only be called on the main
// one.
#pragma once

#include <windows.h>

namespace vtdl::host {

/// While it exists, Ctrl-C asks for an end. A download that does not end in time, because a server
/// keeps silent, ends with the program; so does everything at the second Ctrl-C.
class InterruptGuard {
public:
    InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;
    ~InterruptGuard();
};

bool IsInterrupted() noexcept;

/// Signalled by Ctrl-C.
HANDLE InterruptEvent() noexcept;

}  // namespace vtdl::host
