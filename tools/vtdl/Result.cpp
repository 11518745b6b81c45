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

}  // namespace vtdl::host
