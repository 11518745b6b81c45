#include "support/LogFile.h"

#include <windows.h>

#include "automation/Error.h"
#include "automation/UniqueHandle.h"
#include "support/DataFolder.h"

namespace vtdl {
namespace {

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
