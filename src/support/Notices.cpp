#include "support/Notices.h"

#include <windows.h>

namespace vtdl {
namespace {

bool hasVisibleWindowStation() {
    USEROBJECTFLAGS flags{};
    return GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags,
                                     nullptr) &&
           (flags.dwFlags & WSF_VISIBLE);
}

}  // namespace

std::optional<CErrorHandler::Answer> showMessageBox(const std::wstring& text) {
    if (!hasVisibleWindowStation()) return std::nullopt;
    switch (MessageBoxW(nullptr, text.c_str(), L"Vestora Download Library",
                        MB_ABORTRETRYIGNORE | MB_ICONERROR | MB_SETFOREGROUND | MB_TASKMODAL)) {
        case IDABORT: return CErrorHandler::abort;
        case IDRETRY: return CErrorHandler::retry;
        case IDIGNORE: return CErrorHandler::ignore;
        default: return std::nullopt;
    }
}

void writeEventLog(const std::wstring& text) {
    const HANDLE source = RegisterEventSourceW(nullptr, L"VTDL");
    if (!source) automation::throwLastError(L"RegisterEventSource");
    const wchar_t* strings[] = {text.c_str()};
    const BOOL written =
        ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr);
    DeregisterEventSource(source);
    if (!written) automation::throwLastError(L"ReportEvent");
}

}  // namespace vtdl
