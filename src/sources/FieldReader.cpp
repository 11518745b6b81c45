#include "sources/FieldReader.h"

#include <climits>

#include "automation/CodePage.h"
#include "automation/DecimalSeparator.h"
#include "sources/SessionParameters.h"

namespace vtdl {
namespace {

// " (YAHOOHIST AAPL)": a log has reports of many downloads.
std::wstring DownloadOf(_CSession* session) {
    using namespace automation;
    ComPtr<_CDataSource> source;
    ComPtr<_CParameters> parameters;
    Bstr name;
    Check(session->get_DataSource(source.put()));
    Check(session->get_Parameters(parameters.put()));
    if (source) Check(source->get_Name(name.put()));
    const Bstr ticker = ToText(ParameterValue(parameters.get(), L"TICKER").get());
    return L" (" + std::wstring(name.view()).append(L" ").append(ticker.view().substr(0, 80)) +
           L")";
}

}  // namespace

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

void CheckIntegers(MethodFrame& frame, _CSession* session, replies::Columns& columns) {
    using namespace automation;
    for (std::size_t column = 0; column < columns.Specs().size(); ++column) {
        const replies::ColumnSpec& spec = columns.Specs()[column];
        if (spec.type != replies::ColumnType::integer) continue;
        for (std::size_t row = 0; row < columns.Rows(); ++row) {
            double& number = columns[column][row];
            if (number >= LONG_MIN && number <= LONG_MAX) continue;
            frame.Step([&] {
                throw MakeRuntimeError(RuntimeError::overflow, L"row " + std::to_wstring(row + 1) +
                                                                   L", " + std::wstring(spec.name) +
                                                                   DownloadOf(session));
            });
            number = 0;
        }
    }
}

double Readable(std::optional<double> value, std::wstring_view place, std::string_view text,
                _CSession* session) {
    if (!value)
        throw automation::MakeRuntimeError(automation::RuntimeError::typeMismatch,
                                           std::wstring(place) + L" \"" +
                                               ToWide(text.substr(0, 80)) + L"\"" +
                                               DownloadOf(session));
    return *value;
}

double FieldReader::Convert(const replies::OddField& field) const {
    using namespace automation;
    const replies::ColumnSpec& column = m_columns[field.column];
    const std::wstring text = ToWide(field.text);
    const auto place = [&] {
        std::wstring words =
            L"row " + std::to_wstring(field.row) + L", " + std::wstring(column.name);
        words += field.isMissing ? L" is missing" : L" \"" + text.substr(0, 80) + L"\"";
        return words + DownloadOf(m_session);
    };
    if (field.isMissing) throw MakeRuntimeError(RuntimeError::subscript, place());
    // No other form of a date is known than those that the parser reads.
    if (column.type == replies::ColumnType::date)
        throw MakeRuntimeError(RuntimeError::typeMismatch, place());
    try {
        return ConvertNumber(text, {});
    } catch (const Error&) {
        return ConvertNumber(text, place());  // again, for only what fails needs its place
    }
}

}  // namespace vtdl
