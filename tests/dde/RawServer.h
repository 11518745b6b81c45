#pragma once
// A server that speaks the window messages itself, to do what the system's server library does not.

#include <windows.h>

#include <string>

namespace vtdl::tests {

/// Makes the window that takes part; null when there is no display.
HWND StartRawServer(const std::string& service, const std::string& topic);

}  // namespace vtdl::tests
