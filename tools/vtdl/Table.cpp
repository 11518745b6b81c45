#include <algorithm>

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
    for (std::size_t row = 0; row < rows; ++row) {
        lines.push_back(FormatValue(column.at(row)));
        const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' '; };
        std::ranges::replace_if(lines.back(), isControl, ' ');
    }
    if (isNumeric) AlignPoints(lines);
    lines.insert(lines.begin(), column.name);

    std::size_t width = 0;
    for (const std::string& line : lines) width = std::max(width, Width(line));
    lines.insert(lines.begin() + 1, std::string(width, '-'));
    for (std::string& line : lines) line = Padded(std::move(line), width, isNumeric);
    return lines;
}

}  // namespace

std::string TableOf(const Block& block) {
    std::vector<std::vector<std::string>> columns;
    const std::size_t rows = block.Rows();
    for (const Column& column : block.columns) columns.push_back(LinesOf(column, rows));
    std::string text;
    for (std::size_t line = 0; line < rows + 2; ++line) {
        for (std::size_t i = 0; i < columns.size(); ++i)
            text.append(i == 0 ? "" : "  ").append(columns[i][line]);
        text.resize(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::string TableOf(const Result& result) {
    std::string text;
    for (const Block& block : result.blocks) {
        if (result.blocks.size() > 1)
            text.append(text.empty() ? "" : "\n").append(block.name).append("\n\n");
        text += TableOf(block);
    }
    return text;
}

}  // namespace vtdl::host
