#pragma once
// The frame that every method runs in: its place on the call stack, and the question what to do
// about a statement that failed.

#include <source_location>
#include <type_traits>

#include "automation/Error.h"
#include "automation/Object.h"
#include "support/CErrorHandler.h"
#include "text/FixedString.h"

namespace vtdl {

/// Leaves a framed method whose failure was answered with "abort".
struct MethodAbandoned {};

/// A method's entry on the call stack. Statements that can fail run through Step(), each of them a
/// single action that can safely be run again.
class MethodFrame {
public:
    explicit MethodFrame(std::wstring_view routineName) {
        gErrorHandler.CallStackPush(routineName, {});
    }
    MethodFrame(const MethodFrame&) = delete;
    MethodFrame& operator=(const MethodFrame&) = delete;
    ~MethodFrame();

    /// Ends the frame of a method that ran to its end.
    void Leave() {
        m_isOver = true;
        gErrorHandler.CallStackPop();
    }

    /// Runs the statement, again for every "retry". False when it failed and was ignored; leaves
    /// the method on "abort".
    template <class Statement>
    bool Step(Statement&& statement, std::source_location at = std::source_location::current()) {
        for (;;) {
            try {
                statement();
                return true;
            } catch (const MethodAbandoned&) {
                throw;
            } catch (...) {
                gErrorHandler.SetPendingError(automation::CurrentError(),
                                              static_cast<long>(at.line()));
            }
            // The question pumps messages and may show a window: it is asked outside the handler.
            if (!Ask()) return false;
        }
    }

private:
    bool Ask();  ///< true for "retry", false for "ignore"; throws MethodAbandoned for "abort"

    bool m_isOver = false;
};

/// Runs a method body inside a frame. A body that takes the frame has several statements; one that
/// takes nothing is a single statement. Abandoned methods succeed with the result they have so far;
/// an error outside every statement, or of the error handler itself, reaches the caller.
template <text::FixedString Class, text::FixedString Member, class Body>
HRESULT Framed(Body&& body, std::source_location at = std::source_location::current()) noexcept {
    try {
        MethodFrame frame(text::RoutineName<Class, Member>::value);
        if constexpr (std::is_invocable_v<Body&, MethodFrame&>)
            body(frame);
        else
            frame.Step(body, at);
        frame.Leave();
        return S_OK;
    } catch (const MethodAbandoned&) {
        return S_OK;
    } catch (...) {
        return automation::Raise(automation::CurrentError());
    }
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

    /// A framed member with a result: cleared first, so that it is defined whatever happens.
    template <text::FixedString Member, class Result, class Body>
    static HRESULT FramedResult(
        Result* result, Body&& body,
        std::source_location at = std::source_location::current()) noexcept {
        if (!result) return E_POINTER;
        *result = Result{};
        return vtdl::Framed<D::className, Member>(body, at);
    }
};

}  // namespace vtdl
