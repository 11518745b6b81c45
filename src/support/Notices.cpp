#include "support/Notices.h"

#include <windows.h>

namespace vtdl {
namespace {

bool HasVisibleWindowStation() {
    USEROBJECTFLAGS flags{};
    return GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags,
                                     nullptr) &&
           (flags.dwFlags & WSF_VISIBLE);
}

}  // namespace

std::optional<CErrorHandler::Answer> ShowMessageBox(const std::wstring& text) {
    if (!HasVisibleWindowStation()) return std::nullopt;
    switch (MessageBoxW(nullptr, text.c_str(), L"Vestora Download Library",
                        MB_ABORTRETRYIGNORE | MB_ICONERROR | MB_SETFOREGROUND | MB_TASKMODAL)) {
        case IDABORT:
            return CErrorHandler::abort;
        case IDRETRY:
            return CErrorHandler::retry;
        case IDIGNORE:
            return CErrorHandler::ignore;
        default:
            return std::nullopt;
    }
}

void WriteEventLog(const std::wstring& text) {
    const HANDLE source = RegisterEventSourceW(nullptr, L"VTDL");
    if (!source) automation::ThrowLastError(L"RegisterEventSource");
    const wchar_t* strings[] = {text.c_str()};
    const BOOL written =
        ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr);
    DeregisterEventSource(source);
    if (!written) automation::ThrowLastError(L"ReportEvent");
}

}  // namespace vtdl
