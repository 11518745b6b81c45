// What a session delivered.
#pragma once

#include <string>

#include "Library.h"
#include "Result.h"

namespace vtdl::host {

/// Without blocks when nothing was delivered.
Result ResultOf(const Session& session);

/// What the session has recorded: 0 and no text without an error.
struct Fault {
    long number = 0;
    std::string text{};  ///< "Download failure (0x800C0008)"
};
Fault SessionFault(const Session& session);

}  // namespace vtdl::host
