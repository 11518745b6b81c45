#pragma once
// What the two adapters of the chart service share: requests, dates, and the choice of its server.

#include <string>
#include <vector>

#include "replies/YahooProbe.h"
#include "settings/CXMLSettings.h"
#include "settings/SharedSettings.h"

namespace vtdl::yahoo {

/// The path and query of a table: a ticker's rows between two automation dates. The ticker is
/// inserted as it stands.
std::string TablePath(std::string_view ticker, double start, double end, std::string_view tail);

/// The host text of a numbered server of the family.
std::wstring ServerOf(const replies::ServerFamily& family, std::size_t number);

/// The best of the scored servers 3 to 13, ties broken uniformly at random.
std::size_t BestServer(const std::vector<long>& scores);

/// The address of a host text. A numbered server is looked up under its full name among the
/// configured hosts; without an entry it has the chart host's port.
HostAddress AddressOf(CXMLSettings& settings, const std::wstring& host);

}  // namespace vtdl::yahoo
