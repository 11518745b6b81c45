// What to say about a download that brought nothing, and where to look next.
#pragma once

#include <string>
#include <vector>

#include "Delivery.h"
#include "Library.h"

namespace vtdl::host {

/// Nothing went wrong, but nothing came either.
bool IsNothing(const Session& session, const Fault& fault);

/// The session's error with what it means here: whose host cannot be reached, what a DDE error's
/// name says, that a source has no format. Asks the host whether it is there.
std::string Explained(const Session& session, const Fault& fault);

/// The range that was asked, whether it was chosen, and the log if something is in it.
std::string NoRows(const Session& session, const std::vector<std::string>& assignments);

}  // namespace vtdl::host
