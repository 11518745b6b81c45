#pragma once
// Whether the services' hosts are there, and who they are.

#include <string>
#include <vector>

namespace vtdl::host {

struct HostAnswer {
    std::string fault;  // why it takes no connection; empty for one that does
    std::string head;   // of its reply to a question that no source is asked for; empty for none
};

/// Asks all of them at once, as the settings name them, and waits three seconds at most. Where a
/// body is wanted, it stands behind the head.
std::vector<HostAnswer> AskHosts(const std::vector<std::wstring>& hosts, bool isBodyWanted = false);

}  // namespace vtdl::host
