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

/// Columns of numbers and texts: dates as automation dates (days since 30 December 1899), decimals
/// and integers as they are, texts as pieces of the reply, which has to outlive them.
class Columns {
public:
    /// The column descriptions outlive the object: they are a service's constants.
    explicit Columns(std::span<const ColumnSpec> specs)
        : m_specs(specs), m_numbers(specs.size()), m_texts(specs.size()) {}

    std::span<const ColumnSpec> Specs() const { return m_specs; }
    std::size_t Rows() const { return m_rows; }
    std::vector<double>& operator[](std::size_t column) { return m_numbers[column]; }
    const std::vector<double>& operator[](std::size_t column) const { return m_numbers[column]; }
    /// The values of a text column.
    std::vector<std::string_view>& Texts(std::size_t column) { return m_texts[column]; }
    const std::vector<std::string_view>& Texts(std::size_t column) const { return m_texts[column]; }

    /// Appends rows of zeros and empty texts. Many small pages grow the columns in few steps; a
    /// single large page takes just the memory of its rows.
    void AddRows(std::size_t count) {
        m_rows += count;
        for (std::size_t i = 0; i < m_specs.size(); ++i) {
            if (m_specs[i].type == ColumnType::string)
                Grow(m_texts[i]);
            else
                Grow(m_numbers[i]);
        }
    }

    /// Removes the rows and keeps their memory.
    void clear() {
        m_rows = 0;
        for (auto& numbers : m_numbers) numbers.clear();
        for (auto& texts : m_texts) texts.clear();
    }

private:
    template <class Value>
    void Grow(std::vector<Value>& values) {
        if (m_rows > values.capacity())
            values.reserve(values.empty() ? m_rows : std::max(m_rows, 2 * values.size()));
        values.resize(m_rows);
    }

    std::span<const ColumnSpec> m_specs;
    std::size_t m_rows = 0;
    std::vector<std::vector<double>> m_numbers;
    std::vector<std::vector<std::string_view>> m_texts;
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
