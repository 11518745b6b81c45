#pragma once
// What the tests of the reply parsers share: recorded replies, readers of odd fields, and a reader
// of dates and lines that does everything the plain way.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "replies/Columns.h"

namespace vtdl::replies {

using Row = std::vector<double>;

inline constexpr const char* monthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

inline std::string RecordedReply(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    std::string reply(std::istreambuf_iterator<char>(file), {});
    EXPECT_FALSE(reply.empty()) << name << ": run the tests in the folder tests/data";
    return reply;
}

inline std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
    return parts;
}

inline double Serial(int year, unsigned month, unsigned day) {
    using namespace std::chrono;
    const days count =
        sys_days{std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day}} -
        sys_days{1899y / December / 30};
    return static_cast<double>(count.count());
}

inline double PlainDate(const std::string& text) {
    const std::vector<std::string> parts = Split(text, '-');
    const auto month = std::ranges::find(monthNames, parts[1]) - std::begin(monthNames) + 1;
    const int first = std::stoi(parts[0]), third = std::stoi(parts[2]);
    if (month > 12)
        return Serial(first, static_cast<unsigned>(std::stoi(parts[1])),
                      static_cast<unsigned>(third));
    return Serial(third + (third < 50 ? 2000 : 1900), static_cast<unsigned>(month),
                  static_cast<unsigned>(first));
}

struct OddText {
    std::size_t row, column;
    std::string text;
    bool isMissing;

    bool operator==(const OddText&) const = default;
};

class RecordingReader final : public OddFieldReader {
public:
    explicit RecordingReader(double value = 0) : m_value(value) {}

    double Read(const OddField& field) override {
        fields.push_back({field.row, field.column, std::string(field.text), field.isMissing});
        return m_value;
    }

    std::vector<OddText> fields;

private:
    double m_value;
};

inline std::vector<Row> RowsOf(const Columns& columns) {
    std::vector<Row> rows(columns.Rows());
    for (std::size_t column = 0; column < columns.Specs().size(); ++column) {
        if (columns.Specs()[column].type == ColumnType::string) continue;
        for (std::size_t row = 0; row < rows.size(); ++row)
            rows[row].push_back(columns[column][row]);
    }
    return rows;
}

/// What a parser makes of a reply; fields that are no numbers read as 99.
struct Parsed {
    std::vector<Row> rows;
    std::vector<OddText> oddTexts;
};

/// Parses a heap block of exactly the reply's size, so that the sanitizer sees a read past it.
template <class Parser>
Parsed ParsedBy(Parser parser, std::span<const ColumnSpec> specs, const std::string& reply) {
    const std::vector<char> bytes(reply.begin(), reply.end());
    Columns columns(specs);
    RecordingReader reader(99);
    parser(std::string_view(bytes.data(), bytes.size()), columns, reader);
    return {RowsOf(columns), reader.fields};
}

/// The rows below a header, read the plain way.
inline std::vector<Row> PlainRows(const std::string& reply, char separator, std::size_t width) {
    std::vector<std::string> lines = Split(reply, '\n');
    std::vector<Row> rows;
    for (auto line = lines.begin() + 1; line < lines.end(); ++line) {
        while (line->ends_with('\r')) line->pop_back();
        if (line->empty()) continue;
        std::vector<std::string> fields = Split(*line, separator);
        fields.resize(width, "missing");
        Row row{PlainDate(fields[0])};
        for (std::size_t i = 1; i < width; ++i) {
            char* end = nullptr;
            const double value = std::strtod(fields[i].c_str(), &end);
            row.push_back(*end || fields[i].empty() ? 99 : value);
        }
        rows.push_back(row);
    }
    return rows;
}

}  // namespace vtdl::replies
