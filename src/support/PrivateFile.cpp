#include "support/PrivateFile.h"

#include <windows.h>

#include <sddl.h>

#include "automation/UniqueHandle.h"

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

bool MakePrivateFile(const std::wstring& name) noexcept {
    SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, FALSE};
    LocalMemory descriptor;
    try {
        const std::wstring user = UserIdentifier();
        const std::wstring rights =
            L"D:P(A;;FA;;;" + user + L")(A;;FA;;;SY)(A;;FA;;;BA)";  // protected from the folder's
        PSECURITY_DESCRIPTOR made = nullptr;
        if (!user.empty() && ConvertStringSecurityDescriptorToSecurityDescriptorW(
                                 rights.c_str(), SDDL_REVISION_1, &made, nullptr))
            descriptor = LocalMemory(made);
    } catch (...) {
        return false;
    }
    attributes.lpSecurityDescriptor = descriptor.get();
    const automation::FileHandle file(CreateFileW(name.c_str(), GENERIC_WRITE, 0, &attributes,
                                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return static_cast<bool>(file);
}

}  // namespace vtdl
