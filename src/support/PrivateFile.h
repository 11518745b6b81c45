#pragma once
// Files that only their user may read.

#include <string>

namespace vtdl {

/// Leaves a file's rights to its user, the system and the administrators, whatever the folder
/// grants. A file system without rights has none to set.
void MakePrivate(const std::wstring& file) noexcept;

}  // namespace vtdl
