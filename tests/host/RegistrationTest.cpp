// What the library writes into the registry, and that it takes all of it back.

#include <algorithm>
#include <set>

#include "Host.h"

namespace vtdl::tests {
namespace {

std::wstring ReadText(HKEY root, const std::wstring& key, const wchar_t* name = nullptr) {
    wchar_t text[1024];
    DWORD size = sizeof text;
    const LSTATUS status =
        RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size);
    return status == ERROR_SUCCESS ? text : L"(none)";
}

using Keys = std::set<std::wstring>;

// The names of the keys in which the library writes. A key of its own that is left, or one of
// somebody else that is missing, shows here.
Keys Registry() {
    Keys names;
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
        for (const wchar_t* path :
             {L"Software\\Classes", L"Software\\Classes\\CLSID", L"Software\\Classes\\Interface",
              L"Software\\Classes\\TypeLib",
              L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application"}) {
            HKEY key = nullptr;
            if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
            const std::wstring owner = root == HKEY_CURRENT_USER ? L"user " : L"machine ";
            wchar_t name[512];
            for (DWORD i = 0; RegEnumKeyW(key, i, name, ARRAYSIZE(name)) == ERROR_SUCCESS; ++i)
                names.insert(owner + path + L"\\" + name);
            RegCloseKey(key);
        }
    return names;
}

Keys Difference(const Keys& a, const Keys& b) {
    Keys names;
    std::ranges::set_symmetric_difference(a, b, std::inserter(names, names.end()));
    return names;
}

class RegistrationTest : public HostTest {
protected:
    static HRESULT Install(BOOL install) { return Call("DllInstall", install, L"user"); }
};

TEST_F(RegistrationTest, EveryClassIsCreatableByItsNames) {
    Ptr<ITypeInfo> manager;
    Ptr<ITypeLib> library;
    UINT index = 0;
    Create<IDispatch>(L"CManager")->GetTypeInfo(0, 0, &manager);
    manager->GetContainingTypeLib(&library, &index);
    int classes = 0;
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        Ptr<ITypeInfo> type;
        library->GetTypeInfo(i, &type);
        const std::wstring name = NameOf(type);
        if (AttributesOf(type)->typekind != TKIND_COCLASS || name == L"CSessionDDE") continue;
        ++classes;
        EXPECT_TRUE(Create<IDispatch>(name + L".4"));
        EXPECT_TRUE(Create<IDispatch>(name));
    }
    EXPECT_EQ(classes, 28);

    const std::wstring key = ReadText(HKEY_CLASSES_ROOT, L"vtdl.CManager\\CLSID");
    EXPECT_EQ(
        ReadText(HKEY_CLASSES_ROOT, L"CLSID\\" + key + L"\\InprocServer32", L"ThreadingModel"),
        L"Apartment");
    EXPECT_NE(ReadText(HKEY_CLASSES_ROOT, L"CLSID\\" + key + L"\\TypeLib"), L"(none)");
}

TEST_F(RegistrationTest, UnregisteringLeavesTheRegistryAsItWas) {
    ASSERT_EQ(Install(FALSE), S_OK);  // what an earlier installation may have left
    const Keys registered = Registry();
    ASSERT_EQ(Call("DllUnregisterServer"), S_OK);
    const Keys before = Registry();
    EXPECT_GT(Difference(registered, before).size(), 80U);

    // A folder for settings that users may write to, unless one is chosen.
    const std::wstring settings = L"Software\\Vestora\\VTDL";
    const wchar_t chosen[] = L"X:\\chosen";
    const std::wstring own = Environment(L"LOCALAPPDATA") + L"\\Vestora\\VTDL";
    for (const bool isChosen : {false, true}) {
        EXPECT_EQ(ReadText(HKEY_CURRENT_USER, settings, L"DataFolder"), L"(none)");
        ASSERT_EQ(Install(TRUE), S_OK);
        const Keys written = Difference(before, Registry());
        EXPECT_GT(written.size(), 80U);
        for (const std::wstring& name : written) EXPECT_TRUE(name.starts_with(L"user ")) << name;
        EXPECT_EQ(ReadText(HKEY_CURRENT_USER, settings, L"DataFolder"), own);
        if (isChosen)
            RegSetKeyValueW(HKEY_CURRENT_USER, settings.c_str(), L"DataFolder", REG_SZ, chosen,
                            sizeof chosen);
        ASSERT_EQ(Install(FALSE), S_OK);
        EXPECT_EQ(Difference(before, Registry()), Keys());
    }
    EXPECT_EQ(ReadText(HKEY_CURRENT_USER, settings, L"DataFolder"), chosen);
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Vestora");

    for (int time = 0; time < 2; ++time) {
        ASSERT_EQ(Call("DllRegisterServer"), S_OK);
        EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, settings, L"DataFolder"), own);
        EXPECT_EQ(Difference(registered, Registry()), Keys());
    }
    EXPECT_EQ(Call("DllInstall", TRUE, L"everybody"), E_INVALIDARG);
}

}  // namespace
}  // namespace vtdl::tests
