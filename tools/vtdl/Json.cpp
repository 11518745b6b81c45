#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "Formats.h"

namespace vtdl::host {
namespace {

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

std::string JsonOf(const Result& result) {
    Json blocks = Json::object();
    for (const Block& block : result.blocks) blocks[block.name] = JsonOf(block);
    const Json document = {{"source", result.source}, {"blocks", std::move(blocks)}};
    return document.dump(2) + '\n';
}

}  // namespace vtdl::host
