#pragma once
// What a reply parser produces: a block of named, typed columns of equal length.

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace vtdl::replies {

/// How a column's values are to be read; the published type numbers.
enum class ColumnType { date = 1, decimal = 2, string = 3, integer = 4 };

struct ColumnSpec {
    std::wstring_view name;
    ColumnType type;
};

/// Columns of numbers: dates as automation dates (days since 30 December 1899), decimals as they
/// are.
class Columns {
public:
    /// The column descriptions outlive the object: they are a service's constants.
    explicit Columns(std::span<const ColumnSpec> specs) : m_specs(specs), m_values(specs.size()) {}

    std::span<const ColumnSpec> Specs() const { return m_specs; }
    std::size_t Rows() const { return m_values.front().size(); }
    std::vector<double>& operator[](std::size_t column) { return m_values[column]; }
    const std::vector<double>& operator[](std::size_t column) const { return m_values[column]; }

    /// Appends rows of zeros. Many small pages grow the columns in few steps; a single large page
    /// takes just the memory of its rows.
    void AddRows(std::size_t count) {
        const std::size_t needed = Rows() + count;
        for (auto& values : m_values) {
            if (needed > values.capacity())
                values.reserve(values.empty() ? needed : std::max(needed, 2 * values.size()));
            values.resize(needed);
        }
    }

private:
    std::span<const ColumnSpec> m_specs;
    std::vector<std::vector<double>> m_values;
};

/// A field of a reply that is not what its column says.
struct OddField {
    std::size_t row;     ///< 1-based, in the reply
    std::size_t column;  ///< 0-based
    std::string_view text;
    bool isMissing;  ///< the row ended before this column
};

/// Decides what becomes of a field that the parser cannot read itself.
class OddFieldReader {
public:
    /// Returns the field's value, or throws to end the parse.
    virtual double Read(const OddField& field) = 0;

protected:
    ~OddFieldReader() = default;
};

}  // namespace vtdl::replies
