#pragma once
// What has to hold of every table of rows: its fields are those that stand in the text.

#include <vector>

#include "Fuzz.h"
#include "replies/Columns.h"

namespace vtdl::fuzz {

/// Notes the fields that a parser could not read, and gives them a number that stands out.
class Noting final : public replies::OddFieldReader {
public:
    static constexpr double odd = -12345.678;

    double Read(const replies::OddField& field) override {
        fields.push_back(field);
        return odd;
    }

    std::vector<replies::OddField> fields;
};

/// The field of a line, without the line's end; null beyond its last one.
inline const std::string_view* FieldAt(std::string_view line, std::string_view separators,
                                       std::size_t index, std::string_view& field) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    for (;; --index) {
        const std::size_t end = line.find_first_of(separators);
        field = line.substr(0, end);
        if (index == 0) return &field;
        if (end == std::string_view::npos) return nullptr;
        line.remove_prefix(end + 1);
    }
}

/// Every number of the columns is what the C library reads in its place in the lines, or was given
/// to the reader just as it stands there.
inline void CheckRows(std::string_view rows, std::string_view separators,
                      const replies::Columns& columns, const Noting& noting) {
    auto odd = noting.fields.begin();
    for (std::size_t row = 0; row < columns.Rows(); ++row) {
        const std::size_t end = rows.find('\n');
        const std::string_view line = rows.substr(0, end);
        rows.remove_prefix(end == std::string_view::npos ? rows.size() : end + 1);
        for (std::size_t column = 0; column < columns.Specs().size(); ++column) {
            std::string_view text;
            const bool isThere = FieldAt(line, separators, column, text) != nullptr;
            const double value = columns[column][row];
            if (odd != noting.fields.end() && odd->row == row + 1 && odd->column == column) {
                Require(odd->isMissing == !isThere, "missing fields are told from odd ones");
                Require(odd->isMissing || odd->text == text, "an odd field is given as it stands");
                Require(value == Noting::odd, "the reader's number counts");
                ++odd;
            } else if (column > 0) {
                Require(isThere, "a number has a field");
                Require(value == std::strtod(std::string(text).c_str(), nullptr),
                        "a number is the field's");
            }
        }
    }
    Require(odd == noting.fields.end(), "odd fields come in order");
}

/// The rows of a text that ends early are those of the whole, but for the last one.
inline void CheckSameRows(const replies::Columns& part, const replies::Columns& whole) {
    for (std::size_t row = 0; row + 1 < part.Rows(); ++row)
        for (std::size_t column = 0; column < whole.Specs().size(); ++column)
            Require(part[column][row] == whole[column][row], "rows before a cut are the same");
}

}  // namespace vtdl::fuzz
