#include "Exports.h"

#include <algorithm>
#include <array>
#include <istream>
#include <vector>

#include "DataFolder.h"
#include "Http.h"
#include "ImportValues.h"
#include "living/Numbers.h"

namespace quoteserver {
namespace {

using living::SplitCsvLine;

enum Column { date, time, ticker, period, open, high, low, close, volume, adjusted, columnCount };

// "<CLOSE>", "Close/Last", "Adj. Close" and "Eröffnung" as they are looked up: letters of ASCII
// alone, so that it does not matter how a file writes the others.
constexpr std::pair<std::string_view, Column> names[] = {
    {"date", date},
    {"day", date},
    {"dtyyyymmdd", date},
    {"timestamp", date},
    {"datum", date},
    {"time", time},
    {"zeit", time},
    {"heure", time},
    {"ticker", ticker},
    {"symbol", ticker},
    {"symbole", ticker},
    {"per", period},
    {"period", period},
    {"open", open},
    {"erffnung", open},
    {"eroeffnung", open},
    {"erffnungskurs", open},
    {"erster", open},
    {"ouverture", open},
    {"ouvert", open},
    {"ouv", open},
    {"high", high},
    {"hoch", high},
    {"hchst", high},
    {"hchstkurs", high},
    {"tageshoch", high},
    {"plushaut", high},
    {"haut", high},
    {"low", low},
    {"tief", low},
    {"tiefst", low},
    {"tiefstkurs", low},
    {"tagestief", low},
    {"plusbas", low},
    {"bas", low},
    {"close", close},
    {"last", close},
    {"closelast", close},
    {"price", close},
    {"schluss", close},
    {"schlu", close},
    {"schlusskurs", close},
    {"schlukurs", close},
    {"letzter", close},
    {"clture", close},
    {"cloture", close},
    {"clot", close},
    {"dernier", close},
    {"volume", volume},
    {"vol", volume},
    {"volumen", volume},
    {"stcke", volume},
    {"stuecke", volume},
    {"stck", volume},
    {"adjclose", adjusted},
    {"adjustedclose", adjusted},
};

std::string Letters(std::string_view name) {
    std::string letters = Lower(name);
    std::erase_if(letters, [](char c) { return c < 'a' || c > 'z'; });
    return letters;
}

std::optional<Column> ColumnOf(std::string_view name) {
    const auto* found =
        std::ranges::find(names, Letters(name), &std::pair<std::string_view, Column>::first);
    return found == std::end(names) ? std::nullopt : std::optional(found->second);
}

}  // namespace

// One table while it is read.
class Exports::Table {
public:
    Table(Exports& exports, const std::string& name, const Refuse& refuse)
        : m_exports(exports), m_name(name), m_refuse(refuse) {}

    bool ReadHeader(std::string_view line);
    void ReadRow(std::string_view line, std::size_t number);
    void End();

private:
    struct Pending {
        DateParts date;
        std::string ticker, values;
        std::size_t line;
    };

    void Add(const std::string& of, std::optional<Date> day, const std::string& values,
             std::size_t line);

    Exports& m_exports;
    std::string m_name;
    const Refuse& m_refuse;
    char m_separator = ',';
    Numbers m_numbers{'.'};
    std::size_t m_width = 0;
    std::array<std::size_t, columnCount> m_places{};
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::vector<Pending> m_rows;
};

bool Exports::Table::ReadHeader(std::string_view line) {
    if (line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF")) {
        m_refuse(1, "the file is UTF-16; saved as UTF-8 it can be taken");
        return false;
    }
    m_separator = line.find('\t') != line.npos ? '\t' : line.find(';') != line.npos ? ';' : ',';
    m_numbers = Numbers(m_exports.m_decimal == 0 && m_separator == ',' ? '.' : m_exports.m_decimal);
    m_places.fill(none);
    const std::vector<std::string> titles = SplitCsvLine(line, m_separator);
    m_width = titles.size();
    for (std::size_t i = 0; i < titles.size(); ++i) {
        const auto column = ColumnOf(titles[i]);
        // Beside "Stücke" a "Volumen" is money.
        if (column && (m_places[*column] == none || Letters(titles[i]).starts_with("st"))) {
            m_places[*column] = i;
        }
    }
    for (const auto& [column, name] : {std::pair{date, "date"}, {close, "close"}}) {
        if (m_places[column] == none) {
            m_refuse(1,
                     std::string("no column is called ") + name + "; nothing of the file is taken");
            return false;
        }
    }
    return true;
}

void Exports::Table::ReadRow(std::string_view line, std::size_t number) {
    const std::vector<std::string> cells = SplitCsvLine(line, m_separator);
    if (cells.size() != m_width) {
        throw NotTaken(std::to_string(cells.size()) + " values instead of " +
                       std::to_string(m_width));
    }
    const auto cell = [&](Column column) {
        return m_places[column] == none ? std::string_view() : Trimmed(cells[m_places[column]]);
    };
    if (const std::string_view per = cell(period); !per.empty() && per != "D" && per != "d") {
        throw NotTaken("the period " + Quoted(per) + " is not a day");
    }
    RefuseTimeOfDay(cell(time));
    const std::string of =
        Upper(m_places[ticker] == none ? std::string_view(m_name).substr(0, m_name.rfind('.'))
                                       : cell(ticker));
    if (!IsTicker(of) || !NamesPrices(of) || FileNameOf(of) != of) {
        throw NotTaken(Quoted(of) + " names no file of prices");
    }
    const std::string last = m_numbers.Price(cell(close));
    const auto price = [&](Column column) {
        return m_places[column] == none ? last : m_numbers.Price(cell(column));
    };
    const std::string first = price(open), most = price(high), least = price(low);
    const std::string shares = cell(volume).empty() ? "000" : m_numbers.Volume(cell(volume));
    if (Value(most) < Value(least)) {
        throw NotTaken("the high is below the low");
    }
    if (Value(most) == 0 && Value(least) == 0) {
        throw NotTaken("all its prices are 0");
    }
    if (Value(shares) < 0) {
        throw NotTaken("the volume is below zero");
    }
    std::string values = first;
    for (const std::string& value : {most, least, last, shares, price(adjusted)}) {
        values.append(1, ',').append(value);
    }
    m_rows.push_back({ParseDateParts(cell(date)), of, std::move(values), number});
}

// Now it is known whether a date has a day above 12, and what the signs in numbers are.
void Exports::Table::End() {
    if (const std::string open = m_numbers.Open(); !open.empty()) {
        return m_refuse(1, "whether the signs of numbers like " + Quoted(open) +
                               " are decimal ones, --import-decimals has to say; nothing of the "
                               "file is taken");
    }
    const auto hasSlashes = [](const Pending& row) {
        return row.date.separator == '/' && row.date.numbers[0] <= 31;
    };
    const auto isAbove = [&](std::size_t place) {
        return std::ranges::any_of(m_rows, [&](const Pending& row) {
            return hasSlashes(row) && row.date.numbers[place] > 12;
        });
    };
    const bool isDayFirst = m_exports.m_dates == SlashDates::Told
                                ? isAbove(0)
                                : m_exports.m_dates == SlashDates::DayFirst;
    const bool isOpen = m_exports.m_dates == SlashDates::Told && isAbove(0) == isAbove(1);
    for (const Pending& row : m_rows) {
        try {
            const auto& [a, b, c] = row.date.numbers;
            if (!hasSlashes(row)) {
                Add(row.ticker,
                    row.date.separator == '.' ? ExistingDate(c, b, a) : ExistingDate(a, b, c),
                    row.values, row.line);
            } else if (isOpen) {
                throw NotTaken("whether " + std::to_string(a) + "/" + std::to_string(b) +
                               " has the month or the day first, --import-dates has to say");
            } else {
                Add(row.ticker, isDayFirst ? ExistingDate(c, b, a) : ExistingDate(c, a, b),
                    row.values, row.line);
            }
        } catch (const NotTaken& e) {
            m_refuse(row.line, e.what());
        }
    }
}

void Exports::Table::Add(const std::string& of, std::optional<Date> day, const std::string& values,
                         std::size_t line) {
    if (!day || *day < std::chrono::sys_days{std::chrono::year(1000) / 1 / 1}) {
        throw NotTaken("there is no such day");
    }
    using std::chrono::days;
    if (*day > std::chrono::floor<days>(std::chrono::system_clock::now()) + days(1)) {
        throw NotTaken("its day is yet to come");
    }
    const auto [known, isNew] =
        m_exports.m_tickers[of].try_emplace(*day, Day{values, m_name, line});
    if (!isNew && !HasSameNumbers(known->second.values, values)) {
        throw NotTaken("its day has other values in " + known->second.file + ":" +
                       std::to_string(known->second.line));
    }
}

void Exports::Read(std::istream& in, const std::string& name, const Refuse& refuse) {
    Table table(*this, name, refuse);
    std::string line;
    std::getline(in, line);
    if (!in.bad() && !table.ReadHeader(Trimmed(WithoutByteOrderMark(line)))) {
        return;
    }
    std::size_t number = 2;
    bool hasRow = false;
    for (; std::getline(in, line); ++number) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        try {
            if (!line.empty()) {
                hasRow = true;
                table.ReadRow(line, number);
            }
        } catch (const NotTaken& e) {
            refuse(number, e.what());
        }
    }
    if (in.bad()) {
        refuse(number, "the file cannot be read on; nothing of it is taken");
    } else if (!hasRow) {
        refuse(1, "no row follows; lines have to end with LF or CR LF");
    } else {
        table.End();
    }
}

}  // namespace quoteserver
