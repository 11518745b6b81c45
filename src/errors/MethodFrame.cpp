#include "errors/MethodFrame.h"

namespace vtdl {

bool MethodFrame::Step(automation::FunctionRef<void()> statement, std::source_location at) {
    while (!Succeeds(statement, at))
        if (Ask() != CErrorHandler::retry) return false;
    return true;
}

void MethodFrame::Run(automation::FunctionRef<void(MethodFrame&)> body, std::source_location at) {
    if (!Succeeds([&] { body(*this); }, at)) {
        Ask();
        throw MethodAbandoned();
    }
    Leave();
}

void MethodFrame::RunStatement(automation::FunctionRef<void()> statement, std::source_location at) {
    Step(statement, at);
    Leave();
}

void MethodFrame::Leave() {
    m_isOver = true;
    m_handler.CallStackPop();
}

// The question shows windows and pumps messages, so it is asked when the exception is over.
bool MethodFrame::Succeeds(automation::FunctionRef<void()> statement,
                           const std::source_location& at) {
    try {
        statement();
        return true;
    } catch (const MethodAbandoned&) {
        throw;
    } catch (const HandlerFailure&) {
        throw;
    } catch (...) {
        m_handler.SetPendingError(automation::CurrentError(), static_cast<long>(at.line()));
        return false;
    }
}

CErrorHandler::Answer MethodFrame::Ask() {
    CErrorHandler::Answer answer = CErrorHandler::abort;
    try {
        answer = m_handler.HandleError({});
    } catch (const automation::Error& error) {
        throw HandlerFailure(error.Code(), error.Source(), error.Description());
    }
    if (answer != CErrorHandler::abort) return answer;
    // The cleared stack stands for the pop that is skipped.
    m_handler.CallStackClear();
    m_isOver = m_handler.CallStackEnabled();
    throw MethodAbandoned();
}

// Left by an exception, which tells more than a trace line that cannot be written.
MethodFrame::~MethodFrame() {
    if (m_isOver) return;
    try {
        m_handler.CallStackPop();
    } catch (const automation::Error&) {
        return;
    }
}

namespace {

template <class Run>
HRESULT InFrame(std::wstring_view routine, Run&& run) noexcept {
    try {
        MethodFrame frame(routine);
        run(frame);
        return S_OK;
    } catch (const MethodAbandoned&) {
        return S_OK;
    } catch (...) {
        return automation::Raise(automation::CurrentError());
    }
}

}  // namespace

HRESULT RunFramed(std::wstring_view routine, automation::FunctionRef<void(MethodFrame&)> body,
                  const std::source_location& at) noexcept {
    return InFrame(routine, [&](MethodFrame& frame) { frame.Run(body, at); });
}

HRESULT RunFramed(std::wstring_view routine, automation::FunctionRef<void()> body,
                  const std::source_location& at) noexcept {
    return InFrame(routine, [&](MethodFrame& frame) { frame.RunStatement(body, at); });
}

HRESULT RunUntrapped(std::wstring_view routine,
                     automation::FunctionRef<void(const wchar_t*)> body) noexcept {
    try {
        const MethodFrame frame(routine);
        body(routine.data());
        return S_OK;
    } catch (...) {
        return automation::Raise(automation::CurrentError());
    }
}

}  // namespace vtdl
