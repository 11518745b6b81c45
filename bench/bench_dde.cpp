// How DDE sessions of the registered library keep up with a server in a second process:
//
//     bench_dde PATH_OF_DDE_SERVER
//
// Needs a display. Prints how many advised values of a second arrive, in which order, and what a
// hundred sessions that poll cost. script/bench runs it.
#include <vtdl.h>

#include <ddeml.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
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
    ~Server() {
        PostThreadMessageW(m_process.dwThreadId, WM_QUIT, 0, 0);
        WaitForSingleObject(m_process.hProcess, 5000);
    }

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

/// The number in what the session has read last, behind "#" or alone; 0 when there is none.
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
    const long result = wcstol(number ? number + 1 : text.bstrVal, nullptr, 10);
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

constexpr int pollers = 100;
constexpr double period = 0.1;

struct Polled {
    double readings;  // a second
    double share;     // of one core
};

/// How often the server has answered so far.
long Answered(_CDataSource* source) {
    Sink sink;
    sink.onData = [] {};
    const auto session = Session(source, L"COUNT", L"REQUEST", sink);
    Check(session->Start());
    const long result = NumberIn(session.get());
    Check(session->Done());
    return result;
}

/// Five seconds of what polls already, after one in which its conversations are made.
Polled Poll(const long& readings) {
    RunWhile(1, [] { return true; });
    const long first = readings;
    const double before = ProcessorTime();
    const double seconds = bench::Seconds([] { RunWhile(5, [] { return true; }); });
    return {static_cast<double>(readings - first) / seconds, (ProcessorTime() - before) / seconds};
}

Polled PollBySessions(_CDataSource* source) {
    Sink sink;
    long readings = 0;
    sink.onData = [&] { ++readings; };
    std::vector<ComPtr<_CSession>> sessions;
    for (int i = 0; i < pollers; ++i) {
        sessions.push_back(Session(source, L"COUNT", L"TIMER", sink));
        Check(sessions.back()->Start());
    }
    const Polled result = Poll(readings);
    for (const auto& session : sessions) Check(session->Done());
    const long answered = Answered(source) - 1;
    if (answered != readings) std::printf("%ld readings of %ld answers\n", readings, answered);
    return result;
}

/// What a host would write without the library: a conversation and a timer for each, and nothing
/// but the request when it fires. The system lets the others' timers fire while one waits.
namespace bare {

long requests = 0, failed = 0;

struct Poller {
    DWORD instance = 0;
    HCONV conversation = nullptr;
    bool isBusy = false;
};
std::vector<Poller> all;

HDDEDATA CALLBACK OnEvent(UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) {
    return nullptr;
}

void CALLBACK OnTimer(HWND, UINT, UINT_PTR id, DWORD) noexcept {
    Poller& poller = all[id - 1];
    if (std::exchange(poller.isBusy, true)) return;
    const HSZ item = DdeCreateStringHandleA(poller.instance, "COUNT", CP_WINANSI);
    const HDDEDATA data = DdeClientTransaction(nullptr, 0, poller.conversation, item, CF_TEXT,
                                               XTYP_REQUEST, 10'000, nullptr);
    DdeFreeStringHandle(poller.instance, item);
    char text[64];
    ++requests;
    if (!data || DdeGetData(data, reinterpret_cast<BYTE*>(text), sizeof text, 0) == 0) ++failed;
    if (data) DdeFreeDataHandle(data);
    poller.isBusy = false;
}

// Wine makes one conversation of an instance with a topic.
void Connect() {
    for (Poller& poller : all = std::vector<Poller>(pollers)) {
        DdeInitializeA(&poller.instance, OnEvent, APPCMD_CLIENTONLY, 0);
        const HSZ service = DdeCreateStringHandleA(poller.instance, "BENCH", CP_WINANSI);
        const HSZ topic = DdeCreateStringHandleA(poller.instance, "QUOTES", CP_WINANSI);
        poller.conversation = DdeConnect(poller.instance, service, topic, nullptr);
        if (!poller.conversation) throw std::runtime_error("no bare conversation");
    }
}

Polled Run() {
    Connect();
    const HWND window =
        CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    for (UINT_PTR id = 1; id <= pollers; ++id)
        SetTimer(window, id, static_cast<UINT>(period * 1e3), OnTimer);
    failed = 0;
    const Polled result = Poll(requests);
    DestroyWindow(window);
    for (const Poller& poller : all) DdeUninitialize(poller.instance);
    return result;
}

}  // namespace bare

// A server under Wine 8 fails after some 16,000 answers: each measurement has its own.
void MeasurePolling(_CDataSource* source, const std::string& path) {
    std::vector<double> ratios;
    for (int round = 0; round < 3; ++round) {
        auto server = std::make_unique<Server>(path);
        const Polled sessions = PollBySessions(source);
        server.reset();
        server = std::make_unique<Server>(path);
        const Polled plain = bare::Run();
        ratios.push_back(sessions.share / sessions.readings / (plain.share / plain.readings));
        std::printf(
            "%d every %.0f ms: of %.0f readings a second sessions %.0f, %.1f%% of one core; bare "
            "client %.0f, %.1f%%, and %ld of them in 6 s without an answer\n",
            pollers, period * 1e3, pollers / period, sessions.readings, sessions.share * 100,
            plain.readings, plain.share * 100, bare::failed);
    }
    std::sort(ratios.begin(), ratios.end());
    std::printf("processor time of a reading beside the bare client's, median: %.2f\n", ratios[1]);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_dde PATH_OF_DDE_SERVER\n");
        return 2;
    }
    Check(CoInitialize(nullptr));
    const ComPtr<_CDataSource> source = Source();
    auto server = std::make_unique<Server>(argv[1]);
    MeasureAdvises(source.get(), "1,000 a second for 5 s", L"RATE 1000 5000", 5000);
    MeasureAdvises(source.get(), "as fast as the server can", L"RATE 0 20000", 20'000);
    server.reset();
    MeasurePolling(source.get(), argv[1]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "bench_dde: %s\n", error.what());
    return 1;
}
