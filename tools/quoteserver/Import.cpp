#include "Import.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ostream>

#include "DataFolder.h"
#include "Http.h"
#include "WholeFile.h"
#include "living/Numbers.h"

namespace quoteserver {
namespace {

using living::PrintableText;
using living::SplitCsvLine;

// Why a line is not taken.
class NotTaken : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum Column { date, ticker, period, open, high, low, close, volume, adjusted, columnCount };

// "<CLOSE>", "Close/Last" and "Adj. Close" as they are looked up.
std::optional<Column> ColumnOf(std::string_view name) {
    static constexpr std::pair<std::string_view, Column> names[] = {{"date", date},
                                                                    {"day", date},
                                                                    {"dtyyyymmdd", date},
                                                                    {"timestamp", date},
                                                                    {"ticker", ticker},
                                                                    {"symbol", ticker},
                                                                    {"per", period},
                                                                    {"period", period},
                                                                    {"open", open},
                                                                    {"high", high},
                                                                    {"low", low},
                                                                    {"close", close},
                                                                    {"last", close},
                                                                    {"closelast", close},
                                                                    {"price", close},
                                                                    {"volume", volume},
                                                                    {"vol", volume},
                                                                    {"adjclose", adjusted},
                                                                    {"adjustedclose", adjusted}};
    std::string letters = Lower(name);
    std::erase_if(letters, [](char c) { return c < 'a' || c > 'z'; });
    const auto* found =
        std::ranges::find(names, letters, &std::pair<std::string_view, Column>::first);
    return found == std::end(names) ? std::nullopt : std::optional(found->second);
}

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::string Quoted(std::string_view text) {
    return std::string(1, '"').append(PrintableText(text)).append(1, '"');
}

// The parts of a date, as they stand: 2024-01-09, 20240109, 1/9/2024, 9.1.2024.
struct DateParts {
    std::array<int, 3> numbers{};
    char separator = 0;  // 0: yyyymmdd
};

DateParts ParseDateParts(std::string_view text) {
    text = text.substr(0, text.find_first_of(" T"));  // a time may follow
    DateParts parts;
    const char* p = text.data();
    const char* const end = p + text.size();
    const auto take = [&](int& number, std::ptrdiff_t most) {
        const auto [stop, error] = std::from_chars(p, std::min(end, p + most), number);
        const bool isThere = error == std::errc{} && number >= 0 && *p != '-';
        p = stop;
        return isThere;
    };
    bool isDate = p != end;
    if (text.size() == 8 &&
        std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; })) {
        isDate =
            take(parts.numbers[0], 4) && take(parts.numbers[1], 2) && take(parts.numbers[2], 2);
    } else {
        for (std::size_t i = 0; isDate && i < 3; ++i) {
            isDate = take(parts.numbers[i], 4) && (i == 2 ? p == end : p != end);
            if (isDate && i < 2) {
                const char separator = *p++;
                isDate = (separator == '-' || separator == '/' || separator == '.') &&
                         (i == 0 || separator == parts.separator) && p != end;
                parts.separator = separator;
            }
        }
    }
    if (!isDate) {
        throw NotTaken(Quoted(text) + " is not a date");
    }
    return parts;
}

// A number as data files have it; a decimal comma becomes a point. Both signs in one table mean
// that one of them groups digits.
std::string Number(std::string_view text, bool mayHaveComma, char& decimal) {
    std::string number(text.substr(text.starts_with('$') ? 1 : 0));
    for (char& c : number) {
        if (c != ',' && c != '.') {
            continue;
        }
        if (c == ',' && !mayHaveComma) {
            throw NotTaken(Quoted(text) + " has a comma");
        }
        if (decimal != 0 && decimal != c) {
            throw NotTaken(Quoted(text) + " has a " + (c == ',' ? "comma" : "point") +
                           " where others have the other");
        }
        decimal = c;
        c = '.';
    }
    if (!IsPlainDecimal(number)) {
        throw NotTaken(Quoted(text) + " is not a number");
    }
    return number;
}

// "75.69M", as some write volumes.
std::string Volume(std::string_view text, bool mayHaveComma, char& decimal) {
    static constexpr std::pair<char, double> units[] = {{'K', 1e3}, {'M', 1e6}, {'B', 1e9}};
    const auto* unit = std::ranges::find(units, text.back(), &std::pair<char, double>::first);
    if (unit == std::end(units)) {
        return Number(text, mayHaveComma, decimal);
    }
    char number[64];
    text.remove_suffix(1);
    std::snprintf(number, sizeof number, "%.0f",
                  std::stod(Number(text, mayHaveComma, decimal)) * unit->second);
    return Number(number, false, decimal);  // which may have become too long
}

double Value(const std::string& number) { return std::strtod(number.c_str(), nullptr); }

bool HasSameNumbers(std::string_view left, std::string_view right) {
    while (!left.empty() && !right.empty()) {
        if (Value(std::string(TakeField(left, ','))) != Value(std::string(TakeField(right, ',')))) {
            return false;
        }
    }
    return left.empty() && right.empty();
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
    char m_separator = ',', m_decimal = 0;
    std::size_t m_width = 0;
    std::array<std::size_t, columnCount> m_places{};
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::vector<Pending> m_pending;  // with slashes
};

bool Exports::Table::ReadHeader(std::string_view line) {
    m_separator = line.find('\t') != line.npos ? '\t' : line.find(';') != line.npos ? ';' : ',';
    m_places.fill(none);
    const std::vector<std::string> names = SplitCsvLine(line, m_separator);
    m_width = names.size();
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (const auto column = ColumnOf(names[i]); column && m_places[*column] == none) {
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
    std::string of(m_places[ticker] == none ? std::string_view(m_name).substr(0, m_name.rfind('.'))
                                            : cell(ticker));
    std::ranges::transform(of, of.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c & ~0x20) : c;
    });
    if (!IsTicker(of) || !NamesPrices(of) || FileNameOf(of) != of) {
        throw NotTaken(Quoted(of) + " names no file of prices");
    }
    const bool mayHaveComma = m_separator != ',';
    const std::string last = Number(cell(close), mayHaveComma, m_decimal);
    const auto price = [&](Column column) {
        return m_places[column] == none ? last : Number(cell(column), mayHaveComma, m_decimal);
    };
    const std::string first = price(open), most = price(high), least = price(low);
    const std::string shares =
        cell(volume).empty() ? "000" : Volume(cell(volume), mayHaveComma, m_decimal);
    if (Value(most) < Value(least)) {
        throw NotTaken("the high is below the low");
    }
    if (Value(shares) < 0) {
        throw NotTaken("the volume is below zero");
    }
    std::string values = first;
    for (const std::string& value : {most, least, last, shares, price(adjusted)}) {
        values.append(1, ',').append(value);
    }
    if (const auto day = ParseEnglishDate(cell(date))) {
        return Add(of, day, values, number);
    }
    const DateParts parts = ParseDateParts(cell(date));
    const auto& [a, b, c] = parts.numbers;
    if (parts.separator == '/' && a <= 31) {
        m_pending.push_back({parts, of, std::move(values), number});
    } else {
        Add(of, parts.separator == '.' ? ExistingDate(c, b, a) : ExistingDate(a, b, c), values,
            number);
    }
}

// Now it is known whether one of them has a day above 12.
void Exports::Table::End() {
    const auto isAbove = [&](std::size_t place) {
        return std::ranges::any_of(
            m_pending, [place](const Pending& row) { return row.date.numbers[place] > 12; });
    };
    const bool isDayFirst = m_exports.m_dates == SlashDates::Told
                                ? isAbove(0)
                                : m_exports.m_dates == SlashDates::DayFirst;
    const bool isOpen = m_exports.m_dates == SlashDates::Told && isAbove(0) == isAbove(1);
    for (const Pending& row : m_pending) {
        try {
            const auto& [a, b, year] = row.date.numbers;
            if (isOpen) {
                throw NotTaken("whether " + std::to_string(a) + "/" + std::to_string(b) +
                               " has the month or the day first, --import-dates has to say");
            }
            Add(row.ticker, isDayFirst ? ExistingDate(year, b, a) : ExistingDate(year, a, b),
                row.values, row.line);
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
    if (!table.ReadHeader(Trimmed(WithoutByteOrderMark(line)))) {
        return;
    }
    for (std::size_t number = 2; std::getline(in, line); ++number) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        try {
            if (!line.empty()) {
                table.ReadRow(line, number);
            }
        } catch (const NotTaken& e) {
            refuse(number, e.what());
        }
    }
    table.End();
}

namespace {

struct Merged {
    std::size_t added = 0, same = 0, replaced = 0, refused = 0;
};

Merged MergeInto(const DataFolder& folder, const Import& import, const std::string& of,
                 const Exports::Days& days, std::ostream& out) {
    Merged merged;
    std::map<Date, std::string, std::greater<>> all;
    std::optional<DataFile> file = folder.Prices(of);
    std::string why;
    const std::string name = file ? file->name : of + ".csv";
    if (file) {
        std::string_view text = WithoutByteOrderMark(file->text);
        if (TakeLine(text) != priceLayout.header) {
            why = name + " has other columns, or in another order";
        }
        try {
            for (const Row& row : why.empty() ? ReadRows(*file, priceLayout) : std::vector<Row>()) {
                all[row.date] = row.values;
            }
        } catch (const std::exception& e) {
            why = e.what();
        }
    }
    for (const auto& [date, day] : days) {
        std::string refusal = why;
        const auto known = all.find(date);
        const bool isKnown = known != all.end();
        if (refusal.empty() && isKnown && !HasSameNumbers(known->second, day.values) &&
            !import.replacesRows) {
            refusal = name + " has other values of its day; --replace-rows would take these";
        }
        if (!refusal.empty()) {
            out << day.file << ':' << day.line << ": " << refusal << '\n';
            ++merged.refused;
        } else if (isKnown && HasSameNumbers(known->second, day.values)) {
            ++merged.same;
        } else {
            ++(isKnown ? merged.replaced : merged.added);
            all[date] = day.values;
        }
    }
    if (merged.added + merged.replaced > 0) {
        std::string text(priceLayout.header);
        text += '\n';
        for (const auto& [date, values] : all) {
            AppendDate(text, date, DateForm::Iso);
            text.append(1, ',').append(values).append(1, '\n');
        }
        WriteWhole(import.folder / name, text);
    }
    out << name << ": " << merged.added << " new, " << merged.replaced << " replaced, "
        << merged.same << " already there\n";
    return merged;
}

}  // namespace

std::size_t ImportFiles(const Import& import, std::ostream& out) {
    const DataFolder folder(import.folder);
    Exports exports(import.dates);
    std::size_t refused = 0;
    for (const std::string& path : import.files) {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            out << path << ": cannot be read\n";
            ++refused;
            continue;
        }
        const std::string name = std::filesystem::path(path).filename().string();
        exports.Read(in, name, [&](std::size_t line, const std::string& why) {
            out << name << ':' << line << ": " << why << '\n';
            ++refused;
        });
    }
    for (const auto& [of, days] : exports.Tickers()) {
        refused += MergeInto(folder, import, of, days, out).refused;
    }
    return refused;
}

}  // namespace quoteserver
