#include "Formats.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "Parameters.h"

namespace vtdl::host {
namespace {

bool IsCalled(const Column& column, std::string_view name) { return SameName(column.name, name); }

const Column* Find(const Block& block, std::string_view name) {
    const auto found = std::ranges::find_if(
        block.columns, [&](const Column& column) { return IsCalled(column, name); });
    return found == block.columns.end() ? nullptr : &*found;
}

struct Side {
    const Column* strikes;
    const Column* expirations;

    explicit Side(const Block& block)
        : strikes(Find(block, "STRIKE")), expirations(Find(block, "EXPIRATION")) {}

    bool IsComplete() const { return strikes && expirations; }

    // What the library leaves in the arrays where the service has no option.
    bool IsEmptyAt(std::size_t row) const {
        const Value& strike = strikes->at(row);
        const Value& expiration = expirations->at(row);
        return (strike == Value{} || strike == Value{0.0}) &&
               (expiration == Value{} || expiration == Value{Date{0}});
    }
};

// The columns of one side but those of the series, filled row by row.
class SideColumns {
public:
    explicit SideColumns(const Block& block) {
        for (const Column& column : block.columns) {
            if (IsCalled(column, "STRIKE") || IsCalled(column, "EXPIRATION")) continue;
            m_sources.push_back(&column);
            columns.push_back({column.name, {}});
        }
    }

    void Add(std::size_t row, bool isEmpty) {
        for (std::size_t i = 0; i < columns.size(); ++i)
            columns[i].values.push_back(isEmpty ? Value{} : m_sources[i]->at(row));
    }

    std::vector<Column> columns;

private:
    std::vector<const Column*> m_sources;
};

// Characters, not bytes, so that what is not ASCII lines up too.
std::size_t Width(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string Padded(std::string_view text, std::size_t width, bool isRight) {
    std::string padded(text);
    padded.insert(isRight ? 0 : text.size(), width - std::min(width, Width(text)), ' ');
    return padded;
}

bool IsNumeric(const Column& column) {
    const auto isNumber = [](const Value& value) { return std::holds_alternative<double>(value); };
    return std::ranges::any_of(column.values, isNumber) &&
           std::ranges::all_of(column.values, [&](const Value& value) {
               return isNumber(value) || std::holds_alternative<std::monostate>(value);
           });
}

// Pads numbers on the right, as if all had the longest fraction.
void AlignPoints(std::vector<std::string>& numbers) {
    const auto fraction = [](const std::string& text) {
        return text.size() - std::min(text.size(), text.find('.'));
    };
    std::size_t longest = 0;
    for (const std::string& number : numbers) longest = std::max(longest, fraction(number));
    for (std::string& number : numbers) number.append(longest - fraction(number), ' ');
}

// Calculated prices have digits that nobody reads in a table.
std::string ShownValue(const Value& value) {
    constexpr double unit = 1e6, most = 1e9;  // six decimals, of what has digits to spare
    const double* const number = std::get_if<double>(&value);
    const bool isRounded = number && std::abs(*number) >= 1 / unit && std::abs(*number) < most;
    return FormatValue(isRounded ? Value{std::round(*number * unit) / unit} : value);
}

// The lines of a column, all of one width: the header, a rule and the rows.
std::vector<std::string> LinesOf(const Column& column, std::size_t rows) {
    const bool isNumeric = IsNumeric(column);
    std::vector<std::string> lines;
    for (std::size_t row = 0; row < rows; ++row)
        lines.push_back(Printable(ShownValue(column.at(row))));
    if (isNumeric) AlignPoints(lines);
    lines.insert(lines.begin(), Printable(column.name));

    std::size_t width = 0;
    for (const std::string& line : lines) width = std::max(width, Width(line));
    lines.insert(lines.begin() + 1, std::string(width, '-'));
    for (std::string& line : lines) line = Padded(std::move(line), width, isNumeric);
    return lines;
}

using Lines = std::vector<std::string>;

// Columns side by side, two blanks apart.
Lines JoinedColumns(const std::vector<Column>& columns, std::size_t rows) {
    Lines lines(rows + 2);
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const Lines column = LinesOf(columns[i], rows);
        for (std::size_t line = 0; line < lines.size(); ++line)
            lines[line].append(i == 0 ? "" : "  ").append(column[line]);
    }
    return lines;
}

std::string TextOf(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line;
        text.resize(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

// The calls on the left, the puts on the right, each under its heading.
std::string TableOf(const Chain& chain) {
    const std::size_t rows = chain.series.front().values.size();
    const Lines calls = JoinedColumns(chain.calls, rows),
                series = JoinedColumns(chain.series, rows), puts = JoinedColumns(chain.puts, rows);
    const std::string gap = "  |  ";
    Lines lines{Padded("CALLS", Width(calls.front()), false) + gap +
                std::string(Width(series.front()), ' ') + gap + "PUTS"};
    for (std::size_t line = 0; line < series.size(); ++line)
        lines.emplace_back(calls[line])
            .append(gap)
            .append(series[line])
            .append(gap)
            .append(puts[line]);
    return TextOf(lines);
}

// A value a line, next to its name.
std::string ListOf(const Block& quote) {
    Column names{"NAME", {}}, values{"VALUE", {}};
    for (const Column& column : quote.columns) {
        names.values.emplace_back(column.name);
        values.values.emplace_back(ShownValue(column.at(0)));
    }
    Lines lines = JoinedColumns({names, values}, quote.columns.size());
    lines.erase(lines.begin(), lines.begin() + 2);  // the header, which says nothing here
    return TextOf(lines);
}

std::string Quoted(const std::string& text, char separator) {
    const bool isPlain = text.find_first_of("\"\r\n") == std::string::npos &&
                         text.find(separator) == std::string::npos && !text.starts_with(' ') &&
                         !text.ends_with(' ');
    if (isPlain) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
    return quoted + '"';
}

// A signed number is harmless, and a sign alone too.
bool IsFormula(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (text.empty()) return false;
    const bool isNumber = text.find_first_not_of("0123456789.,%", 1) == std::string_view::npos;
    const bool isSigned = text.front() == '+' || text.front() == '-';
    return text.front() == '=' || text.front() == '@' || (isSigned && !isNumber);
}

std::string FieldOf(const Value& value, const CsvForm& form) {
    std::string text = FormatValue(value);
    const bool isText = std::holds_alternative<std::string>(value);
    if (isText && !form.isTextRaw && IsFormula(text)) return "'" + text;
    if (std::holds_alternative<double>(value)) std::ranges::replace(text, '.', form.decimal);
    return text;
}

std::vector<std::string> HeaderOf(const Result& result) {
    std::vector<std::string> names;
    for (const Block& block : result.blocks)
        for (const Column& column : block.columns)
            if (std::ranges::find(names, column.name) == names.end()) names.push_back(column.name);
    return names;
}

void AppendLine(std::string& text, const std::vector<std::string>& fields, const CsvForm& form) {
    for (const std::string& field : fields)
        text.append(Quoted(field, form.separator)).append(1, form.separator);
    if (!fields.empty()) text.pop_back();
    text += '\n';
}

void AppendRows(std::string& text, const Block& block, const std::vector<std::string>& header,
                bool isNamed, const CsvForm& form) {
    std::vector<const Column*> columns;
    for (const std::string& name : header) {
        const auto found = std::ranges::find(block.columns, name, &Column::name);
        columns.push_back(found == block.columns.end() ? nullptr : &*found);
    }
    std::vector<std::string> fields;
    const std::size_t rows = block.Rows();
    for (std::size_t row = 0; row < rows; ++row) {
        fields.clear();
        if (isNamed) fields.push_back(block.name);
        for (const Column* column : columns)
            fields.push_back(column ? FieldOf(column->at(row), form) : std::string());
        AppendLine(text, fields, form);
    }
}

using Json = nlohmann::ordered_json;

// Whole numbers are written without a fraction, up to where a double holds each of them.
Json JsonOf(double number) {
    constexpr double exact = 9007199254740992.0;
    if (number == std::trunc(number) && std::abs(number) <= exact)
        return static_cast<std::int64_t>(number);
    return number;
}

Json JsonOf(const Value& value) {
    if (std::holds_alternative<std::monostate>(value)) return nullptr;
    if (const bool* truth = std::get_if<bool>(&value)) return *truth;
    if (const double* number = std::get_if<double>(&value)) return JsonOf(*number);
    return FormatValue(value);
}

Json JsonOf(const Block& block) {
    Json rows = Json::array();
    const std::size_t count = block.Rows();
    for (std::size_t row = 0; row < count; ++row) {
        Json object = Json::object();
        for (const Column& column : block.columns) object[column.name] = JsonOf(column.at(row));
        rows.push_back(std::move(object));
    }
    return rows;
}

}  // namespace

std::optional<Chain> ChainOf(const Block& calls, const Block& puts) {
    const Side call(calls), put(puts);
    const std::size_t rows = calls.Rows();
    if (!call.IsComplete() || !put.IsComplete() || rows == 0 || puts.Rows() != rows) return {};

    SideColumns left(calls), right(puts);
    Chain chain{{}, {{"STRIKE", {}}, {"EXPIRATION", {}}}, {}};
    for (std::size_t row = 0; row < rows; ++row) {
        const bool hasCall = !call.IsEmptyAt(row), hasPut = !put.IsEmptyAt(row);
        if (!hasCall && !hasPut) continue;
        const Side& known = hasCall ? call : put;
        if (hasCall && hasPut &&
            (call.strikes->at(row) != put.strikes->at(row) ||
             call.expirations->at(row) != put.expirations->at(row)))
            return {};
        left.Add(row, !hasCall);
        right.Add(row, !hasPut);
        chain.series[0].values.push_back(known.strikes->at(row));
        chain.series[1].values.push_back(known.expirations->at(row));
    }
    chain.calls = std::move(left.columns);
    chain.puts = std::move(right.columns);
    const auto ticker = std::ranges::find_if(
        chain.puts, [](const Column& column) { return IsCalled(column, "TICKER"); });
    if (ticker != chain.puts.end()) std::rotate(ticker, ticker + 1, chain.puts.end());
    return chain;
}

std::string TableOf(const Block& block) {
    return block.isQuote ? ListOf(block) : TextOf(JoinedColumns(block.columns, block.Rows()));
}

std::string TableOf(const Result& result) {
    const auto find = [&](const char* name) {
        return std::ranges::find(result.blocks, name, &Block::name);
    };
    const auto calls = find("CALLS"), puts = find("PUTS"), end = result.blocks.end();
    std::optional<Chain> chain;
    if (calls != end && puts != end) chain = ChainOf(*calls, *puts);
    std::string text;
    for (auto block = result.blocks.begin(); block != end; ++block) {
        if (chain && block == puts) continue;
        if (!text.empty()) text += '\n';
        if (chain && block == calls) {
            text += TableOf(*chain);
            continue;
        }
        if (result.blocks.size() > 1) text.append(Printable(block->name)).append("\n\n");
        text += TableOf(*block);
    }
    return text;
}

std::string CsvOf(const Result& result, const CsvForm& form) {
    const bool areNamed = result.isPerTicker || result.blocks.size() > 1;
    const std::vector<std::string> header = HeaderOf(result);
    std::vector<std::string> titles = header;
    if (areNamed) titles.insert(titles.begin(), "BLOCK");
    std::string text;
    AppendLine(text, titles, form);
    for (const Block& block : result.blocks) AppendRows(text, block, header, areNamed, form);
    return text;
}

std::string JsonOf(const Result& result) {
    Json blocks = Json::object();
    for (const Block& block : result.blocks) blocks[block.name] = JsonOf(block);
    const Json document = {{"source", result.source}, {"blocks", std::move(blocks)}};
    return document.dump(2) + '\n';
}

}  // namespace vtdl::host
