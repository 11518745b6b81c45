#include <algorithm>
#include <array>
#include <ostream>
#include <string>
#include <vector>

#include "QuoteTable.h"
#include "Services.h"

namespace quoteserver {
namespace {

struct Kind {
    std::string_view suffix;
    const Layout* layout;  // none: whatever it holds
};

// The last fits the names that the others leave.
constexpr std::array kinds = {Kind{".options.csv", nullptr},
                              Kind{".dividends.csv", &dividendLayout},
                              Kind{".futures.csv", &futuresLayout}, Kind{".csv", &priceLayout}};

std::string_view EndOf(std::string_view name, std::size_t length) {
    return name.substr(name.size() - std::min(length, name.size()));
}

void CheckRows(std::string text, const Layout& layout, const Complaints& complain) {
    BringIntoLayout(text, layout, complain);
    ParseRows(text, layout, complain);
}

}  // namespace

std::size_t CheckFolder(const std::filesystem::path& folder, std::ostream& out) {
    std::size_t count = 0;
    const auto complain = [&](const std::string& name, const std::string& what) {
        out << name << ' ' << what << '\n';
        ++count;
    };
    const DataFolder data(folder);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            names.push_back(entry.path().filename().string());
        }
    }
    std::ranges::sort(names);
    for (const std::string& name : names) {
        const auto kind = std::ranges::find_if(kinds, [&](const Kind& candidate) {
            return SameTicker(EndOf(name, candidate.suffix.size()), candidate.suffix);
        });
        if (kind == kinds.end() || SameTicker(name, "quotes.csv")) {
            continue;
        }
        const std::string ticker = name.substr(0, name.size() - kind->suffix.size());
        if (!IsTicker(ticker)) {
            complain(name, "is not named after a ticker, and never read");
        } else if (kind->layout != nullptr) {
            CheckRows(data.Read(name)->text, *kind->layout,
                      [&](const DataError& error) { complain(name, error.what()); });
        }
    }
    try {
        QuoteTable{data};
    } catch (const std::runtime_error& error) {
        out << error.what() << '\n';
        ++count;
    }
    return count;
}

}  // namespace quoteserver
