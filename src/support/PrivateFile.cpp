#include "support/PrivateFile.h"

#include <windows.h>

#include <sddl.h>

#include <vector>

namespace vtdl {
namespace {

struct LocalTraits {
    using Handle = HLOCAL;
    static Handle Null() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { LocalFree(handle); }
};
using LocalMemory = automation::UniqueHandle<LocalTraits>;

struct TokenTraits {
    using Handle = HANDLE;
    static Handle Null() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { CloseHandle(handle); }
};

// The user's security identifier as text; empty when the system does not tell it.
std::wstring UserIdentifier() {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return {};
    const automation::UniqueHandle<TokenTraits> token(opened);
    alignas(TOKEN_USER) char buffer[256];
    DWORD size = 0;
    LPWSTR text = nullptr;
    if (!GetTokenInformation(token.get(), TokenUser, buffer, sizeof buffer, &size) ||
        !ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, &text))
        return {};
    const LocalMemory owner(text);
    return text;
}

}  // namespace

automation::FileHandle OpenPrivateFile(const std::wstring& name, DWORD disposition) {
    const std::wstring user = UserIdentifier();
    // Protected from what the folder would hand down.
    const std::wstring rights = L"D:P(A;;FA;;;" + user + L")(A;;FA;;;SY)(A;;FA;;;BA)";
    PSECURITY_DESCRIPTOR made = nullptr;
    const bool isKnown = !user.empty() && ConvertStringSecurityDescriptorToSecurityDescriptorW(
                                              rights.c_str(), SDDL_REVISION_1, &made, nullptr);
    const LocalMemory descriptor(made);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, made, FALSE};
    return automation::FileHandle(CreateFileW(name.c_str(), GENERIC_WRITE, 0,
                                              isKnown ? &attributes : nullptr, disposition,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

void CopyRights(const std::wstring& from, const std::wstring& to) {
    DWORD size = 0;
    GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<char> descriptor(size);
    if (size != 0 &&
        GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size))
        SetFileSecurityW(to.c_str(), DACL_SECURITY_INFORMATION, descriptor.data());
}

}  // namespace vtdl
