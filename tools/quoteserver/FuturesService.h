// /cgi-bin/pifin/q.php: futures prices with open interest, tab separated, oldest first.
#pragma once

#include "DataFolder.h"
#include "Http.h"

namespace quoteserver {

class FuturesService {
public:
    explicit FuturesService(DataFolder folder);

    // Keys: tid = ticker; sd and ed = first and last day, yyyy-mm-dd, left out = no bound. Values
    // that the file leaves out at the end of a row are sent as 0. A range without rows is a header
    // alone, an unknown ticker a 404 page. Throws BadQuery, and std::runtime_error for a damaged
    // file.
    Reply Answer(const Query& query) const;

private:
    DataFolder m_folder;
};

}  // namespace quoteserver
