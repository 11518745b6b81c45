// Whether hosts take connections.
#pragma once

#include <string>
#include <vector>

namespace vtdl::host {

/// Asks all of them at once, each "host" or "host:port", and waits three seconds at most; a host
/// that has not answered by then does not.
std::vector<bool> Answering(const std::vector<std::wstring>& hosts);

}  // namespace vtdl::host
