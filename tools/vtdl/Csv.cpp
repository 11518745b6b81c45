#include <algorithm>
#include <cctype>

#include "Formats.h"

namespace vtdl::host {
namespace {

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

}  // namespace

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

}  // namespace vtdl::host
