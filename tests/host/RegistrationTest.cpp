// What the library writes into the registry, and that it takes all of it back.

#include <algorithm>
#include <iterator>

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

// The names of the keys in which the library writes. A key of its own that is left, or one of
// somebody else that is missing, shows here.
std::vector<std::wstring> Registry() {
    std::vector<std::wstring> names;
    const auto list = [&](HKEY root, const std::wstring& path) {
        HKEY key = nullptr;
        if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
        wchar_t name[512];
        for (DWORD i = 0;; ++i) {
            DWORD size = ARRAYSIZE(name);
            if (RegEnumKeyExW(key, i, name, &size, nullptr, nullptr, nullptr, nullptr)) break;
            names.push_back((root == HKEY_CURRENT_USER ? L"user " : L"machine ") + path + L"\\" +
                            name);
        }
        RegCloseKey(key);
    };
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
        for (const wchar_t* path : {L"", L"\\CLSID", L"\\Interface", L"\\TypeLib"})
            list(root, std::wstring(L"Software\\Classes") + path);
    list(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application");
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::wstring> Difference(const std::vector<std::wstring>& a,
                                     const std::vector<std::wstring>& b) {
    std::vector<std::wstring> lines;
    std::set_symmetric_difference(a.begin(), a.end(), b.begin(), b.end(),
                                  std::back_inserter(lines));
    return lines;
}

class RegistrationTest : public HostTest {
protected:
    RegistrationTest() : m_module(LoadLibraryW(Environment(L"VTDL_DLL").c_str())) {}
    ~RegistrationTest() override { FreeLibrary(m_module); }

    HRESULT Call(const char* name) const {
        using Function = HRESULT(STDAPICALLTYPE*)();
        return reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(m_module, name)))();
    }

    HRESULT Install(BOOL install, const wchar_t* commandLine) const {
        using Function = HRESULT(STDAPICALLTYPE*)(BOOL, LPCWSTR);
        return reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(m_module, "DllInstall")))(install, commandLine);
    }

    HMODULE m_module;
};

constexpr const wchar_t* classes[] = {
    L"CManager",
    L"CDataSources",
    L"CDataSource",
    L"CDataSourceYahooHitorical",
    L"CDataSourceYahooDividends",
    L"CDataSourceGoogleHitorical",
    L"CDataSourceYahooRealTime",
    L"CDataSourceYahooSnapShot",
    L"CDataSourceYahooECNRealTime",
    L"CDataSourceYahooOptions",
    L"CDataSourcePCQuote",
    L"CDataSourcePifin",
    L"CDataSourceCBOE",
    L"CDataSourceIVolatility",
    L"CDataSourceINOExchanges",
    L"CDataSourceINOFuturesList",
    L"CDataSourceINOSnapShot",
    L"CDataSourceINOOptions",
    L"CDataSourceDDE",
    L"CParameter",
    L"CParameters",
    L"CDataField",
    L"CDataFields",
    L"CData",
    L"CSession",
    L"CSessions",
    L"IProgressCallBack",
    L"CXMLSettings",
};

TEST_F(RegistrationTest, EveryClassIsCreatableByItsNames) {
    for (const std::wstring name : classes) {
        const std::wstring progId = L"vtdl." + name;
        CLSID classId, versioned;
        Check(CLSIDFromProgID(progId.c_str(), &classId), "CLSIDFromProgID");
        Check(CLSIDFromProgID((progId + L".4").c_str(), &versioned), "CLSIDFromProgID");
        EXPECT_EQ(classId, versioned);
        EXPECT_TRUE(Create<IDispatch>(progId));
        EXPECT_EQ(ReadText(HKEY_CLASSES_ROOT, progId + L"\\CurVer"), progId + L".4");
        wchar_t text[40];
        StringFromGUID2(classId, text, ARRAYSIZE(text));
        const std::wstring key = std::wstring(L"CLSID\\") + text;
        EXPECT_EQ(ReadText(HKEY_CLASSES_ROOT, key + L"\\ProgID"), progId + L".4");
        EXPECT_EQ(ReadText(HKEY_CLASSES_ROOT, key + L"\\VersionIndependentProgID"), progId);
        EXPECT_EQ(ReadText(HKEY_CLASSES_ROOT, key + L"\\InprocServer32", L"ThreadingModel"),
                  L"Apartment");
    }
}

TEST_F(RegistrationTest, TypeLibrariesAreFoundThroughTheRegistry) {
    const auto manager = Create<IDispatch>(L"vtdl.CManager");
    ComPtr<ITypeInfo> type;
    ComPtr<ITypeLib> library, registered, timer;
    TLIBATTR* attributes = nullptr;
    UINT index = 0;
    Check(manager->GetTypeInfo(0, 0, type.put()));
    Check(type->GetContainingTypeLib(library.put(), &index));
    Check(library->GetLibAttr(&attributes));
    EXPECT_EQ(LoadRegTypeLib(attributes->guid, 4, 1, 0, registered.put()), S_OK);
    library->ReleaseTLibAttr(attributes);
    const std::wstring key = L"Interface\\{88D95670-6EFA-4105-AFC1-E062E46A88B0}";  // _CManager
    EXPECT_EQ(ReadText(HKEY_CLASSES_ROOT, key), L"_CManager");
    EXPECT_EQ(ReadText(HKEY_CLASSES_ROOT, key + L"\\TypeLib", L"Version"), L"4.1");
    Check(LoadTypeLibEx((Environment(L"VTDL_DLL") + L"\\2").c_str(), REGKIND_NONE, timer.put()));
}

TEST_F(RegistrationTest, UnregisteringLeavesTheRegistryAsItWas) {
    ASSERT_EQ(Install(FALSE, L"user"), S_OK);  // what an earlier installation may have left
    const std::vector<std::wstring> registered = Registry();
    ASSERT_EQ(Call("DllUnregisterServer"), S_OK);
    const std::vector<std::wstring> before = Registry();
    EXPECT_GT(Difference(registered, before).size(), 80U);

    ASSERT_EQ(Install(TRUE, L"user"), S_OK);
    const std::vector<std::wstring> written = Difference(before, Registry());
    EXPECT_GT(written.size(), 80U);
    for (const std::wstring& name : written)
        EXPECT_TRUE(name.starts_with(L"user ")) << name.c_str();
    ASSERT_EQ(Install(FALSE, L"user"), S_OK);
    EXPECT_EQ(Difference(before, Registry()), std::vector<std::wstring>());

    // A folder for settings that users may write to, unless one is chosen.
    const std::wstring settings = L"Software\\Vestora\\VTDL";
    const std::wstring own = Environment(L"LOCALAPPDATA") + L"\\Vestora\\VTDL";
    for (const std::wstring chosen : {L"", L"X:\\chosen"}) {
        EXPECT_EQ(ReadText(HKEY_CURRENT_USER, settings, L"DataFolder"), L"(none)");
        ASSERT_EQ(Install(TRUE, L"user"), S_OK);
        EXPECT_EQ(ReadText(HKEY_CURRENT_USER, settings, L"DataFolder"), own);
        if (!chosen.empty())
            RegSetKeyValueW(HKEY_CURRENT_USER, settings.c_str(), L"DataFolder", REG_SZ,
                            chosen.c_str(),
                            static_cast<DWORD>((chosen.size() + 1) * sizeof(wchar_t)));
        ASSERT_EQ(Install(FALSE, L"user"), S_OK);
    }
    EXPECT_EQ(ReadText(HKEY_CURRENT_USER, settings, L"DataFolder"), L"X:\\chosen");
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Vestora");

    ASSERT_EQ(Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, settings, L"DataFolder"), own);
    EXPECT_EQ(Difference(registered, Registry()), std::vector<std::wstring>());
    ASSERT_EQ(Call("DllRegisterServer"), S_OK) << "twice";
    EXPECT_EQ(Install(TRUE, L"everybody"), E_INVALIDARG);
}

}  // namespace
}  // namespace vtdl::tests
