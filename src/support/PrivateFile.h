#pragma once
// Files that only their user may read.

#include <string>

#include "automation/UniqueHandle.h"

namespace vtdl {

/// Opens a file for writing. One that this makes has rights of its user, the system and the
/// administrators only, from its first byte and whatever the folder grants; one that is there keeps
/// its own. Empty, with the last error set, when it cannot be opened.
automation::FileHandle OpenPrivateFile(const std::wstring& name, DWORD disposition);

/// Grants on a file what is granted on another one. A file system without rights has none to give.
void CopyRights(const std::wstring& from, const std::wstring& to);

}  // namespace vtdl
