// /DelayedQuote/QuoteTableDownload.aspx: the option table of one ticker, as a form asks for it.
#pragma once

#include "DataFolder.h"
#include "Http.h"

namespace quoteserver {

class OptionService {
public:
    explicit OptionService(DataFolder folder);

    // The ticker is the form's field whose name ends in "txtTicker"; nothing else of the form is
    // looked at. The file is sent as it is. For an unknown ticker the service showed its form again
    // with an apology, as a page of status 200.
    Reply Answer(const Request& request) const;

private:
    DataFolder m_folder;
};

}  // namespace quoteserver
