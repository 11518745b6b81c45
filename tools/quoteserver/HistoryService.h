// /finance/historical: price history without adjusted closes, newest first, in one piece.
#pragma once

#include "DataFolder.h"
#include "Http.h"

namespace quoteserver {

class HistoryService {
public:
    explicit HistoryService(DataFolder folder);

    // Keys: q = ticker, an exchange and a colon may stand before it; histperiod = DAILY or WEEKLY;
    // startdate and enddate as "Jan 9, 2004". A range without rows is a header alone, an unknown
    // ticker a 404 page. Throws BadQuery, and std::runtime_error for a damaged file.
    Reply Answer(const Query& query) const;

private:
    DataFolder m_folder;
};

}  // namespace quoteserver
