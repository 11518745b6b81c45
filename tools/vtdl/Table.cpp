#include <algorithm>
#include <optional>

#include "Chain.h"
#include "Formats.h"

namespace vtdl::host {
namespace {

// Characters, not bytes, so that what is not ASCII lines up too.
std::size_t Width(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string Padded(std::string text, std::size_t width, bool isRight) {
    const std::size_t missing = width - std::min(width, Width(text));
    return isRight ? std::string(missing, ' ') + text : text + std::string(missing, ' ');
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

// The lines of a column, all of one width: the header, a rule and the rows.
std::vector<std::string> LinesOf(const Column& column, std::size_t rows) {
    const bool isNumeric = IsNumeric(column);
    std::vector<std::string> lines;
    for (std::size_t row = 0; row < rows; ++row)
        lines.push_back(Printable(FormatValue(column.at(row))));
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
Lines Joined(const std::vector<Column>& columns, std::size_t rows) {
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
    const Lines calls = Joined(chain.calls, rows), series = Joined(chain.series, rows),
                puts = Joined(chain.puts, rows);
    const std::string gap = "  |  ";
    Lines lines{Padded("CALLS", Width(calls.front()), false) + gap +
                std::string(Width(series.front()), ' ') + gap + "PUTS"};
    for (std::size_t line = 0; line < series.size(); ++line)
        lines.push_back(calls[line] + gap + series[line] + gap + puts[line]);
    return TextOf(lines);
}

// A value a line, next to its name.
std::string ListOf(const Block& quote) {
    Column names{"NAME", {}}, values{"VALUE", {}};
    for (const Column& column : quote.columns) {
        names.values.emplace_back(column.name);
        values.values.emplace_back(FormatValue(column.at(0)));
    }
    Lines lines = Joined({names, values}, quote.columns.size());
    lines.erase(lines.begin(), lines.begin() + 2);  // the header, which says nothing here
    return TextOf(lines);
}

}  // namespace

std::string TableOf(const Block& block) {
    return block.isQuote ? ListOf(block) : TextOf(Joined(block.columns, block.Rows()));
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

}  // namespace vtdl::host
