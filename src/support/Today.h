#pragma once

#include <windows.h>

#include "text/CalendarDate.h"

namespace vtdl {

/// Today's date in the user's time zone, as an automation date.
inline double Today() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return text::ToAutomationDate({now.wYear, now.wMonth, now.wDay}).value_or(0);
}

}  // namespace vtdl
