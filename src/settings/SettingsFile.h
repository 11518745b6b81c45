#pragma once
// The file of a settings store: only its user may read it, and a save leaves the old one or the
// new.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vtdl::settings {

/// The size of a file; nothing when there is none. Throws when the system fails.
std::optional<std::uint64_t> SizeOfFile(const std::wstring& name);

/// All of a file, which is small; nothing when it cannot be read, even after a moment.
std::optional<std::string> ReadWholeFile(const std::wstring& name);

/// Writes a file that is empty or not there, whole, unless another process comes first. One that
/// this makes has rights of its user, the system and the administrators only, from its first byte
/// and whatever the folder grants; one that is there keeps its own. False when there is none
/// afterwards.
bool WriteNewFile(const std::wstring& name, std::string_view bytes);

/// Writes beside the file and then replaces it in one step: whoever ends the process meanwhile, or
/// saves another store to it, leaves the old file or a new one, never half. What users may do with
/// the file stays as it was, unless it is to be private. False, with the old file as it was, when
/// that cannot be done.
bool ReplaceWholeFile(const std::wstring& name, std::string_view bytes, bool isPrivate);

}  // namespace vtdl::settings
