// The module: class factories, unloading, version.

#include <fstream>

#include "Host.h"

namespace vtdl::tests {
namespace {

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();

class Module {
public:
    Module() : m_handle(LoadLibraryW(Environment(L"VTDL_DLL").c_str())) {
        if (!m_handle) throw std::runtime_error("the library cannot be loaded");
    }
    ~Module() { FreeLibrary(m_handle); }

    template <class Function>
    Function Find(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_handle, name)));
    }

private:
    HMODULE m_handle;
};

class ServerTest : public HostTest {};

TEST_F(ServerTest, MayBeUnloadedOnlyWhenNothingIsAlive) {
    const Module module;
    const auto canUnload = module.Find<CanUnloadNow>("DllCanUnloadNow");
    ASSERT_TRUE(canUnload);
    EXPECT_EQ(canUnload(), S_OK);
    auto manager = Create<_CManager>(L"vtdl.CManager");
    ComPtr<_CDataSources> sources;
    Check(manager->get_DataSources(sources.put()));
    EXPECT_EQ(canUnload(), S_FALSE);
    manager.reset();
    EXPECT_EQ(canUnload(), S_FALSE) << "a collection is still held";
    sources.reset();
    EXPECT_EQ(canUnload(), S_OK);
}

TEST_F(ServerTest, IsUnloadedWhenComAsksForIt) {
    Create<_CManager>(L"vtdl.CManager").reset();
    ASSERT_TRUE(GetModuleHandleW(L"VTDL33.dll"));
    // Twice: with a delay of its own, COM unloads what it found unused before.
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_FALSE(GetModuleHandleW(L"VTDL33.dll"));
    Create<_CManager>(L"vtdl.CManager").reset();  // and loaded again
}

// Of a host that needs neither manager nor adapter.
TEST_F(ServerTest, TheFirstObjectAppliesTheErrorHandlersSettings) {
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    ASSERT_FALSE(GetModuleHandleW(L"VTDL33.dll"));
    const std::wstring before = Environment(L"VTDL_DATA");
    SetEnvironmentVariableW(L"VTDL_DATA", L".");
    std::ofstream("VTDL33.Settings.xml")
        << "<sections name=\"XML settings file\"><section name=\"errorhandler\">"
           "<key name=\"actions\">2</key><key "
           "name=\"errorlog\">first.txt</key></section></sections>";
    {
        const auto parameters = Create<_CParameters>(L"vtdl.CParameters");
        Value unknown(L"unknown");
        Check(parameters->Remove(&unknown));
    }
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    SetEnvironmentVariableW(L"VTDL_DATA", before.c_str());
    EXPECT_TRUE(DeleteFileW(L"first.txt")) << "the error was reported elsewhere";
    DeleteFileW(L"VTDL33.Settings.xml");
}

// A host of the same compiler may have the shared unwinder, which the library does not use.
TEST_F(ServerTest, CatchesItsExceptionsBesideTheHostsUnwinder) {
    if (sizeof(void*) == 8) GTEST_SKIP() << "64-bit programs have the system's";
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    ASSERT_FALSE(GetModuleHandleW(L"VTDL33.dll"));
    const HMODULE unwinder = LoadLibraryW(L"libgcc_s_dw2-1.dll");
    ASSERT_TRUE(unwinder) << "run.sh puts it here";
    {
        const auto parameters = Create<_CParameters>(L"vtdl.CParameters");
        Value unknown(L"unknown");
        Check(parameters->Remove(&unknown));
    }
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    FreeLibrary(unwinder);
}

TEST_F(ServerTest, FactoriesRefuseAggregationAndUnknownClasses) {
    const Module module;
    const auto getClassObject = module.Find<GetClassObject>("DllGetClassObject");
    const auto canUnload = module.Find<CanUnloadNow>("DllCanUnloadNow");
    ComPtr<IClassFactory> factory;
    Check(getClassObject(__uuidof(::CData), __uuidof(IClassFactory),
                         reinterpret_cast<void**>(factory.put())));
    ComPtr<_CData> data;
    EXPECT_EQ(factory->CreateInstance(factory.get(), __uuidof(_CData),
                                      reinterpret_cast<void**>(data.put())),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(
        factory->CreateInstance(nullptr, __uuidof(_CSession), reinterpret_cast<void**>(data.put())),
        E_NOINTERFACE);
    EXPECT_FALSE(data);
    Check(factory->LockServer(TRUE));
    factory.reset();
    EXPECT_EQ(canUnload(), S_FALSE) << "the server is locked";
    Check(getClassObject(__uuidof(::CData), __uuidof(IClassFactory),
                         reinterpret_cast<void**>(factory.put())));
    Check(factory->LockServer(FALSE));
    factory.reset();
    EXPECT_EQ(canUnload(), S_OK);

    void* object = &object;
    EXPECT_EQ(getClassObject(__uuidof(IUnknown), __uuidof(IClassFactory), &object),
              CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
}

TEST_F(ServerTest, CarriesItsVersion) {
    const std::wstring path = Environment(L"VTDL_DLL");
    std::vector<char> block(GetFileVersionInfoSizeW(path.c_str(), nullptr));
    ASSERT_FALSE(block.empty());
    VS_FIXEDFILEINFO* info = nullptr;
    UINT size = 0;
    ASSERT_TRUE(
        GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &size));
    EXPECT_EQ(info->dwFileVersionMS, MAKELONG(1, 4));
    EXPECT_EQ(info->dwFileVersionLS, 0U);
}

}  // namespace
}  // namespace vtdl::tests
