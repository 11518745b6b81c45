// The page for a person who looks after the server: no script, nothing from elsewhere.
#pragma once

#include <string>
#include <string_view>

#include "DataFolder.h"
#include "Http.h"

namespace quoteserver::living {

// Of the JSON that a keeper's Status gives, and with a ticker a chart of its closes.
Reply StatusPage(const std::string& status, const DataFolder& folder, std::string_view ticker);

}  // namespace quoteserver::living
