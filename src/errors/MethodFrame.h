#pragma once
// The frame that every method runs in: its place on the call stack, and the question what to do
// about a statement that failed.

#include <vtdl.h>

#include <source_location>
#include <type_traits>

#include "automation/Error.h"
#include "automation/Object.h"
#include "errors/CErrorHandler.h"
#include "text/FixedString.h"

namespace vtdl {

/// Leaves a framed method whose failure was answered with "abort".
struct MethodAbandoned {};

/// The error handler itself failed; unlike what it handles, that reaches the method's caller.
struct HandlerFailure : automation::Error {
    using Error::Error;
};

/// A method's entry on the call stack. Statements that can fail run through Step(), each of them a
/// single action that can safely be run again.
class MethodFrame {
public:
    explicit MethodFrame(std::wstring_view routineName) {
        m_handler.CallStackPush(routineName, {});
    }
    MethodFrame(const MethodFrame&) = delete;
    MethodFrame& operator=(const MethodFrame&) = delete;
    ~MethodFrame();

    /// Runs the statement, again for every "retry". False when it failed and was ignored; leaves
    /// the method on "abort".
    bool Step(automation::FunctionRef<void()> statement,
              std::source_location at = std::source_location::current());

    /// Runs a whole method body. What fails outside every step cannot be run again, nor can the
    /// method go on behind it: any answer leaves the method.
    void Run(automation::FunctionRef<void(MethodFrame&)> body, std::source_location at);

    /// The same for a body that is a single statement.
    void RunStatement(automation::FunctionRef<void()> statement, std::source_location at);

private:
    void Leave();

    bool Succeeds(automation::FunctionRef<void()> statement, const std::source_location& at);
    CErrorHandler::Answer Ask();  ///< "retry" or "ignore"; throws MethodAbandoned for "abort"

    CErrorHandler& m_handler = gErrorHandler();
    bool m_isOver = false;
};

/// Runs a method body inside a frame, under a routine's name that outlives it. A body that takes
/// the frame has several statements; one that takes nothing is a single statement. Abandoned
/// methods succeed with the result they have so far; only a failure of the error handler itself
/// reaches the caller.
HRESULT RunFramed(std::wstring_view routine, automation::FunctionRef<void(MethodFrame&)> body,
                  const std::source_location& at) noexcept;
HRESULT RunFramed(std::wstring_view routine, automation::FunctionRef<void()> body,
                  const std::source_location& at) noexcept;
template <class Body>
HRESULT Framed(std::wstring_view routine, Body&& body,
               std::source_location at = std::source_location::current()) noexcept {
    using Statements =
        std::conditional_t<std::is_invocable_v<Body&, MethodFrame&>, void(MethodFrame&), void()>;
    return RunFramed(routine, automation::FunctionRef<Statements>(body), at);
}

/// The same for a member of a class.
template <text::FixedString Class, text::FixedString Member, class Body>
HRESULT Framed(Body&& body, std::source_location at = std::source_location::current()) noexcept {
    return Framed(text::RoutineName<Class, Member>::value, body, at);
}

/// For what is raised to the caller: on the call stack, but nobody is asked about its
/// errors. The body is given the routine's name, which ends with a null: the source of what it
/// raises.
HRESULT RunUntrapped(std::wstring_view routine,
                     automation::FunctionRef<void(const wchar_t*)> body) noexcept;

template <text::FixedString Class, text::FixedString Member, class Body>
HRESULT Untrapped(Body&& body) noexcept {
    return RunUntrapped(text::RoutineName<Class, Member>::value, body);
}

/// Base of the automation classes whose members are framed. D::className is the class's name.
template <class D, class Coclass, class Default, class... More>
class FramedObject : public automation::Object<D, Coclass, Default, More...> {
protected:
    template <text::FixedString Member, class Body>
    static HRESULT Framed(Body&& body,
                          std::source_location at = std::source_location::current()) noexcept {
        return vtdl::Framed<D::className, Member>(body, at);
    }

    template <text::FixedString Member, class Body>
    static HRESULT Untrapped(Body&& body) noexcept {
        return vtdl::Untrapped<D::className, Member>(body);
    }

    /// A framed member with a result: cleared first, and again when the call fails after all,
    /// because callers do not look at the results of failed calls.
    template <text::FixedString Member, class Result, class Body>
    static HRESULT FramedResult(
        Result* result, Body&& body,
        std::source_location at = std::source_location::current()) noexcept {
        if (!result) return automation::NullReference();
        *result = Result{};
        const HRESULT hr = vtdl::Framed<D::className, Member>(body, at);
        if (FAILED(hr)) Discard(result);
        return hr;
    }

private:
    template <class Result>
    static void Discard(Result* result) noexcept {
        if constexpr (std::is_same_v<Result, VARIANT>) {
            VariantClear(result);
        } else if constexpr (std::is_same_v<Result, BSTR>) {
            SysFreeString(*result);
        } else if constexpr (std::is_same_v<Result, vtdlSessionError>) {
            SysFreeString(result->ErrorDescription);
        } else if constexpr (std::is_pointer_v<Result>) {
            if (*result) (*result)->Release();
        }
        *result = Result{};
    }
};

}  // namespace vtdl
