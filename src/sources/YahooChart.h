#pragma once
// What the two adapters of the chart service share: requests, dates, and the choice of its server.

#include <optional>
#include <string>
#include <vector>

#include "support/CXMLSettings.h"
#include "support/Hosts.h"

namespace vtdl::yahoo {

/// The path and query of a table: a ticker's rows between two automation dates. The ticker is
/// inserted as it stands.
std::string TablePath(std::string_view ticker, double start, double end, std::string_view tail);

/// Score of a reply to the probe of a server: -1 for no table, else the number of its lines that
/// are daily rows with a d-Mon-yy date. Faults while counting leave the score as it is.
long ReplyValidityIndex(const std::string& reply);

/// The numbered servers of the service, from the comment in which it names the one that answered.
struct ServerFamily {
    std::wstring letters;
    std::wstring domain;

    std::wstring Server(long number) const {
        return letters + std::to_wstring(number) + L"." + domain;
    }
};

/// Nothing when the reply names no server.
std::optional<ServerFamily> FindServerFamily(const std::string& reply);

/// The best of the scored servers 3 to 13, ties broken uniformly at random.
std::size_t BestServer(const std::vector<long>& scores);

/// The address of a host text. A numbered server is looked up under its full name among the
/// configured hosts; without an entry it has the chart host's port.
HostAddress AddressOf(CXMLSettings& settings, const std::wstring& host);

}  // namespace vtdl::yahoo
