// Shows how a host uses the library without registration: its application manifest
// (host.exe.manifest) names the library's assembly, which lies beside the program
// (VTDL33.dll and Vestora.VTDL.manifest). The code is that of any late-bound host.
//
//     x86_64-w64-mingw32-g++-posix -static -o host.exe host.cpp -lole32 -loleaut32 -luuid
//
// It prints how many data sources there are, and exits with 0.

#include <windows.h>

#include <oleauto.h>

#include <cstdio>
#include <stdexcept>

namespace {

void Check(HRESULT hr, const char* what) {
    if (SUCCEEDED(hr)) return;
    char text[100];
    std::snprintf(text, sizeof text, "%s failed: 0x%08lX", what, static_cast<unsigned long>(hr));
    throw std::runtime_error(text);
}

VARIANT Property(IDispatch* object, const wchar_t* name) {
    DISPID member = 0;
    LPOLESTR names = const_cast<LPOLESTR>(name);
    DISPPARAMS none{};
    VARIANT value;
    VariantInit(&value);
    Check(object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &member), "the name");
    Check(object->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value,
                         nullptr, nullptr),
          "the property");
    return value;
}

void Run() {
    CLSID classId;
    IDispatch* manager = nullptr;
    Check(CLSIDFromProgID(L"vtdl.CManager", &classId), "finding vtdl.CManager");
    Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                           reinterpret_cast<void**>(&manager)),
          "creating vtdl.CManager");
    VARIANT sources = Property(manager, L"DataSources");
    const VARIANT count = Property(sources.pdispVal, L"Count");
    std::printf("%ld data sources\n", count.lVal);
    VariantClear(&sources);
    manager->Release();
}

}  // namespace

int main() {
    int status = 0;
    CoInitialize(nullptr);
    try {
        Run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "host: %s\n", error.what());
        status = 1;
    }
    CoUninitialize();
    return status;
}
