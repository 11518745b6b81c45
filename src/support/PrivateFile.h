#pragma once
// Files that only their user may read.

#include <string>

namespace vtdl {

/// Makes an empty file with the user's own rights, the system's and the administrators', and nobody
/// else's, whatever the folder grants. Writing over it later keeps them. False when it cannot be
/// made; a file system without rights has none to set, and the file is made all the same.
bool MakePrivateFile(const std::wstring& name) noexcept;

}  // namespace vtdl
