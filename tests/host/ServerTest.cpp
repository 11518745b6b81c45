// The module: class factories, unloading, version.

#include <fstream>

#include "Host.h"

namespace vtdl::tests {
namespace {

class ServerTest : public HostTest {
protected:
    /// Twice: with a delay of its own, COM unloads what it found unused before.
    static bool IsUnloaded() {
        for (int time = 0; time < 2; ++time) CoFreeUnusedLibrariesEx(0, 0);
        return !GetModuleHandleW(L"VTDL33.dll");
    }
    /// An error that a method reports.
    static void Fail() { Get(Create<IDispatch>(L"CParameters"), L"Remove", {L"unknown"}); }
};

TEST_F(ServerTest, IsUnloadedWhenNothingIsAlive) {
    auto manager = Create<_CManager>(L"CManager");
    auto sources = Read(manager, &_CManager::get_DataSources);
    manager = nullptr;
    EXPECT_EQ(Call("DllCanUnloadNow"), S_FALSE) << "a collection is still held";
    sources = nullptr;
    EXPECT_EQ(Call("DllCanUnloadNow"), S_OK);
    EXPECT_TRUE(IsUnloaded());
    Create<_CManager>(L"CManager");  // and loaded again
}

// Of a host that needs neither manager nor adapter.
TEST_F(ServerTest, TheFirstObjectAppliesTheErrorHandlersSettings) {
    ASSERT_TRUE(IsUnloaded());
    const std::wstring before = Environment(L"VTDL_DATA");
    SetEnvironmentVariableW(L"VTDL_DATA", L".");
    std::ofstream("VTDL33.Settings.xml")
        << "<sections name=\"XML settings file\"><section name=\"errorhandler\"><key "
           "name=\"actions\">2</key><key name=\"errorlog\">first.txt</key></section></sections>";
    Fail();
    EXPECT_TRUE(IsUnloaded());
    SetEnvironmentVariableW(L"VTDL_DATA", before.c_str());
    EXPECT_TRUE(DeleteFileW(L"first.txt")) << "the error was reported elsewhere";
    DeleteFileW(L"VTDL33.Settings.xml");
}

// A host of the same compiler may have the shared unwinder, which the library does not use.
TEST_F(ServerTest, CatchesItsExceptionsBesideTheHostsUnwinder) {
    if (sizeof(void*) == 8) GTEST_SKIP() << "64-bit programs have the system's";
    ASSERT_TRUE(IsUnloaded());
    const HMODULE unwinder = LoadLibraryW(L"libgcc_s_dw2-1.dll");
    ASSERT_TRUE(unwinder) << "run.sh puts it here";
    Fail();
    EXPECT_TRUE(IsUnloaded());
    FreeLibrary(unwinder);
}

TEST_F(ServerTest, FactoriesRefuseAggregationAndUnknownClasses) {
    const HMODULE held = LoadLibraryW(Environment(L"VTDL_DLL").c_str());
    void* object = &object;
    Ptr<IClassFactory> factory;
    const auto get = [&](REFCLSID id) {
        return Call<REFCLSID, REFIID, void**>("DllGetClassObject", id, __uuidof(IClassFactory),
                                              reinterpret_cast<void**>(&factory));
    };
    for (const BOOL locks : {TRUE, FALSE}) {
        ASSERT_EQ(get(__uuidof(::CData)), S_OK);
        EXPECT_EQ(factory->CreateInstance(factory, __uuidof(_CData), &object),
                  CLASS_E_NOAGGREGATION);
        EXPECT_EQ(object, nullptr);
        EXPECT_EQ(factory->LockServer(locks), S_OK);
        factory = nullptr;
        EXPECT_EQ(Call("DllCanUnloadNow"), locks ? S_FALSE : S_OK);
    }
    EXPECT_EQ(get(__uuidof(IUnknown)), CLASS_E_CLASSNOTAVAILABLE);
    FreeLibrary(held);
}

}  // namespace
}  // namespace vtdl::tests
