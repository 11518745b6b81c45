// The quotes of a data folder: those of quotes.csv (a line a ticker, a column a request letter;
// "l1" is the last trade), and for tickers that it lacks those made of their daily prices.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "DataFolder.h"
#include "Rows.h"

namespace quoteserver {

// The values of a line, those in quotes without them.
std::vector<std::string> SplitCells(std::string_view line);

// "16:05:00" for "4:05pm", "4:05 PM" and "16:05"; nothing unless the text begins with a time.
std::string ClockOf(std::string_view text);

class Quote {
public:
    // Of an unknown ticker, without values.
    Quote() = default;
    // Values by their letters.
    explicit Quote(std::vector<std::pair<std::string, std::string>> values)
        : m_values(std::move(values)) {}

    bool IsKnown() const { return !m_values.empty(); }

    // "N/A" for what is not known.
    std::string_view value(std::string_view letters) const;

    const std::vector<std::pair<std::string, std::string>>& Values() const { return m_values; }

private:
    std::vector<std::pair<std::string, std::string>> m_values;
};

// "+0.0022" for 1.1034 after 1.1012: with the decimals of the two, two at least and ten at most.
std::string ChangeText(const std::string& price, const std::string& before);

class QuoteTable {
public:
    // Reads quotes.csv, if the folder has it. Complains about a header without "s" and about rows
    // that have another number of values than the header; the error thrown then names file and
    // line.
    explicit QuoteTable(DataFolder folder, const Complaints& complain = Throw);

    // A quote of daily prices, unless those are not to stand for one, has those of the last day,
    // the change to the day before, and a name that says so, with the date. Throws
    // std::runtime_error when their file is damaged.
    Quote Of(std::string_view ticker, bool fromPrices = true) const;

private:
    using Cells = std::vector<std::string>;

    void Parse(std::string_view text, const Complaints& complain);
    Quote OfLivingSource(std::string_view ticker) const;
    Quote OfDailyPrices(std::string_view ticker) const;

    DataFolder m_folder;
    Cells m_header;
    std::size_t m_tickerColumn = 0;
    std::vector<Cells> m_rows;
};

}  // namespace quoteserver
