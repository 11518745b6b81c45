// How DDE sessions of the registered library keep up with a server in a second process:
//
//     bench_dde PATH_OF_DDE_SERVER
//
// Needs a display. Prints how many advised values of a second arrive, in which order, and what a
// hundred sessions that poll cost. script/bench runs it.
#include <vtdl.h>

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Timing.h"
#include "automation/Bstr.h"
#include "automation/ComPtr.h"

namespace {

using namespace vtdl;
using automation::Bstr;
using automation::ComPtr;

void Check(HRESULT hr) {
    if (FAILED(hr)) throw std::runtime_error("call failed: " + std::to_string(hr));
}

VARIANT Argument(const Bstr& text) {
    VARIANT argument;
    argument.vt = VT_BSTR;
    argument.bstrVal = text.get();
    return argument;
}

/// A sink that lives on the stack.
class Sink final : public _IProgressCallBack {
public:
    std::function<void()> onData;

    STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
        const bool isKnown = id == __uuidof(_IProgressCallBack) || id == __uuidof(IDispatch) ||
                             id == __uuidof(IUnknown);
        *object = isKnown ? this : nullptr;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
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
    STDMETHODIMP Start(IUnknown**) noexcept override { return S_OK; }
    STDMETHODIMP Progress(IUnknown**, long, BSTR*) noexcept override { return S_OK; }
    STDMETHODIMP DataReady(IUnknown**) noexcept override {
        onData();
        return S_OK;
    }
    STDMETHODIMP Done(IUnknown**, long) noexcept override { return S_OK; }
};

class Server {
public:
    explicit Server(const std::string& path) {
        HANDLE read = nullptr, write = nullptr;
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        CreatePipe(&read, &write, &inherited, 0);
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = write;
        std::string command = "\"" + path + "\" BENCH " + std::to_string(GetCurrentProcessId());
        CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &startup, &m_process);
        CloseHandle(write);
        char line[16];
        DWORD size = 0;
        ReadFile(read, line, sizeof line, &size, nullptr);
        CloseHandle(read);
        if (size == 0) throw std::runtime_error(path + " does not start");
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server() { PostThreadMessageW(m_process.dwThreadId, WM_QUIT, 0, 0); }

private:
    PROCESS_INFORMATION m_process{};
};

ComPtr<_CDataSource> Source() {
    CLSID classId;
    ComPtr<_CDataSource> source;
    Check(CLSIDFromProgID(L"vtdl.CDataSourceDDE", &classId));
    Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(_CDataSource),
                           reinterpret_cast<void**>(source.put())));
    return source;
}

ComPtr<_CSession> Session(_CDataSource* source, const wchar_t* item, const wchar_t* type,
                          Sink& sink) {
    ComPtr<_CSession> session;
    ComPtr<_CParameters> parameters;
    Check(source->CreateSession(session.put()));
    Check(session->get_Parameters(parameters.put()));
    for (const auto& [name, value] : {std::pair{L"SERVICE", L"BENCH"},
                                      {L"TOPIC", L"QUOTES"},
                                      {L"ITEM", item},
                                      {L"TYPE", type},
                                      {L"PERIOD", L"100"}}) {
        const Bstr key(name), text(value);
        VARIANT index = Argument(key);
        ComPtr<_CParameter> parameter;
        Check(parameters->Item(&index, parameter.put()));
        Check(parameter->put_Value(Argument(text)));
    }
    Check(session->putref_Progressor(&sink));
    return session;
}

/// The number behind "#" in what the session has read last; 0 when there is none.
long NumberIn(_CSession* session) {
    ComPtr<_CData> data;
    ComPtr<_CParameters> values;
    ComPtr<_CParameter> block;
    ComPtr<_CDataField> field;
    const Bstr name(L"DATA");
    VARIANT key = Argument(name), content, text;
    Check(session->get_Data(data.put()));
    Check(data->get_Values(values.put()));
    Check(values->Item(&key, block.put()));
    Check(block->get_Value(&content));
    const auto fields = automation::Query<_CDataFields>(content.punkVal);
    VariantClear(&content);
    Check(fields->Item(&key, field.put()));
    Check(field->get_Data(&text));
    const wchar_t* const number = wcschr(text.bstrVal, L'#');
    const long result = number ? wcstol(number + 1, nullptr, 10) : 0;
    VariantClear(&text);
    return result;
}

/// A host's message loop.
template <class Condition>
void RunWhile(double seconds, const Condition& condition) {
    const auto end = GetTickCount64() + static_cast<ULONGLONG>(seconds * 1e3);
    while (condition() && GetTickCount64() < end) {
        MsgWaitForMultipleObjectsEx(0, nullptr, 10, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    }
}

void MeasureAdvises(_CDataSource* source, const char* what, const wchar_t* item, long count) {
    Sink sink;
    const auto session = Session(source, item, L"HOTADVISE", sink);
    long arrived = 0, last = 0, outOfOrder = 0;
    sink.onData = [&] {
        const long number = NumberIn(session.get());
        if (number <= last) ++outOfOrder;
        last = number;
        ++arrived;
    };
    const double seconds = bench::Seconds([&] {
        Check(session->Start());
        RunWhile(30, [&] { return last < count; });
    });
    Check(session->Done());
    std::printf("hot link, %s: %ld of %ld arrived, %ld lost, %ld out of order, %.0f a second\n",
                what, arrived, count, count - arrived, outOfOrder,
                static_cast<double>(arrived) / seconds);
}

/// Seconds of processor time of this process so far; Wine tells no other process's.
double ProcessorTime() {
    FILETIME created, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    const auto seconds = [](const FILETIME& time) {
        return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) *
               1e-7;
    };
    return seconds(kernel) + seconds(user);
}

void MeasurePolling(_CDataSource* source) {
    constexpr int count = 100;
    constexpr double period = 0.1, length = 10;
    Sink sink;
    long ticks = 0;
    sink.onData = [&] { ++ticks; };
    std::vector<ComPtr<_CSession>> sessions;
    for (int i = 0; i < count; ++i) {
        sessions.push_back(Session(source, L"COUNT", L"TIMER", sink));
        Check(sessions.back()->Start());
    }
    RunWhile(2, [] { return true; });  // the conversations are made
    ticks = 0;
    const double before = ProcessorTime();
    const double seconds = bench::Seconds([&] { RunWhile(length, [] { return true; }); });
    const double share = (ProcessorTime() - before) / seconds;
    for (const auto& session : sessions) Check(session->Done());
    std::printf("%d sessions every %.0f ms: %.0f readings a second of %.0f, %.1f%% of one core\n",
                count, period * 1e3, static_cast<double>(ticks) / seconds, count / period,
                share * 100);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_dde PATH_OF_DDE_SERVER\n");
        return 2;
    }
    Check(CoInitialize(nullptr));
    const Server server(argv[1]);
    const ComPtr<_CDataSource> source = Source();
    MeasureAdvises(source.get(), "1,000 a second for 5 s", L"RATE 1000 5000", 5000);
    MeasureAdvises(source.get(), "as fast as the server can", L"RATE 0 20000", 20'000);
    MeasurePolling(source.get());
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "bench_dde: %s\n", error.what());
    return 1;
}
