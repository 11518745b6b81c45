#pragma once
// The library's one exception, and its two ways across the COM boundary.

#include <windows.h>

#include <oaidl.h>

#include <exception>
#include <string>
#include <string_view>

#include "automation/FunctionRef.h"

namespace vtdl::automation {

class Error : public std::exception {
public:
    Error(HRESULT code, std::wstring source, std::wstring description)
        : m_code(code), m_source(std::move(source)), m_description(std::move(description)) {}

    HRESULT Code() const noexcept { return m_code; }
    const std::wstring& Source() const noexcept { return m_source; }
    const std::wstring& Description() const noexcept { return m_description; }
    const char* what() const noexcept override;

    /// The number that hosts show: run-time errors (0x800A0000 + n) as n, others as they are.
    long Number() const noexcept;

private:
    HRESULT m_code;
    std::wstring m_source;
    std::wstring m_description;
};

/// The automation run-time errors that the library raises.
enum class RuntimeError {
    invalidCall = 5,
    overflow = 6,
    subscript = 9,
    typeMismatch = 13,
    outOfStack = 28,
    objectNotSet = 91,
    duplicateKey = 457
};

/// The run-time error with its usual text; a detail, such as the text that is no number, is
/// appended.
Error MakeRuntimeError(RuntimeError number, std::wstring_view detail = {});

/// Throws what a failed call left: its error information, else the system's text for the code.
void Check(HRESULT hr);

/// The same for a platform conversion, whose failures are run-time errors.
void CheckConversion(HRESULT hr, std::wstring_view detail = {});

/// Throws the system error of a failed call, with the call's name.
[[noreturn]] void ThrowLastError(const wchar_t* call);

/// The exception being handled, whatever its type, as an Error.
Error CurrentError() noexcept;

/// Leaves the error on the thread as error information and returns its code.
HRESULT Raise(const Error& error) noexcept;

/// Fills the record in which a call by name reports its error, and returns what says so.
HRESULT Report(const Error& error, EXCEPINFO& exception) noexcept;

/// Runs the body of a member that raises its errors to the caller.
HRESULT Raising(FunctionRef<void()> body) noexcept;

/// E_POINTER, the answer to a null reference: without error information, be it an earlier call's.
HRESULT NullReference() noexcept;

}  // namespace vtdl::automation
