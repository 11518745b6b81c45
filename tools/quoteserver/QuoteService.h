// /d/quotes.csv: the quotes of some tickers, a line each, with the values that f= asks for.
#pragma once

#include "DataFolder.h"
#include "Http.h"

namespace quoteserver {

class QuoteService {
public:
    explicit QuoteService(DataFolder folder);

    // f= is a row of letters, each with a digit or none; s= names tickers with blanks or commas in
    // between. Texts are quoted, numbers and N/A are not. An unknown ticker has a line too: itself
    // as it was asked for, and N/A. Throws BadQuery when either key is empty.
    Reply Answer(const Query& query) const;

private:
    DataFolder m_folder;
};

}  // namespace quoteserver
