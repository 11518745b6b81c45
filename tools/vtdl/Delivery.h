// A session's parameters as the command line sets them, and what the session delivered.
#pragma once

#include <string>
#include <vector>

#include "Library.h"
#include "Result.h"

namespace vtdl::host {

/// Sets parameters from texts of the form NAME=VALUE; throws UsageError.
void Assign(const Session& session, const std::vector<std::string>& texts);

/// Without blocks when nothing was delivered.
Result ResultOf(const Session& session);

/// What the session has recorded, as "Download failure (0x800C0008)"; empty without an error.
std::string SessionError(const Session& session);

}  // namespace vtdl::host
