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
#include "replies/HistoryTables.h"
#include "text/CalendarDate.h"

namespace quoteserver {
namespace {

using living::PrintableText;
using living::SplitCsvLine;

// Why a line is not taken.
class NotTaken : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum Column { date, time, ticker, period, open, high, low, close, volume, adjusted, columnCount };

// "<CLOSE>", "Close/Last" and "Adj. Close" as they are looked up.
std::optional<Column> ColumnOf(std::string_view name) {
    static constexpr std::pair<std::string_view, Column> names[] = {
        {"date", date},         {"day", date},
        {"dtyyyymmdd", date},   {"timestamp", date},
        {"time", time},         {"ticker", ticker},
        {"symbol", ticker},     {"per", period},
        {"period", period},     {"open", open},
        {"high", high},         {"low", low},
        {"close", close},       {"last", close},
        {"closelast", close},   {"price", close},
        {"volume", volume},     {"vol", volume},
        {"adjclose", adjusted}, {"adjustedclose", adjusted}};
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

// The parts of a date, as they stand: 2024-01-09, 20240109, 1/9/2024, 9.1.2024, Jan 9, 2024,
// 9-Jan-24.
struct DateParts {
    std::array<int, 3> numbers{};
    char separator = 0;  // 0: year, month, day
};

// A bar of some hour or minute is not the day's.
void RefuseTimeOfDay(std::string_view text) {
    const std::string_view clock = text.substr(0, text.find_first_of("+-ZU"));  // before a zone
    if (clock.find_first_not_of("0:. ") != clock.npos && clock != "12:00 AM" &&
        clock != "12:00:00 AM") {
        throw NotTaken("the time " + Quoted(text) + " is not that of a day");
    }
}

DateParts ParseDateParts(std::string_view text) {
    if (const auto english = ParseEnglishDate(text)) {
        const std::chrono::year_month_day day{*english};
        return {{static_cast<int>(day.year()), static_cast<int>(static_cast<unsigned>(day.month())),
                 static_cast<int>(static_cast<unsigned>(day.day()))}};
    }
    if (const auto named = vtdl::replies::ParseServiceDate(text)) {
        const vtdl::text::CalendarDate day = vtdl::text::ToCalendarDate(*named);
        return {{day.year, day.month, day.day}};
    }
    const std::string_view whole = text;
    text = text.substr(0, text.find_first_of(" T"));
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
        throw NotTaken(Quoted(whole) + " is not a date");
    }
    if (parts.separator != 0 && parts.numbers[0] < 100 && parts.numbers[2] < 100) {
        throw NotTaken(Quoted(whole) + " has a year of two digits");
    }
    RefuseTimeOfDay(Trimmed(whole.substr(std::min(text.size() + 1, whole.size()))));
    return parts;
}

// The numbers of one table, as data files have them; a decimal comma becomes a point. One of the
// two signs is the decimal one. That a table has only the other, which groups digits, can be seen
// unless three digits follow it everywhere.
class Numbers {
public:
    explicit Numbers(char decimal) : m_decimal(decimal), m_isGiven(decimal != 0) {}

    std::string Price(std::string_view text) {
        text.remove_prefix(text.starts_with('$') ? 1 : 0);
        std::string number(text);
        std::ranges::replace(number, ',', '.');
        if (!IsPlainDecimal(number)) {
            throw NotTaken(Quoted(text) + " is not a number");
        }
        const std::size_t place = number.find('.');
        if (place == number.npos) {
            return number;
        }
        if (m_decimal != 0 && m_decimal != text[place]) {
            throw NotTaken(Quoted(text) + " has a " + (text[place] == ',' ? "comma" : "point") +
                           (m_isGiven ? "" : " where others have the other"));
        }
        m_decimal = text[place];
        const std::string_view digits = std::string_view(number).substr(number.starts_with('-'));
        const bool mayGroup =
            number.size() - place == 4 && digits.find('.') <= 3 && digits[0] != '0';
        m_isTold = m_isTold || !mayGroup;
        m_example = text;
        return number;
    }

    // "75.69M", as some write volumes, and "7.0".
    std::string Volume(std::string_view text) {
        static constexpr std::pair<char, double> units[] = {{'K', 1e3}, {'M', 1e6}, {'B', 1e9}};
        const auto* unit = std::ranges::find(units, text.back(), &std::pair<char, double>::first);
        if (unit != std::end(units)) {
            char number[64];
            text.remove_suffix(1);
            std::snprintf(number, sizeof number, "%.0f", std::stod(Price(text)) * unit->second);
            return Price(number);  // which may have become too long
        }
        const std::string_view fraction =
            text.substr(std::min(text.find_first_of(",."), text.size()));
        if (fraction.size() == 4 || fraction.find_first_of("123456789") != fraction.npos) {
            throw NotTaken(Quoted(text) + " is not a whole number");
        }
        const std::string number = Price(text);
        return number.substr(0, number.find('.'));
    }

    // A number of which nobody can say what it is worth, if that goes for all with a sign.
    std::string Open() const { return m_isGiven || m_isTold ? "" : m_example; }

private:
    char m_decimal;
    bool m_isGiven, m_isTold = false;
    std::string m_example;
};

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
    Exports exports(import.dates, import.decimal);
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
