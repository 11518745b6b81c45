#include "QuoteTable.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace quoteserver {
namespace {

constexpr std::string_view unknown = "N/A";

template <typename... Values>
std::string Printed(const char* format, Values... values) {
    char text[64];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

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

}  // namespace

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

std::string ClockOf(std::string_view text) {
    int hour = -1, minute = -1, second = 0, end = 0;
    const std::string time(text);
    if (std::sscanf(time.c_str(), "%2d:%2d%n:%2d%n", &hour, &minute, &end, &second, &end) < 2 ||
        hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
        return {};
    }
    const std::size_t blanks = time.find_first_not_of(' ', static_cast<std::size_t>(end));
    std::string half = time.substr(std::min(blanks, time.size()), 2);
    std::ranges::transform(half, half.begin(), [](char c) { return static_cast<char>(c | 0x20); });
    const bool isHalf = (half.starts_with('a') || half.starts_with('p')) &&
                        (half.size() == 1 || half.find_first_of("m. ", 1) == 1);
    if (isHalf && hour >= 1 && hour <= 12) {
        hour = hour % 12 + (half[0] == 'p' ? 12 : 0);
    }
    return Printed("%02d:%02d:%02d", hour, minute, second);
}

QuoteTable::QuoteTable(DataFolder folder, const Complaints& complain)
    : m_folder(std::move(folder)) {
    const std::optional<DataFile> file = m_folder.Quotes();
    try {
        if (file) {
            Parse(WithoutByteOrderMark(file->text), complain);
        }
    } catch (const DataError& e) {
        throw std::runtime_error(file->name + " " + e.what());
    }
}

void QuoteTable::Parse(std::string_view text, const Complaints& complain) {
    m_header = SplitCells(TakeLine(text));
    const auto ticker = std::ranges::find(m_header, "s");
    if (ticker == m_header.end()) {
        return complain(DataError(1, "no column is called s"));
    }
    m_tickerColumn = static_cast<std::size_t>(ticker - m_header.begin());
    for (std::size_t number = 2; !text.empty(); ++number) {
        Cells cells = SplitCells(TakeLine(text));
        if (cells.size() == m_header.size()) {
            m_rows.push_back(std::move(cells));
        } else if (!cells.empty()) {
            complain(DataError(number, std::to_string(cells.size()) + " values instead of " +
                                           std::to_string(m_header.size())));
        }
    }
}

std::string_view Quote::value(std::string_view letters) const {
    const auto found = std::ranges::find(
        m_values, letters, [](const auto& value) { return std::string_view(value.first); });
    return found == m_values.end() ? unknown : found->second;
}

std::string ChangeText(const std::string& price, const std::string& before) {
    std::size_t decimals = 2;
    for (const std::string& text : {price, before}) {
        if (const std::size_t point = text.find('.'); point != text.npos) {
            decimals = std::max(decimals, text.size() - point - 1);
        }
    }
    std::array<char, 400> text;
    std::snprintf(text.data(), text.size(), "%+.*f",
                  static_cast<int>(std::min<std::size_t>(decimals, 10)),
                  std::strtod(price.c_str(), nullptr) - std::strtod(before.c_str(), nullptr));
    return text.data();
}

Quote QuoteTable::Of(std::string_view ticker, bool fromPrices) const {
    const auto row = std::ranges::find_if(
        m_rows, [&](const Cells& cells) { return SameTicker(cells[m_tickerColumn], ticker); });
    if (row == m_rows.end()) {
        const Quote living = OfLivingSource(ticker);
        return living.IsKnown() || !fromPrices ? living : OfDailyPrices(ticker);
    }
    std::vector<std::pair<std::string, std::string>> values;
    values.reserve(m_header.size());
    for (std::size_t i = 0; i < m_header.size(); ++i) {
        values.emplace_back(m_header[i], (*row)[i]);
    }
    return Quote(std::move(values));
}

// A file of one quote, with a header of its own.
Quote QuoteTable::OfLivingSource(std::string_view ticker) const {
    const std::optional<DataFile> file = IsTicker(ticker) ? m_folder.Quote(ticker) : std::nullopt;
    std::string_view text = file ? file->text : std::string_view();
    const Cells header = SplitCells(TakeLine(text)), cells = SplitCells(TakeLine(text));
    std::vector<std::pair<std::string, std::string>> values;
    for (std::size_t i = 0; i < header.size() && header.size() == cells.size(); ++i) {
        values.emplace_back(header[i], cells[i]);
    }
    return Quote(std::move(values));
}

Quote QuoteTable::OfDailyPrices(std::string_view ticker) const {
    std::optional<DataFile> file = IsTicker(ticker) ? m_folder.Prices(ticker) : std::nullopt;
    const std::vector<Row> rows = file ? ReadRows(*file, priceLayout) : std::vector<Row>();
    if (rows.empty()) {
        return {};
    }
    const std::chrono::year_month_day date = rows[0].date;
    const std::vector<std::string> day = SplitCells(rows[0].values);
    const std::string &open = day[0], &high = day[1], &low = day[2], &close = day[3];
    const int year = static_cast<int>(date.year());
    const unsigned month = static_cast<unsigned>(date.month());
    const unsigned dayOfMonth = static_cast<unsigned>(date.day());
    std::vector<std::pair<std::string, std::string>> values{
        {"s", std::string(ticker)},
        {"n",
         std::string(ticker) + Printed(" daily close of %04d-%02u-%02u", year, month, dayOfMonth)},
        {"d1", Printed("%u/%u/%d", month, dayOfMonth, year)},
        {"l1", close},
        {"o", open},
        {"h", high},
        {"g", low},
        {"v", day[4]},
        {"m", low + " - " + high},
    };
    if (rows.size() > 1) {
        const std::string before = SplitCells(rows[1].values)[3];
        const double last = std::stod(before);
        values.insert(values.end(), {{"p", before}, {"c1", ChangeText(close, before)}});
        if (last != 0) {
            values.emplace_back("p2", Printed("%+.2f%%", 100 * (std::stod(close) - last) / last));
        }
    }
    return Quote(std::move(values));
}

}  // namespace quoteserver
