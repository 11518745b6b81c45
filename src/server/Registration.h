#pragma once
// The library's registry entries.

#include <windows.h>

namespace vtdl::server {

/// Where COM looks for classes: HKEY_LOCAL_MACHINE for all users, HKEY_CURRENT_USER for one.
enum class Scope { machine, user };

/// Writes the entries of all classes and of both type libraries; takes them back when one cannot be
/// written, and throws.
void RegisterLibrary(Scope scope);

/// Removes exactly what RegisterLibrary writes; keys that hold anything else stay, and so does what
/// the registered library of the other bitness shares with this one.
void UnregisterLibrary(Scope scope);

}  // namespace vtdl::server
