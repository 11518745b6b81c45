#pragma once
// Reads the fields that a reply's parser hands back, by the platform's conversions.

#include <optional>
#include <span>

#include "errors/MethodFrame.h"
#include "replies/Columns.h"

namespace vtdl {

/// The conversions of an adapter that have a name of their own on the call stack.
struct FieldRoutines {
    std::wstring_view date = {};
    std::wstring_view number = {};
};

/// A field that cannot be read is a failed statement of the method in the frame, or of the
/// conversion routine when one is named; ignored, it is 0. Aborted, it ends the method: a zero
/// would pass for a price.
class FieldReader final : public replies::OddFieldReader {
public:
    FieldReader(MethodFrame& frame, _CSession* session,
                std::span<const replies::ColumnSpec> columns, FieldRoutines routines)
        : m_frame(frame), m_session(session), m_columns(columns), m_routines(routines) {}

    double Read(const replies::OddField& field) override;

private:
    double Convert(const replies::OddField& field) const;

    MethodFrame& m_frame;
    _CSession* m_session;  ///< named by what is reported
    std::span<const replies::ColumnSpec> m_columns;
    FieldRoutines m_routines;
};

/// Makes numbers that their integer column cannot hold failed statements of the method; ignored,
/// they are 0.
void CheckIntegers(MethodFrame& frame, _CSession* session, replies::Columns& columns);

/// The column of a value of a quote, by position. A value beyond the columns is run-time error 9.
template <class Column, std::size_t Size>
const Column& ColumnAt(const Column (&columns)[Size], std::size_t position) {
    if (position >= Size)
        throw automation::MakeRuntimeError(automation::RuntimeError::subscript,
                                           L"value " + std::to_wstring(position + 1));
    return columns[position];
}

/// The value that a text was read as, or run-time error 13, with the text's place and the session's
/// source and ticker, for a text that could not be read.
double Readable(std::optional<double> value, std::wstring_view place, std::string_view text,
                _CSession* session);

}  // namespace vtdl
