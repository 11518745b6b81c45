#pragma once
// Asking for a newer version of the library.

#include <array>
#include <string>

#include "support/CXMLSettings.h"

namespace vtdl::mGlobals {

/// Fetches the version file from the vendor's host. False without a reply of three parts; throws
/// for a part that is no number. Each part is compared on its own, on purpose: 1.0.9 is newer
/// than 2.0.3.
bool IsNewVersionAvailable(CXMLSettings& settings);

/// True once a check has found a newer version in this process; sessions say so in their error
/// record.
bool IsNewVersionKnown() noexcept;

/// The comparison: true when any part of the text is greater than its counterpart.
bool IsNewerVersion(const std::string& reply, const std::array<int, 3>& own);

}  // namespace vtdl::mGlobals
