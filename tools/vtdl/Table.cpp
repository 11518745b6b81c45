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

// The texts of a column, header first, all of one width.
std::vector<std::string> CellsOf(const Column& column, std::size_t rows) {
    bool isNumeric = false, isOther = false;
    std::vector<std::string> cells;
    std::size_t longestFraction = 0;
    const auto fraction = [](const std::string& text) {
        return text.size() - std::min(text.size(), text.find('.'));
    };
    for (std::size_t row = 0; row < rows; ++row) {
        const Value& value = column.at(row);
        cells.push_back(FormatValue(value));
        if (std::holds_alternative<double>(value))
            isNumeric = true;
        else if (!std::holds_alternative<std::monostate>(value))
            isOther = true;
    }
    isNumeric = isNumeric && !isOther;
    if (isNumeric) {
        for (const std::string& cell : cells)
            longestFraction = std::max(longestFraction, fraction(cell));
        for (std::string& cell : cells) cell.append(longestFraction - fraction(cell), ' ');
    }
    for (std::string& cell : cells)
        std::ranges::replace_if(
            cell, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    cells.insert(cells.begin(), column.name);

    std::size_t width = 0;
    for (const std::string& cell : cells) width = std::max(width, Width(cell));
    cells.insert(cells.begin() + 1, std::string(width, '-'));
    for (std::string& cell : cells) cell = Padded(std::move(cell), width, isNumeric);
    return cells;
}

}  // namespace

std::string TableOf(const Block& block) {
    std::vector<std::vector<std::string>> columns;
    const std::size_t rows = block.Rows();
    for (const Column& column : block.columns) columns.push_back(CellsOf(column, rows));
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
