// Times the registered library side by side with the same work done without it.
//
//     bench_library --write-data FOLDER     writes the tables that the quote server has to serve
//     bench_library PORT                    runs against the quote server on that port
//     bench_library --peer PORT TICKER RUNS downloads a table as one of bench/peers
//     bench_library --peer PORT TICKER RUNS is one of bench/peers
//     bench_library --traced-gets           property gets with tracing on, as the settings say
//
// The settings file has to name the same server for every service. script/bench does all of it.
#include <vtdl.h>

#include <psapi.h>
#include <wininet.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <numeric>
#include <stdexcept>
#include <string>

#include "Timing.h"
#include "automation/Bstr.h"
#include "automation/ComPtr.h"
#include "text/CalendarDate.h"

namespace {

using namespace vtdl;
using automation::Bstr;
using automation::ComPtr;

constexpr int shortTable = 16'000;
constexpr int longTable = 160'000;
constexpr int chainLines = 25'000;
constexpr int firstDay = 4000;  // an automation date in 1910

void Check(HRESULT hr) {
    if (SUCCEEDED(hr)) return;
    char text[40];
    std::snprintf(text, sizeof text, "call failed: 0x%08lX", hr);
    throw std::runtime_error(text);
}

void WriteTable(const std::string& path, int rows) {
    std::ofstream file(path, std::ios::binary);
    file << "Date,Open,High,Low,Close,Volume,Adj Close\n";
    for (int row = rows; row-- > 0;) {
        const text::CalendarDate date = text::ToCalendarDate((firstDay + row) % 2'900'000);
        const int price = 2000 + (row * 7919) % 18000;  // cents
        char line[120];
        std::snprintf(line, sizeof line,
                      "%04d-%02d-%02d,%d.%02d,%d.%02d,%d.%02d,%d.%02d,%d,%d.%02d\n", date.year,
                      date.month, date.day, price / 100, price % 100, price / 100 + 1, price % 100,
                      price / 100 - 1, price % 100, price / 100, (price + 50) % 100,
                      1'000'000 + row * 37, price / 200, price % 100);
        file << line;
    }
    if (!file) throw std::runtime_error("cannot write " + path);
}

// An option chain of the usual shape and length: a line a strike and exchange.
void WriteChain(const std::string& path, int lines) {
    std::ofstream file(path, std::ios::binary);
    file << "CHAIN (CHAIN INC),109.80,-0.03,\r\n"
            "Nov 04 2016 @ 14:35 ET,Bid,109.79,Ask,109.80,Size,13x6,Vol,20523482,\r\n"
            "Calls,Last Sale,Net,Bid,Ask,Vol,Open Int,Puts,Last Sale,Net,Bid,Ask,Vol,Open Int,\r\n";
    for (int line = 0; line < lines; ++line) {
        const int strike = 50 + line / 12;
        char text[160];
        std::snprintf(text, sizeof text,
                      "%02d Nov %d.00 (CHAIN1604K%d-%X),%d.%02d,0.0,%d.45,%d.10,%d,%d,"
                      "%02d Nov %d.00 (CHAIN1604W%d-%X),0.0,+0.14, , ,%d,%d,\r\n",
                      16 + line / 9000, strike, strike, line % 12, line % 40, line % 100, line % 39,
                      line % 41, line % 7, line % 4000, 16 + line / 9000, strike, strike, line % 12,
                      line % 9, line % 5000);
        file << text;
    }
    if (!file) throw std::runtime_error("cannot write " + path);
}

void Pump() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

// The request that the library makes for a whole table, with the calls, the block size and the
// pumping of its client; the bytes are read and dropped.
std::size_t ReadRaw(INTERNET_PORT port, const std::string& resource, std::string form = {}) {
    const HINTERNET internet = InternetOpenA("", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
    Pump();
    DWORD timeout = 300'000;
    for (const DWORD option : {2UL, 6UL, 5UL, 6UL, 5UL, 8UL, 7UL})
        InternetSetOptionA(internet, option, &timeout, sizeof timeout);
    const HINTERNET connection = InternetConnectA(internet, "127.0.0.1", port, nullptr, nullptr,
                                                  INTERNET_SERVICE_HTTP, 0, 0);
    Pump();
    char block[4096];
    DWORD size = sizeof block;
    InternetCanonicalizeUrlA(resource.c_str(), block, &size, ICU_BROWSER_MODE);
    const HINTERNET request =
        HttpOpenRequestA(connection, form.empty() ? nullptr : "POST", resource.c_str(), "HTTP/1.0",
                         nullptr, nullptr, INTERNET_FLAG_RELOAD, 0);
    Pump();
    constexpr char formHeader[] = "Content-Type: application/x-www-form-urlencoded";
    if (!HttpSendRequestA(request, form.empty() ? nullptr : formHeader,
                          form.empty() ? 0 : sizeof formHeader - 1, form.data(),
                          static_cast<DWORD>(form.size())))
        throw std::runtime_error("raw read failed");
    Pump();
    for (const DWORD what :
         {HTTP_QUERY_CONTENT_TYPE, HTTP_QUERY_CONTENT_LENGTH, HTTP_QUERY_REQUEST_METHOD}) {
        size = sizeof block;
        HttpQueryInfoA(request, what, block, &size, nullptr);
    }
    Pump();
    std::size_t total = 0;
    for (;;) {
        DWORD read = 0;
        if (!InternetReadFile(request, block, sizeof block, &read)) read = 0;
        Pump();
        if (read == 0) break;
        total += read;
    }
    for (const HINTERNET handle : {request, connection, internet}) InternetCloseHandle(handle);
    Pump();
    return total;
}

std::string ResourceOf(const std::string& ticker) {
    return "/table.csv?&s=" + ticker + "&a=0&b=1&c=1900&d=11&e=31&f=2900&g=d&ignore=.csv";
}

class Downloads {
public:
    explicit Downloads(const wchar_t* sourceName = L"YAHOOHIST") {
        CLSID classId;
        Check(CLSIDFromProgID(L"vtdl.CManager", &classId));
        Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(_CManager),
                               reinterpret_cast<void**>(m_manager.put())));
        ComPtr<_CDataSources> sources;
        Check(m_manager->get_DataSources(sources.put()));
        VARIANT key;
        const Bstr name(sourceName);
        key.vt = VT_BSTR;
        key.bstrVal = name.get();
        Check(sources->Item(&key, m_source.put()));
    }

    /// Downloads an option chain; false when nothing came. The results are kept: freeing them is
    /// not the download's time.
    bool RunChain(const wchar_t* ticker) {
        ComPtr<_CSession> session;
        ComPtr<_CParameters> parameters;
        ComPtr<_CData> data;
        long count = 0;
        Check(m_source->CreateSession(session.put()));
        Check(session->get_Parameters(parameters.put()));
        Set(parameters.get(), L"TICKER", ticker);
        Check(session->Start());
        m_kept.push_back(session);
        Check(session->get_Data(data.put()));
        Check(data->get_Values(parameters.put()));
        Check(parameters->get_Count(&count));
        return count == 3;
    }

    /// Downloads a whole table and returns its last adjusted close.
    double Run(const wchar_t* ticker) const {
        double last = 0;
        Run(ticker, L"True", {L"ADJ.CLOSE"},
            [&](const double* values, std::size_t count) { last = values[count - 1]; });
        return last;
    }

    /// The same, and returns the sum of its numbers as they were sent.
    double Sum(const wchar_t* ticker) const {
        double sum = 0;
        Run(ticker, L"False", {L"OPEN", L"HIGH", L"LOW", L"CLOSE", L"VOLUME", L"ADJ.CLOSE"},
            [&](const double* values, std::size_t count) {
                sum = std::accumulate(values, values + count, sum);
            });
        return sum;
    }

private:
    static ComPtr<_CParameter> Item(_CParameters* parameters, const wchar_t* name) {
        const Bstr text(name);
        VARIANT key;
        key.vt = VT_BSTR;
        key.bstrVal = text.get();
        ComPtr<_CParameter> parameter;
        Check(parameters->Item(&key, parameter.put()));
        return parameter;
    }

    static void Set(_CParameters* parameters, const wchar_t* name, const wchar_t* value) {
        const Bstr text(value);
        VARIANT argument;
        argument.vt = VT_BSTR;
        argument.bstrVal = text.get();
        Check(Item(parameters, name)->put_Value(argument));
    }

    template <class Use>
    void Run(const wchar_t* ticker, const wchar_t* isAdjusted,
             std::initializer_list<const wchar_t*> columns, const Use& use) const {
        ComPtr<_CSession> session;
        ComPtr<_CParameters> parameters;
        Check(m_source->CreateSession(session.put()));
        Check(session->get_Parameters(parameters.put()));
        Set(parameters.get(), L"TICKER", ticker);
        Set(parameters.get(), L"STARTDATE", L"1900-01-01");
        Set(parameters.get(), L"ENDDATE", L"2900-12-31");
        Set(parameters.get(), L"ADJUST VALUES", isAdjusted);
        Check(session->Start());
        ComPtr<_CData> data;
        ComPtr<_CParameters> blocks;
        Check(session->get_Data(data.put()));
        if (!data) throw std::runtime_error("the download delivered nothing");
        Check(data->get_Values(blocks.put()));
        VARIANT block;
        Check(Item(blocks.get(), L"HISTORICAL")->get_Value(&block));
        const auto fields = automation::Query<_CDataFields>(block.punkVal);
        VariantClear(&block);
        for (const wchar_t* name : columns) {
            const Bstr text(name);
            VARIANT key, column;
            key.vt = VT_BSTR;
            key.bstrVal = text.get();
            ComPtr<_CDataField> field;
            Check(fields->Item(&key, field.put()));
            Check(field->get_Data(&column));
            use(static_cast<const double*>(column.parray->pvData),
                column.parray->rgsabound[0].cElements);
            VariantClear(&column);
        }
    }

    ComPtr<_CManager> m_manager;
    ComPtr<_CDataSource> m_source;
    std::vector<ComPtr<_CSession>> m_kept;
};

// The same property without a frame around it.
class UnframedData final : public _CData {
public:
    STDMETHODIMP QueryInterface(REFIID, void**) noexcept override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
    STDMETHODIMP_(ULONG) Release() noexcept override { return 1; }
    STDMETHODIMP GetTypeInfoCount(UINT*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                        UINT*) noexcept override {
        return E_NOTIMPL;
    }
    STDMETHODIMP get_Values(_CParameters** result) noexcept override {
        if (!result) return E_POINTER;
        m_values->AddRef();
        *result = m_values.get();
        return S_OK;
    }

    ComPtr<_CParameters> m_values;
};

void GetOften(_CData* data, int calls) {
    for (int i = 0; i < calls; ++i) {
        _CParameters* values = nullptr;
        Check(data->get_Values(&values));
        values->Release();
    }
}

// With tracing on, by the settings of a manager, each framed call writes two lines.
void CompareGets(bool isTracing) {
    const int calls = isTracing ? 10 : 10'000;
    CLSID classId;
    ComPtr<_CData> framed;
    Check(CLSIDFromProgID(L"vtdl.CData", &classId));
    Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(_CData),
                           reinterpret_cast<void**>(framed.put())));
    UnframedData unframed;
    Check(framed->get_Values(unframed.m_values.put()));
    auto [with, without] = bench::MedianSecondsInTurns(
        201, [&] { GetOften(framed.get(), calls); }, [&] { GetOften(&unframed, calls); });
    with *= 1e9 / calls;
    without *= 1e9 / calls;
    std::printf("property get, tracing %s: framed %.1f ns, unframed %.1f ns, difference %.1f ns\n",
                isTracing ? "on" : "off", with, without, with - without);
}

double Megabytes(SIZE_T bytes) { return static_cast<double>(bytes) / 1e6; }

PROCESS_MEMORY_COUNTERS Memory() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters;
}

void CompareChain(INTERNET_PORT port) {
    Downloads chains(L"CBOE");
    const std::string page = "/DelayedQuote/QuoteTableDownload.aspx";
    const std::string form = "__VIEWSTATE=" + std::string(8543, 'x') + "&a%24txtTicker=CHAIN";
    const std::size_t bytes = ReadRaw(port, page, form);
    const auto [raw, full] = bench::MedianSecondsInTurns(
        21, [&] { ReadRaw(port, page, form); },
        [&] {
            if (!chains.RunChain(L"CHAIN")) throw std::runtime_error("no option chain came");
        });
    std::printf(
        "option chain of %d lines, %.1f MB: download %.1f ms, raw read %.1f ms, ratio %.2f\n",
        chainLines, Megabytes(bytes), full * 1e3, raw * 1e3, full / raw);
}

// What a host waits for: the library loaded, a manager with its settings, what the manager lists,
// the same again in a process that has both, and the library unloaded. Then what of it the
// platform takes when it is asked for the same alone.
void MeasureLife() {
    CLSID classId, dataId;
    ComPtr<_CData> data;
    ComPtr<_CManager> manager, second;
    ComPtr<_CDataSources> sources;
    const auto create = [&](ComPtr<_CManager>& created) {
        Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(_CManager),
                               reinterpret_cast<void**>(created.put())));
    };
    Check(CLSIDFromProgID(L"vtdl.CManager", &classId));
    Check(CLSIDFromProgID(L"vtdl.CData", &dataId));
    const double load = bench::Seconds([&] {
        Check(CoCreateInstance(dataId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(_CData),
                               reinterpret_cast<void**>(data.put())));
    });
    const double first = bench::Seconds([&] { create(manager); });
    const double list = bench::Seconds([&] { Check(manager->get_DataSources(sources.put())); });
    OLECHAR name[] = L"DataSources";
    LPOLESTR names = name;
    DISPID id = 0;
    const double typed = bench::Seconds(
        [&] { Check(manager->GetIDsOfNames(GUID{}, &names, 1, LOCALE_USER_DEFAULT, &id)); });
    const double again = bench::Seconds([&] { create(second); });
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(GetModuleHandleW(L"VTDL33.dll"), path, MAX_PATH);
    const double unload = bench::Seconds([&] {
        sources = {};
        second = {};
        manager = {};
        data = {};
        CoFreeUnusedLibrariesEx(0, 0);
        CoFreeUnusedLibrariesEx(0, 0);
    });
    std::printf(
        "ms: library loaded, first object %.2f; manager %.2f; its sources %.2f; first call by "
        "name %.2f; second manager %.2f; all released and unloaded %.2f (%s)\n",
        load * 1e3, first * 1e3, list * 1e3, typed * 1e3, again * 1e3, unload * 1e3,
        GetModuleHandleW(L"VTDL33.dll") ? "still there" : "gone");

    const double module = bench::Seconds([&] { FreeLibrary(LoadLibraryW(path)); });
    const double types = bench::Seconds([&] {
        ComPtr<ITypeLib> library;
        Check(LoadTypeLibEx(path, REGKIND_NONE, library.put()));
    });
    const double parser = bench::Seconds([&] {
        ComPtr<IUnknown> document;
        CLSID parserId;
        Check(CLSIDFromProgID(L"Msxml2.FreeThreadedDOMDocument.3.0", &parserId));
        Check(CoCreateInstance(parserId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IUnknown),
                               reinterpret_cast<void**>(document.put())));
    });
    std::printf(
        "ms, each alone: the module loaded and freed %.2f; its type library read %.2f; an XML "
        "document made, in a parser loaded before %.2f\n",
        module * 1e3, types * 1e3, parser * 1e3);
}

int Run(INTERNET_PORT port) {
    Check(CoInitialize(nullptr));
    MeasureLife();
    const Downloads downloads;
    downloads.Run(L"SHORT");  // chooses the server, and warms up
    const SIZE_T before = Memory().WorkingSetSize;
    const double last = downloads.Run(L"LONG");
    const SIZE_T peak = Memory().PeakWorkingSetSize - before;
    const std::size_t bytes = ReadRaw(port, ResourceOf("LONG"));
    const std::size_t columns = std::size_t{longTable} * 7 * sizeof(double);
    if (last == 0) throw std::runtime_error("the last row is empty");
    std::printf("%d rows: reply %.1f MB, columns %.1f MB, peak memory %.1f MB (%.2f of both)\n",
                longTable, Megabytes(bytes), Megabytes(columns), Megabytes(peak),
                static_cast<double>(peak) / static_cast<double>(bytes + columns));

    const auto [raw, full, fullLong] = bench::MedianSecondsInTurns(
        21, [&] { ReadRaw(port, ResourceOf("SHORT")); }, [&] { downloads.Run(L"SHORT"); },
        [&] { downloads.Run(L"LONG"); });
    std::printf("%d rows: download %.1f ms, raw read %.1f ms, ratio %.2f\n", shortTable, full * 1e3,
                raw * 1e3, full / raw);
    std::printf("%d rows: download %.1f ms, %.2f times as long as %d\n", longTable, fullLong * 1e3,
                fullLong / full, shortTable);
    CompareChain(port);
    CompareGets(false);
    return 0;
}

// Prints lines of a name, the median seconds, and the sum of the table's numbers.
int BePeer(INTERNET_PORT port, const std::string& ticker, int runs) {
    Check(CoInitialize(nullptr));
    const Downloads downloads;
    const std::wstring wide(ticker.begin(), ticker.end());
    double sum = 0;
    const auto [full, raw] = bench::MedianSecondsInTurns(
        runs, [&] { sum = downloads.Sum(wide.c_str()); },
        [&] { ReadRaw(port, ResourceOf(ticker)); });
    std::printf("ours, 32-bit, Wine\t%.9f\t%.17g\n", full, sum);
    std::printf("the same bytes read raw, 32-bit, Wine\t%.9f\t%.17g\n", raw, sum);
    return 0;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc == 3 && std::string(argv[1]) == "--write-data") {
        WriteTable(std::string(argv[2]) + "/SHORT.csv", shortTable);
        WriteTable(std::string(argv[2]) + "/LONG.csv", longTable);
        WriteChain(std::string(argv[2]) + "/CHAIN.options.csv", chainLines);
        return 0;
    }
    if (argc == 5 && std::string(argv[1]) == "--peer")
        return BePeer(static_cast<INTERNET_PORT>(std::atoi(argv[2])), argv[3], std::atoi(argv[4]));
    if (argc == 2 && std::string(argv[1]) == "--traced-gets") {
        Check(CoInitialize(nullptr));
        const Downloads manager;  // applies the settings, which turn tracing on
        CompareGets(true);
        return 0;
    }
    if (argc != 2) {
        std::fprintf(stderr, "usage: see the head of bench_library.cpp\n");
        return 2;
    }
    return Run(static_cast<INTERNET_PORT>(std::atoi(argv[1])));
} catch (const std::exception& error) {
    std::fprintf(stderr, "bench_library: %s\n", error.what());
    return 1;
}
