#include "support/Notices.h"

#include <windows.h>

#include "EventMessages.h"
#include "automation/PerApartment.h"
#include "support/frmErrorMessage.h"

namespace vtdl {

bool HasVisibleWindowStation() {
    USEROBJECTFLAGS flags{};
    return GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags,
                                     nullptr) &&
           (flags.dwFlags & WSF_VISIBLE);
}

namespace {

automation::PerApartment<bool> isQuestionOpen;

// One question at a time.
template <class Question>
std::optional<CErrorHandler::Answer> AskOnce(Question&& question) {
    bool& isOpen = *isQuestionOpen;
    if (isOpen || !HasVisibleWindowStation()) return std::nullopt;
    isOpen = true;
    struct Closing {
        bool& isOpen;
        ~Closing() { isOpen = false; }
    } const closing{isOpen};
    return question();
}

}  // namespace

std::optional<CErrorHandler::Answer> ShowMessageBox(const std::wstring& text) {
    return AskOnce([&]() -> std::optional<CErrorHandler::Answer> {
        switch (MessageBoxW(GetActiveWindow(), text.c_str(), L"Vestora Download Library",
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
    });
}

std::optional<CErrorHandler::Answer> ShowErrorDialog(const std::wstring& text,
                                                     const std::wstring& supportMail) {
    return AskOnce([&]() -> std::optional<CErrorHandler::Answer> {
        frmErrorMessage form;
        form.SupportMail(supportMail);
        form.ErrorMessage(text);
        if (!form.ShowModal()) return std::nullopt;
        if (form.Result() == L"ABORT") return CErrorHandler::abort;
        return form.Result() == L"RETRY" ? CErrorHandler::retry : CErrorHandler::ignore;
    });
}

void WriteEventLog(const std::wstring& text) {
    const HANDLE source = RegisterEventSourceW(nullptr, L"VTDL");
    if (!source) automation::ThrowLastError(L"RegisterEventSource");
    const wchar_t* strings[] = {text.c_str()};
    const BOOL written = ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, VTDL_ERROR_REPORT, nullptr, 1,
                                      0, strings, nullptr);
    DeregisterEventSource(source);
    if (!written) automation::ThrowLastError(L"ReportEvent");
}

}  // namespace vtdl
