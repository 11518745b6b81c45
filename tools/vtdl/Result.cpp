#include "Result.h"

#include <algorithm>

namespace vtdl::host {
namespace {

bool IsZeroDate(const Value& value) { return value == Value{Date{0}}; }

bool IsPlaceholder(const Block& block) {
    const auto first = [](const Column& column) -> const Value& { return column.at(0); };
    const auto isNothing = [](const Value& value) {
        return IsZeroDate(value) || value == Value{} || value == Value{0.0};
    };
    return block.Rows() == 1 && std::ranges::any_of(block.columns, IsZeroDate, first) &&
           std::ranges::all_of(block.columns, isNothing, first);
}

bool IsEmptyQuote(const Block& block) {
    return block.isQuote && std::ranges::all_of(block.columns, [](const Column& column) {
               return column.at(0) == Value{} || column.at(0) == Value{std::string()};
           });
}

}  // namespace

const Value& Column::at(std::size_t row) const {
    static const Value none;
    return row < values.size() ? values[row] : none;
}

std::size_t Block::Rows() const {
    std::size_t rows = 0;
    for (const Column& column : columns) rows = std::max(rows, column.values.size());
    return rows;
}

bool HasRows(const Result& result) {
    return std::ranges::any_of(result.blocks, [](const Block& block) {
        return block.Rows() > 0 && !IsPlaceholder(block) && !IsEmptyQuote(block);
    });
}

Result Newest(Result result, std::size_t rows) {
    if (result.blocks.size() != 1 || result.blocks[0].isQuote) return result;
    Block& block = result.blocks[0];
    const std::size_t all = block.Rows();
    const auto dates = std::ranges::find_if(block.columns, [&](const Column& column) {
        return all > rows && std::holds_alternative<Date>(column.at(0)) &&
               std::holds_alternative<Date>(column.at(all - 1));
    });
    if (dates == block.columns.end()) return result;
    const bool isNewestLast =
        std::get<Date>(dates->at(0)).days <= std::get<Date>(dates->at(all - 1)).days;
    for (Column& column : block.columns) {
        column.values.resize(all);
        const auto cut = static_cast<std::ptrdiff_t>(isNewestLast ? all - rows : rows);
        if (isNewestLast)
            column.values.erase(column.values.begin(), column.values.begin() + cut);
        else
            column.values.erase(column.values.begin() + cut, column.values.end());
    }
    return result;
}

void Append(Result& all, const Result& one, const std::string& ticker) {
    all.isPerTicker = true;
    for (Block block : one.blocks) {
        block.name = one.blocks.size() == 1 ? ticker : ticker + " " + block.name;
        all.blocks.push_back(std::move(block));
    }
}

}  // namespace vtdl::host
