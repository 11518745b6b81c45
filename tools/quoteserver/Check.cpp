#include <algorithm>
#include <array>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "QuoteTable.h"
#include "Services.h"
#include "replies/CboeTable.h"

namespace quoteserver {
namespace {

constexpr std::size_t mostTold = 20;  // of a file

std::string_view EndOf(std::string_view name, std::size_t length) {
    return name.substr(name.size() - std::min(length, name.size()));
}

std::string Quoted(std::string_view text) { return std::string("\"").append(text) + '"'; }

class OddOptions final : public vtdl::replies::OddFieldReader {
public:
    explicit OddOptions(const Complaints& complain) : m_complain(complain) {}

    double Read(const vtdl::replies::OddField& field) override {
        const bool isExpiry =
            vtdl::replies::cboeOptionColumns[field.column].type == vtdl::replies::ColumnType::date;
        m_complain(DataError(
            field.row,
            Quoted(field.text) + (isExpiry ? " is not a month like 16 Nov" : " is not a number")));
        return 0;
    }

private:
    const Complaints& m_complain;
};

// As the library takes the table apart. It leaves out the last line when that does not end, and
// what stands from a short line on.
void CheckOptions(std::string_view text, const Complaints& complain) {
    constexpr std::size_t firstLine = 4;  // of the options
    OddOptions oddOptions(complain);
    const vtdl::replies::CboeTable table = vtdl::replies::ParseCboeTable(text, oddOptions);
    if (table.quote.first.size() < 3) {
        complain(DataError(1, "ticker, price and change are not all there"));
    }
    if (const std::string_view date = table.quote.second[0]; !vtdl::replies::ParseCboeDate(date)) {
        complain(DataError(2, Quoted(date) + " is not a date like Nov 04 2016"));
    }
    const auto &calls = table.calls.Texts(0), &puts = table.puts.Texts(0);
    std::size_t rows = table.calls.Rows();
    while (rows > 0 && calls[rows - 1].empty() && puts[rows - 1].empty()) {
        --rows;
    }
    if (rows == 0 || rows < table.calls.Rows()) {
        complain(DataError(rows + firstLine, "no options from here on, of 14 values a line"));
    }
    if (!text.ends_with("\r\n")) {
        const auto line = static_cast<std::size_t>(std::ranges::count(text, '\n')) + 1;
        complain(DataError(line, "the last line does not end with CR LF"));
    }
}

// One quote of its own; all others stand in quotes.csv.
void CheckQuote(std::string_view text, const Complaints& complain) {
    const std::vector<std::string> header = SplitCells(TakeLine(text)),
                                   cells = SplitCells(TakeLine(text));
    if (header.size() != cells.size()) {
        complain(DataError(2, std::to_string(cells.size()) + " values instead of " +
                                  std::to_string(header.size())));
    }
}

struct Kind {
    std::string_view suffix;
    const Layout* layout;  // of a file of rows
    void (*check)(std::string_view text, const Complaints& complain) = nullptr;  // of another
    bool isOwn = false;  // in a form of our own
};

// The last fits the names that the others leave.
constexpr std::array kinds = {Kind{".options.csv", nullptr, CheckOptions},
                              Kind{".quote.csv", nullptr, CheckQuote},
                              Kind{futuresChainSuffix, nullptr, nullptr, true},
                              Kind{chainSuffix, nullptr, nullptr, true},
                              Kind{listSuffix, nullptr, nullptr, true},
                              Kind{".dividends.csv", &dividendLayout},
                              Kind{".futures.csv", &futuresLayout},
                              Kind{".splits.csv", &splitLayout},
                              Kind{".csv", &priceLayout}};

// What no market has; replies hand it on all the same.
void CheckValues(const Row& row, const Complaints& complain) {
    constexpr std::size_t high = 1;
    constexpr std::size_t low = 2;
    constexpr std::size_t volume = 4;
    std::vector<double> values;
    for (std::string_view rest = row.values; !rest.empty();) {
        values.push_back(std::stod(std::string(TakeField(rest, ','))));
    }
    if (values.size() > low && values[high] < values[low]) {
        complain(DataError(row.line, "the high is below the low"));
    }
    if (values.size() > volume && values[volume] < 0) {
        complain(DataError(row.line, "the volume is below zero"));
    }
}

std::vector<std::string> InOrder(std::vector<DataError> faults) {
    std::ranges::stable_sort(faults, {}, &DataError::Line);
    std::vector<std::string> texts;
    std::ranges::transform(faults, std::back_inserter(texts), &DataError::what);
    return texts;
}

std::vector<std::string> FaultsOf(const DataFolder& data, const std::string& name) {
    std::vector<DataError> faults;
    const Complaints complain = [&](const DataError& error) { faults.push_back(error); };
    if (SameTicker(name, "quotes.csv")) {
        QuoteTable(data, complain);
        return InOrder(std::move(faults));
    }
    const auto kind = std::ranges::find_if(kinds, [&](const Kind& candidate) {
        return SameTicker(EndOf(name, candidate.suffix.size()), candidate.suffix);
    });
    if (kind == kinds.end()) {
        return {};
    }
    if (!IsTicker(name.substr(0, name.size() - kind->suffix.size()))) {
        return {"is not named after a ticker, and never read"};
    }
    std::string text = data.Read(name)->text;
    if (kind->isOwn) {
        CheckOwnFile(name.substr(0, name.size() - kind->suffix.size()), kind->suffix, text,
                     complain);
    } else if (kind->layout == nullptr) {
        kind->check(text, complain);
    } else {
        BringIntoLayout(text, *kind->layout, complain);
        for (const Row& row : ParseRows(text, *kind->layout, complain)) {
            CheckValues(row, complain);
        }
    }
    return InOrder(std::move(faults));
}

}  // namespace

std::size_t CheckFolder(const std::filesystem::path& folder, std::ostream& out) {
    const DataFolder data(folder);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            names.push_back(entry.path().filename().string());
        }
    }
    std::ranges::sort(names);
    std::size_t count = 0;
    for (const std::string& name : names) {
        const std::vector<std::string> faults = FaultsOf(data, name);
        for (std::size_t i = 0; i < std::min(faults.size(), mostTold); ++i) {
            out << name << ' ' << faults[i] << '\n';
        }
        if (faults.size() > mostTold) {
            out << name << " has " << faults.size() - mostTold << " more\n";
        }
        count += faults.size();
    }
    return count;
}

}  // namespace quoteserver
