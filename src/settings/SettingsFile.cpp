#include "settings/SettingsFile.h"

#include <windows.h>

#include <sddl.h>

#include <cstdlib>
#include <vector>

#include "automation/Error.h"
#include "automation/UniqueHandle.h"

namespace vtdl::settings {
namespace {

using LocalMemory = automation::UniqueHandle<HLOCAL, LocalFree>;

// The user's security identifier as text; empty when the system does not tell it.
std::wstring UserIdentifier() {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return {};
    const automation::UniqueHandle<HANDLE, CloseHandle> token(opened);
    alignas(TOKEN_USER) char buffer[256];
    DWORD size = 0;
    LPWSTR text = nullptr;
    if (!GetTokenInformation(token.get(), TokenUser, buffer, sizeof buffer, &size) ||
        !ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, &text))
        return {};
    const LocalMemory owner(text);
    return text;
}

// Empty when it cannot be made.
automation::FileHandle NewPrivateFile(const std::wstring& name) {
    const std::wstring user = UserIdentifier();
    // Protected from what the folder would hand down.
    const std::wstring rights = L"D:P(A;;FA;;;" + user + L")(A;;FA;;;SY)(A;;FA;;;BA)";
    PSECURITY_DESCRIPTOR made = nullptr;
    const bool isKnown = !user.empty() && ConvertStringSecurityDescriptorToSecurityDescriptorW(
                                              rights.c_str(), SDDL_REVISION_1, &made, nullptr);
    const LocalMemory descriptor(made);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, made, FALSE};
    return automation::FileHandle(CreateFileW(name.c_str(), GENERIC_WRITE, 0,
                                              isKnown ? &attributes : nullptr, CREATE_NEW,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

// A file system without rights has none to give.
void CopyRights(const std::wstring& from, const std::wstring& to) {
    DWORD size = 0;
    GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<char> descriptor(size);
    if (size != 0 &&
        GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size))
        SetFileSecurityW(to.c_str(), DACL_SECURITY_INFORMATION, descriptor.data());
}

bool WriteAll(const automation::FileHandle& file, std::string_view bytes) {
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD written = 0;
    // A disk that becomes full may take a part, which counts as success.
    return file && WriteFile(file.get(), bytes.data(), size, &written, nullptr) && written == size;
}

// Beside the file, under a name that nobody knows beforehand.
std::wstring TemporaryName(const std::wstring& fileName) {
    unsigned numbers[2] = {};
    for (unsigned& number : numbers)
        if (rand_s(&number) != 0) automation::ThrowLastError(L"rand_s");
    wchar_t suffix[30];
    std::swprintf(suffix, ARRAYSIZE(suffix), L".%08x%08x.tmp", numbers[0], numbers[1]);
    return fileName + suffix;
}

// A virus scanner or a cloud folder may hold a file for a moment, and so does who just made it.
template <class Action>
bool Persistently(Action&& action) {
    for (int attempt = 1; !action(); ++attempt) {
        const DWORD error = GetLastError();
        const bool isHeld = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION;
        if (!isHeld || attempt == 5) return false;
        Sleep(50);
    }
    return true;
}

bool MoveTo(const std::wstring& from, const std::wstring& to, DWORD flags) {
    return Persistently(
        [&] { return MoveFileExW(from.c_str(), to.c_str(), flags | MOVEFILE_WRITE_THROUGH); });
}

// Nobody is kept out: whoever loads or replaces it meanwhile has to come through.
automation::FileHandle OpenShared(const std::wstring& name, DWORD access) {
    constexpr DWORD all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return automation::FileHandle(CreateFileW(name.c_str(), access, all, nullptr, OPEN_EXISTING,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

std::optional<std::uint64_t> SizeOfFile(const std::wstring& name) {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(name.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return std::nullopt;
    if (!FindClose(search)) automation::ThrowLastError(L"FindClose");
    return (static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
}

std::optional<std::string> ReadWholeFile(const std::wstring& name) {
    automation::FileHandle file;
    if (!Persistently([&] { return bool(file = OpenShared(name, GENERIC_READ)); }))
        return std::nullopt;
    std::string bytes(GetFileSize(file.get(), nullptr), '\0');
    DWORD count = 0;
    if (!ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr))
        return std::nullopt;
    bytes.resize(count);
    return bytes;
}

bool WriteNewFile(const std::wstring& name, std::string_view bytes) {
    const automation::FileHandle there = OpenShared(name, GENERIC_WRITE);
    if (there) return GetFileSize(there.get(), nullptr) > 0 || WriteAll(there, bytes);
    const std::wstring temporary = TemporaryName(name);
    bool isMade = WriteAll(NewPrivateFile(temporary), bytes);
    isMade = isMade && MoveTo(temporary, name, 0);
    DeleteFileW(temporary.c_str());
    return isMade || SizeOfFile(name).value_or(0) > 0;
}

bool ReplaceWholeFile(const std::wstring& name, std::string_view bytes, bool isPrivate) {
    // Windows refuses to replace a read-only file; Wine 8 does not.
    const DWORD attributes = GetFileAttributesW(name.c_str());
    const bool isThere = attributes != INVALID_FILE_ATTRIBUTES;
    if (isThere && (attributes & FILE_ATTRIBUTE_READONLY)) return false;
    const std::wstring temporary = TemporaryName(name);
    automation::FileHandle file = NewPrivateFile(temporary);
    if (!file) return false;
    bool isSaved = WriteAll(file, bytes);
    file.reset();
    if (isSaved) {
        if (isThere && !isPrivate) CopyRights(name, temporary);
        isSaved = MoveTo(temporary, name, MOVEFILE_REPLACE_EXISTING);
    }
    if (!isSaved) DeleteFileW(temporary.c_str());
    return isSaved;
}

}  // namespace vtdl::settings
