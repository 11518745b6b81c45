#include "living/Doubt.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace quoteserver::living {

std::string Doubt(const DataFolder& store, const std::string& ticker, const Outcome& outcome,
                  bool isOwn) {
    std::optional<DataFile> file = store.Prices(ticker);
    const std::optional<DataFile> splits = store.Splits(ticker);
    const bool hasNewSplits = splits && splits->text != outcome.files.at(".splits.csv");
    if (!file || hasNewSplits) {
        return {};
    }
    std::vector<Row> before;
    try {
        before = ReadRows(*file, priceLayout);
    } catch (const std::exception&) {
        return {};  // a damaged copy says nothing
    }
    const std::vector<Row> after = ParseRows(outcome.files.at(".csv"), priceLayout);
    const auto close = [](const Row& row) {
        std::string_view values = row.values;
        for (int i = 0; i < 3; ++i) {
            TakeField(values, ',');
        }
        return std::strtod(std::string(TakeField(values, ',')).c_str(), nullptr);
    };
    std::size_t lost = 0, changed = 0;
    auto next = after.begin();
    for (const Row& row : before) {
        next = std::find_if(next, after.end(),
                            [&](const Row& other) { return other.date <= row.date; });
        if (next == after.end() || next->date != row.date) {
            ++lost;
        } else if (std::abs(close(*next) - close(row)) > std::abs(close(row)) * 0.01) {
            ++changed;
        }
    }
    const auto isMany = [&](std::size_t count) { return count * 100 > before.size(); };
    const std::string cure = "; without the copy " + file->name + " they are taken as they come";
    return isMany(lost) ? std::to_string(lost) + " days of the copy are missing" + cure
           : isMany(changed) && !isOwn
               ? std::to_string(changed) + " closes differ from the copy's" + cure
               : std::string();
}

}  // namespace quoteserver::living
