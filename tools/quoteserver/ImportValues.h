// The values of exports, as programs and services of several countries write them.
#pragma once

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quoteserver {

// Why a line is not taken.
class NotTaken : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string_view Trimmed(std::string_view text);

// For a complaint.
std::string Quoted(std::string_view text);

// The parts of a date, as they stand: 2024-01-09, 20240109, 1/9/2024, 9.1.2024, Jan 9, 2024,
// 9-Jan-24.
struct DateParts {
    std::array<int, 3> numbers{};
    char separator = 0;  // 0: year, month, day
};

// Throws NotTaken for what is no date, or names a time of day, which a bar of a day has not.
DateParts ParseDateParts(std::string_view text);

void RefuseTimeOfDay(std::string_view text);

// The numbers of one table, as data files have them; a decimal comma becomes a point. One of the
// two signs is the decimal one. That a table has only the other, which groups digits, can be seen
// unless three digits follow it everywhere.
class Numbers {
public:
    explicit Numbers(char decimal) : m_decimal(decimal), m_isGiven(decimal != 0) {}

    // Throws NotTaken for what is none.
    std::string Price(std::string_view text);

    // "75.69M", as some write volumes, "7.0", and "12.345" where the decimal sign is the comma.
    std::string Volume(std::string_view text);

    // A number of which nobody can say what it is worth, if that goes for all with a sign.
    std::string Open() const { return m_isGiven || m_isTold ? "" : m_example; }

private:
    std::string Ungrouped(std::string_view text, bool isWhole) const;

    char m_decimal;
    bool m_isGiven, m_isTold = false;
    std::string m_example;
};

// Of what Numbers gave.
double Value(const std::string& number);

// Whether two lines of values, with commas in between, say the same.
bool HasSameNumbers(std::string_view left, std::string_view right);

}  // namespace quoteserver
