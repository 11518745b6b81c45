#include "support/MethodFrame.h"

namespace vtdl {

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

}  // namespace vtdl
