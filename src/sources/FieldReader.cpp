#include "sources/FieldReader.h"

#include <climits>

#include "support/CodePage.h"
#include "support/DecimalSeparator.h"

namespace vtdl {

double FieldReader::Read(const replies::OddField& field) {
    double value = 0;
    const bool isDate = m_columns[field.column].type == replies::ColumnType::date;
    const std::wstring_view routine = isDate ? m_routines.date : m_routines.number;
    if (routine.empty() || field.isMissing) {
        m_frame.Step([&] { value = Convert(field); });
        return value;
    }
    MethodFrame conversion(routine);
    conversion.Run([&](MethodFrame& frame) { frame.Step([&] { value = Convert(field); }); },
                   std::source_location::current());
    return value;
}

void CheckIntegers(MethodFrame& frame, replies::Columns& columns) {
    using namespace automation;
    for (std::size_t column = 0; column < columns.Specs().size(); ++column) {
        const replies::ColumnSpec& spec = columns.Specs()[column];
        if (spec.type != replies::ColumnType::integer) continue;
        for (std::size_t row = 0; row < columns.Rows(); ++row) {
            double& number = columns[column][row];
            if (number >= LONG_MIN && number <= LONG_MAX) continue;
            frame.Step([&] {
                throw MakeRuntimeError(RuntimeError::overflow, L"row " + std::to_wstring(row + 1) +
                                                                   L", " + std::wstring(spec.name));
            });
            number = 0;
        }
    }
}

double Readable(std::optional<double> value, std::string_view text) {
    if (!value)
        throw automation::MakeRuntimeError(automation::RuntimeError::typeMismatch,
                                           L"\"" + ToWide(text.substr(0, 80)) + L"\"");
    return *value;
}

double FieldReader::Convert(const replies::OddField& field) const {
    using namespace automation;
    const replies::ColumnSpec& column = m_columns[field.column];
    const std::wstring text = ToWide(field.text);
    std::wstring place = L"row " + std::to_wstring(field.row) + L", " + std::wstring(column.name);
    if (field.isMissing) throw MakeRuntimeError(RuntimeError::subscript, place + L" is missing");
    place += L" \"" + text.substr(0, 80) + L"\"";
    // No other form of a date is known than those that the parser reads.
    if (column.type == replies::ColumnType::date)
        throw MakeRuntimeError(RuntimeError::typeMismatch, place);
    return ConvertNumber(text, place);
}

}  // namespace vtdl
