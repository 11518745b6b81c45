// Shows how C++ downloads prices through the library's vtables, with nothing but the type library:
//
//   cl /std:c++20 /EHsc prices.cpp            (Visual C++, which imports the type library itself)
//   i686-w64-mingw32-g++ -std=c++20 -municode -I FOLDER_OF_vtdl.h prices.cpp -o prices.exe -lole32
//       -loleaut32 -luuid -static             (MinGW-w64, with the header that the build makes)
//
//   prices [TICKER [STARTDATE ENDDATE]]       dates are written 2008-09-15
#include <windows.h>

#include <oleauto.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#ifdef _MSC_VER
#import "VTDL33.dll" raw_interfaces_only no_namespace
#else
#include <vtdl.h>
#endif

namespace {

// The failed call's own description, when it left one.
void Check(HRESULT hr, const char* what) {
    if (SUCCEEDED(hr)) return;
    char text[100];
    std::snprintf(text, sizeof text, "%s failed: 0x%08lX", what, static_cast<unsigned long>(hr));
    throw std::runtime_error(text);
}

// A reference that is released at its end.
template <class I>
class Ref {
public:
    Ref() = default;
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    ~Ref() {
        if (m_object) m_object->Release();
    }
    I** operator&() { return &m_object; }
    I* operator->() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }

private:
    I* m_object = nullptr;
};

// A variant that is freed at its end; texts convert to what a parameter needs.
struct Value : VARIANT {
    Value() { VariantInit(this); }
    explicit Value(const wchar_t* text) : Value() {
        vt = VT_BSTR;
        bstrVal = SysAllocString(text);
    }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    ~Value() { VariantClear(this); }
};

void Set(_CParameters* parameters, const wchar_t* name, const wchar_t* value) {
    Value key(name), text(value);
    Ref<_CParameter> parameter;
    Check(parameters->Item(&key, &parameter), "Item");
    Check(parameter->put_Value(text), "Value");
}

// Of other forms each country reads another day.
void SetDate(_CParameters* parameters, const wchar_t* name, const std::wstring& date) {
    if (date.size() != 10 || date[4] != L'-' || date[7] != L'-')
        throw std::runtime_error("a date is not written like 2008-09-15");
    Set(parameters, name, date.c_str());
}

void Column(_CDataFields* fields, const wchar_t* name, Value& data) {
    Value key(name);
    Ref<_CDataField> field;
    Check(fields->Item(&key, &field), "Item");
    Check(field->get_Data(&data), "Data");
}

void Print(_CDataFields* fields) {
    Value dates, closes;
    Column(fields, L"DATE", dates);
    Column(fields, L"CLOSE", closes);
    const auto* days = static_cast<const double*>(dates.parray->pvData);
    const auto* values = static_cast<const double*>(closes.parray->pvData);
    // A reply without rows arrives as a single one of the date 0, whose numbers are 0.
    if (days[0] == 0) throw std::runtime_error("no rows");
    for (ULONG row = 0; row < dates.parray->rgsabound[0].cElements; ++row) {
        SYSTEMTIME day;
        VariantTimeToSystemTime(days[row], &day);
        std::printf("%04d-%02d-%02d  %.2f\n", day.wYear, day.wMonth, day.wDay, values[row]);
    }
}

void Download(const wchar_t* ticker, const wchar_t* start, const wchar_t* end) {
    Ref<_CManager> manager;
    Ref<_CDataSources> sources;
    Ref<_CDataSource> source;
    Ref<_CSession> session;
    Ref<_CParameters> parameters, blocks;
    Ref<_CData> data;
    Value key(L"YAHOOHIST");
    Check(CoCreateInstance(__uuidof(CManager), nullptr, CLSCTX_INPROC_SERVER, __uuidof(_CManager),
                           reinterpret_cast<void**>(&manager)),
          "making the manager (is the library registered?)");
    Check(manager->get_DataSources(&sources), "DataSources");
    Check(sources->Item(&key, &source), "Item");
    Check(source->CreateSession(&session), "CreateSession");
    Check(session->get_Parameters(&parameters), "Parameters");
    Set(parameters.operator->(), L"TICKER", ticker);
    SetDate(parameters.operator->(), L"STARTDATE", start);
    SetDate(parameters.operator->(), L"ENDDATE", end);
    Check(session->Start(), "Start");

    vtdlSessionError error{};
    Check(session->get_Error(&error), "Error");
    if (error.ErrorNumber != 0) {
        const char* const form = error.ErrorNumber < 0 ? "%ls (0x%08lX)\n" : "%ls (%lu)\n";
        std::fprintf(stderr, form, error.ErrorDescription,
                     static_cast<unsigned long>(error.ErrorNumber));
        SysFreeString(error.ErrorDescription);
        throw std::runtime_error("the download failed");
    }
    SysFreeString(error.ErrorDescription);
    Check(session->get_Data(&data), "Data");
    if (!data) throw std::runtime_error("no data; see \"Error Log.txt\"");
    Check(data->get_Values(&blocks), "Values");

    Value name(L"HISTORICAL"), block;
    Ref<_CParameter> parameter;
    Ref<_CDataFields> fields;
    Check(blocks->Item(&name, &parameter), "Item");
    Check(parameter->get_Value(&block), "Value");
    Check(block.punkVal->QueryInterface(__uuidof(_CDataFields), reinterpret_cast<void**>(&fields)),
          "the block");
    Print(fields.operator->());
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    CoInitialize(nullptr);
    int status = 0;
    try {
        Download(argc > 1 ? argv[1] : L"AAPL", argc > 3 ? argv[2] : L"2008-09-15",
                 argc > 3 ? argv[3] : L"2008-10-14");
    } catch (const std::exception& e) {
        std::fprintf(stderr, "prices: %s\n", e.what());
        status = 1;
    }
    CoUninitialize();
    return status;
}
