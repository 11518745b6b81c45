#include "errors/Notices.h"

#include <windows.h>

#include "EventMessages.h"
#include "automation/Environment.h"
#include "automation/PerApartment.h"
#include "automation/UniqueHandle.h"
#include "errors/frmErrorMessage.h"

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

automation::FileHandle Open(const std::wstring& fileName) {
    return automation::FileHandle(CreateFileW(fileName.c_str(), FILE_APPEND_DATA | FILE_READ_DATA,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool IsPlain(const std::wstring& fileName) {
    return fileName.find_first_of(L"\\/:") == std::wstring::npos;
}

std::wstring InDataFolder(const std::wstring& fileName) { return DataFolder() + L"\\" + fileName; }

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

void DeleteLog(const std::wstring& fileName) noexcept {
    try {
        DeleteFileW(fileName.c_str());
        if (IsPlain(fileName)) DeleteFileW(InDataFolder(fileName).c_str());
    } catch (...) {
        return;  // it stays
    }
}

void AppendToLog(const std::wstring& fileName, std::wstring_view text) {
    const std::wstring record = std::wstring(text) + L"\r\n";
    const int length = static_cast<int>(record.size());
    std::string bytes(static_cast<std::size_t>(length) * 3, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, record.data(), length, bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);

    // A program may have been started where its user cannot write.
    automation::FileHandle file = Open(fileName);
    if (!file && IsPlain(fileName)) file = Open(InDataFolder(fileName));
    if (!file) automation::ThrowLastError(L"CreateFile");
    // Wine 8 seeks to the end and then writes; the lock keeps another process out meanwhile. It
    // lies beyond every log's end, where it hinders no reader, and ends with the handle. What
    // cannot be locked (NUL, a pipe) is written to all the same.
    OVERLAPPED place{};
    place.OffsetHigh = 0x7FFFFFFF;
    LockFileEx(file.get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place);
    DWORD written = 0;
    if (!WriteFile(file.get(), bytes.data(), static_cast<DWORD>(size), &written, nullptr))
        automation::ThrowLastError(L"WriteFile");
}

}  // namespace vtdl
