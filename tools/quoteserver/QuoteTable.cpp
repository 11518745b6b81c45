#include "QuoteTable.h"

#include <algorithm>
#include <optional>

#include "Rows.h"

namespace quoteserver {
namespace {

constexpr std::string_view unknown = "N/A";

// A quoted cell may hold commas, and quotes as two of them; line ends it never holds.
std::string TakeCell(std::string_view& line) {
    if (!line.starts_with('"')) {
        return std::string(TakeField(line, ','));
    }
    std::string cell;
    line.remove_prefix(1);
    for (;;) {
        cell += TakeField(line, '"');
        if (!line.starts_with('"')) {
            break;
        }
        cell += '"';
        line.remove_prefix(1);
    }
    TakeField(line, ',');
    return cell;
}

std::vector<std::string> SplitCells(std::string_view line) {
    const bool endsEmpty = line.ends_with(',');
    std::vector<std::string> cells;
    while (!line.empty()) {
        cells.push_back(TakeCell(line));
    }
    if (endsEmpty) {
        cells.emplace_back();
    }
    return cells;
}

}  // namespace

QuoteTable::QuoteTable(const DataFolder& folder) {
    const std::optional<DataFile> file = folder.Quotes();
    if (!file) {
        return;
    }
    std::string_view text = WithoutByteOrderMark(file->text);
    m_header = SplitCells(TakeLine(text));
    const auto ticker = std::ranges::find(m_header, "s");
    if (ticker == m_header.end()) {
        throw std::runtime_error(file->name + " line 1: no column is called s");
    }
    m_tickerColumn = static_cast<std::size_t>(ticker - m_header.begin());
    for (std::size_t number = 2; !text.empty(); ++number) {
        const std::string_view line = TakeLine(text);
        if (line.empty()) {
            continue;
        }
        m_rows.push_back(SplitCells(line));
        if (m_rows.back().size() != m_header.size()) {
            throw std::runtime_error(file->name + " line " + std::to_string(number) + ": " +
                                     std::to_string(m_rows.back().size()) + " values instead of " +
                                     std::to_string(m_header.size()));
        }
    }
}

std::string_view QuoteTable::value(std::string_view ticker, std::string_view letters) const {
    const Cells* row = Find(ticker);
    const auto column = std::ranges::find(m_header, letters);
    if (row == nullptr || column == m_header.end()) {
        return unknown;
    }
    return (*row)[static_cast<std::size_t>(column - m_header.begin())];
}

const QuoteTable::Cells* QuoteTable::Find(std::string_view ticker) const {
    const auto found = std::ranges::find_if(
        m_rows, [&](const Cells& row) { return SameTicker(row[m_tickerColumn], ticker); });
    return found == m_rows.end() ? nullptr : &*found;
}

}  // namespace quoteserver
