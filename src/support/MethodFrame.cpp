#include "support/MethodFrame.h"

namespace vtdl {

bool MethodFrame::Ask() {
    switch (gErrorHandler.HandleError({})) {
        case CErrorHandler::retry:
            return true;
        case CErrorHandler::ignore:
            return false;
        case CErrorHandler::abort:
            break;
    }
    // The cleared stack stands for the pop that is skipped.
    gErrorHandler.CallStackClear();
    m_isOver = gErrorHandler.CallStackEnabled();
    throw MethodAbandoned();
}

// Left by an exception, which tells more than a trace line that cannot be written.
MethodFrame::~MethodFrame() {
    if (m_isOver) return;
    try {
        gErrorHandler.CallStackPop();
    } catch (const automation::Error&) {
        return;
    }
}

}  // namespace vtdl
