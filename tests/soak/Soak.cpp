// What hosts, servers and sudden ends may do to the library, again and again:
//
//     soak MODE COUNT [SEED [FIRST STEP]]
//
// Runs in an empty folder of its own. Prints a line of figures, and what did not hold.

#include "Soak.h"

#include <winsock2.h>

#include <process.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "support/HostLoop.h"

namespace vtdl::tests {
namespace {

std::atomic<unsigned> faults = 0;
std::atomic<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)> getClassObject;

template <class Function>
Function Exported(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

HMODULE Load() {
    const HMODULE module = LoadLibraryW(LibraryPath().c_str());
    getClassObject =
        Exported<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>(module, "DllGetClassObject");
    return module;
}

bool CanUnload(HMODULE module) {
    return Exported<HRESULT(WINAPI*)()>(module, "DllCanUnloadNow")() == S_OK;
}

/// What a process must not gather, and how much of it may come and go. Wine 8 counts no GDI and
/// USER objects, but windows can be found.
constexpr std::pair<const char*, std::size_t> burdens[] = {
    {"handles", 20}, {"GDI", 2}, {"USER", 2}, {"windows", 0}, {"threads", 6}, {"kB", 4096}};
using Burden = std::array<std::size_t, std::size(burdens)>;

Burden BurdenNow() {
    const HANDLE process = GetCurrentProcess();
    const DWORD own = GetCurrentProcessId();
    // The plain count of handles is none under Wine 8; this one is of four numbers for each handle
    // of all processes.
    std::vector<ULONG> handles(1 << 20);
    const auto query = Exported<LONG(WINAPI*)(int, void*, ULONG, ULONG*)>(
        GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
    query(16, handles.data(), static_cast<ULONG>(handles.size() * sizeof handles[0]), nullptr);
    Burden now{0, GetGuiResources(process, GR_GDIOBJECTS),
               GetGuiResources(process, GR_USEROBJECTS)};
    for (std::size_t i = 0; i < handles[0]; ++i) now[0] += handles[1 + 4 * i] == own;
    for (HWND at = nullptr; (at = FindWindowExW(HWND_MESSAGE, at, nullptr, nullptr)) != nullptr;)
        ++now[3];
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 thread{};
    thread.dwSize = sizeof thread;
    for (BOOL more = Thread32First(all, &thread); more; more = Thread32Next(all, &thread))
        now[4] += thread.th32OwnerProcessID == own;
    CloseHandle(all);
    PROCESS_MEMORY_COUNTERS memory{};
    GetProcessMemoryInfo(process, &memory, sizeof memory);
    now[5] = memory.PagefileUsage / 1024;
    return now;
}

/// After a first part of the work, which may have filled caches. Wine 8's WinINet keeps a block of
/// 96 bytes of every request, a bare client's too.
void ExpectLike(const Burden& first, unsigned requests = 0) {
    const Burden now = BurdenNow();
    for (std::size_t i = 0; i < now.size(); ++i) {
        const std::size_t kept = i == 5 ? requests * 120 / 1024 : 0;
        std::printf("%s %zu to %zu, ", burdens[i].first, first[i], now[i]);
        Expect(now[i] <= first[i] + kept + burdens[i].second, "nothing gathers");
    }
}

/// Settings of a host whose services are all one server.
void WriteSettings(const std::string& host, bool isStrict, bool isTraced = false) {
    const auto section = [](const std::string& name,
                            const std::map<std::string, std::string>& values) {
        std::string text = "<section name=\"" + name + "\">";
        for (const auto& [key, value] : values)
            text += "<key name=\"" + key + "\">" + value + "</key>";
        return text + "</section>";
    };
    std::ofstream("VTDL33.Settings.xml")
        << "<sections name=\"XML settings file\">"
        << section("errorhandler", {{"actions", "2"},
                                    {"errorlog", "NUL"},
                                    {"tracinglog", "trace.txt"},
                                    {"tracing", isTraced ? "1" : "0"}})
        << section("http", {{"timeout", "5"}, {"strict", isStrict ? "1" : "0"}})
        << section("hosts", {{"google.finance", host}, {"pcquote", host}}) << "</sections>";
}

struct Service {
    const CLSID& id;
    const char* question;  // before the ticker
    const wchar_t* block;
    std::string (*reply)(unsigned volume);
};

const Service services[] = {
    {__uuidof(::CDataSourceGoogleHitorical), "?q=", L"HISTORICAL",
     [](unsigned volume) {
         return "Date,Open,High,Low,Close,Volume\n9-Jan-04,1,2,3,4," + std::to_string(volume) +
                "\n";
     }},
    {__uuidof(::CDataSourcePCQuote), "&TICKER=", L"TICKER", [](unsigned volume) {
         std::string values = "T,1,1,10:30,1," + std::to_string(volume);
         for (int i = 6; i < 26; ++i) values += ",1";
         return values;
     }}};

constexpr unsigned tickers = 20;

/// Answers with a volume that stands for the ticker and the time. Every tenth answer is at fault.
class FaultyServer {
public:
    struct Answer {
        unsigned count = 0, volume = 0;
        bool isSpoilt = false;
    };
    std::array<Answer, tickers> last{};  // of each ticker; the host waits while one is made
    unsigned spoilt = 0;

    explicit FaultyServer(unsigned seed) : m_random(seed, 0) {}
    std::string Host() const { return m_server.Host(); }

private:
    std::string Reply(const std::string& request) {
        m_server.TakeRequests();
        m_server.Behave({});
        std::size_t service = 0, at = 0;
        while ((at = request.find(services[service].question)) == std::string::npos) ++service;
        const unsigned ticker =
            std::strtoul(request.c_str() + at + strlen(services[service].question), nullptr, 10);
        Answer& answer = last.at(ticker);
        answer = {answer.count + 1, (ticker + 1) * 1'000'000 + answer.count % 1'000'000,
                  m_random.OneIn(10)};
        const std::string body = services[service].reply(answer.volume), whole = HttpReply(body);
        if (!answer.isSpoilt && m_random.OneIn(50)) m_server.Behave({64});
        if (!answer.isSpoilt) return whole;
        ++spoilt;
        const std::string replies[] = {
            whole.substr(0, whole.size() - body.size() / 2),
            "",
            HttpReply(""),
            HttpReply("<html>error</html>", "500 Internal Server Error"),
            HttpReply("<html>not found</html>"),
            HttpReply(std::string(5000, '\xFF')),
            std::string(300, '\x01'),
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n" + body,
            "HTTP/1.0 200 OK\r\nContent-Length: 99999\r\n\r\n" + body,
            HttpReply(services[1 - service].reply(answer.volume))};
        m_server.Behave({0, false, m_random.OneIn(4)});
        return m_random.Of(replies);
    }

    Random m_random;
    LoopbackServer m_server{[this](const std::string& request) { return Reply(request); }};
};

/// Makes a session periodic, whether its source has the parameter or not.
void Period(_CSession* session, long milliseconds) {
    const auto parameters = Read(session, &_CSession::get_Parameters);
    const Ptr<_CParameter> parameter(New(__uuidof(::CParameter)));
    _CParameter* given = parameter;
    _variant_t key(L"PERIOD");
    parameters->Add(&given, &key);
    SetParameter(session, L"PERIOD", milliseconds);
}

Ptr<_CDataSource> NewSource(std::size_t service) { return New(services[service].id); }

/// The volume that a session has, or 0.
unsigned VolumeOf(_CSession* session, std::size_t service) {
    _variant_t value = ColumnOf(session, L"VOLUME", services[service].block);
    if (value.vt == (VT_ARRAY | VT_I4) && value.parray->rgsabound[0].cElements == 1)
        value = *static_cast<long*>(value.parray->pvData);
    return value.vt == VT_I4 || value.vt == VT_R8 ? static_cast<unsigned>(double{value}) : 0;
}

struct Totals {
    std::atomic<unsigned> ready = 0, whole = 0, spoilt = 0;
    std::atomic<bool> isOver = false;
};

/// An apartment's periodic sessions, until it is over.
void FireInApartment(Totals& totals, unsigned seed, bool isStrict) {
    CoInitialize(nullptr);
    {
        FaultyServer server(seed);
        static std::mutex settings;
        std::unique_lock lock(settings);
        WriteSettings(server.Host(), isStrict);
        const Ptr<_CDataSource> sources[] = {NewSource(0), NewSource(1)};
        lock.unlock();
        std::vector<std::unique_ptr<Job>> jobs;
        for (unsigned ticker = 0; ticker < tickers; ++ticker) {
            const std::size_t service = ticker % 2;
            Job& job = *jobs.emplace_back(std::make_unique<Job>(sources[service]));
            job.Set(L"TICKER", std::to_wstring(ticker).c_str());
            Period(job.session, 10);
            job.sink.onEvent = [&, ticker, service, seen = 0u](auto& event, auto* session) mutable {
                const bool isReady = event == L"DataReady";
                job.sink.events.clear();
                if (!isReady) return;
                const FaultyServer::Answer& answer = server.last[ticker];
                const unsigned volume = VolumeOf(session, service);
                Expect(volume == 0 ? answer.isSpoilt
                                   : volume == answer.volume && !(answer.isSpoilt && isStrict),
                       "ticker " + std::to_string(ticker) + " has " + std::to_string(volume) +
                           " for " + std::to_string(answer.volume));
                Expect(++seen == answer.count, "a reading for each answer");
                session->putref_Data(nullptr);  // leniently, a failure would leave it
                totals.whole += volume != 0;
                ++totals.ready;
            };
            job.Start();
        }
        RunLoop(INFINITE, [&] { return totals.isOver.load(); });
        for (const auto& job : jobs) job->session->Done();
        totals.spoilt += server.spoilt;
    }
    CoUninitialize();
}

/// Two apartments at once, one of which is strict.
void Fire(unsigned count, unsigned seed) {
    Totals totals;
    std::thread strict(FireInApartment, std::ref(totals), seed, true);
    std::thread lenient(FireInApartment, std::ref(totals), seed + 1, false);
    const auto until = [&](unsigned ticks) {
        while (totals.ready < ticks && faults < 20) Sleep(50);
        return BurdenNow();
    };
    const Burden first = until(std::min(1000u, count / 2));
    until(count);
    ExpectLike(first, totals.ready);
    totals.isOver = true;
    strict.join();
    lenient.join();
    std::printf("%u readings, %u whole, %u spoilt answers\n", totals.ready.load(),
                totals.whole.load(), totals.spoilt.load());
}

using Clock = std::chrono::steady_clock;

/// Downloads that are aborted in a report or at any moment, every tenth not.
void Aborts(unsigned count, unsigned seed) {
    Random sizes(seed, 0);
    std::size_t rows = 0;
    LoopbackServer server([&](const std::string&) {
        server.TakeRequests();
        server.Behave({16 + sizes.Below(4000)});
        Sleep(sizes.Below(5));
        std::string body = services[0].reply(7);
        rows = 1 + sizes.Below(1000);
        for (std::size_t i = 1; i < rows; ++i) body += "8-Jan-04,1,2,3,4,5\n";
        return HttpReply(body);
    });
    WriteSettings(server.Host(), seed % 2);
    Job job(NewSource(0));
    std::vector<double> times;
    unsigned late = 0;
    Burden first{};
    for (unsigned i = 1; i <= count; ++i) {
        Random random(seed, i);
        Clock::time_point due;
        bool isAborted = false;
        const auto abort = [&, session = job.session.GetInterfacePtr()] {
            isAborted = StatusOf(session) == vtdlSessionStatusBusy;
            session->Abort();
        };
        const unsigned way = random.Below(4), reports = random.Below(8);
        const bool isWhole = i % 10 == 0;
        job.sink.onEvent = [&](const std::wstring& event, auto*) {
            if (isWhole || way > 1 || event == L"DataReady" ||
                job.sink.events.size() != reports + 1)
                return;
            due = Clock::now();
            abort();
        };
        job.session->putref_Data(nullptr);
        job.sink.events.clear();
        std::optional<Later> person;
        if (const DWORD pause = random.Below(60); !isWhole && way > 1) {
            due = Clock::now() + std::chrono::milliseconds(pause);
            person.emplace(pause, abort);
        }
        job.Start();
        const std::chrono::duration<double, std::milli> time = Clock::now() - due;
        Expect(StatusOf(job.session) == vtdlSessionStatusDone, "the session is done");
        const bool isThere = BlockOf(job.session) != nullptr;
        Expect(isThere ? Column(job.session, L"CLOSE").size() == rows
                       : isAborted && job.LastEvent() == failureDone,
               "all is there, or it was aborted");
        if (!isThere) times.push_back(time.count());
        late += isThere && !isWhole;
        person.reset();
        DispatchAll();  // what came too late
        if (i == std::min(1000u, count / 2)) first = BurdenNow();
    }
    ExpectLike(first);
    std::ranges::sort(times);
    if (!Expect(!times.empty(), "something was aborted")) return;
    Expect(times[times.size() * 99 / 100] < 1000, "an abort does not wait for the rest");
    std::printf("%zu aborted, %u too late; until Start returns p50 %.2f, p99 %.2f, max %.2f ms\n",
                times.size(), late, times[times.size() / 2], times[times.size() * 99 / 100],
                times.back());
}

/// The library's whole life in a process, from loading to unloading; mostly in another apartment.
void Cycles(unsigned count, unsigned seed) {
    FaultyServer server(seed);
    WriteSettings(server.Host(), false);
    const auto use = [](unsigned i) {
        const Ptr<_CManager> manager(New(__uuidof(::CManager)));
        const auto sources = Read(manager, &_CManager::get_DataSources);
        Expect(Read(sources, &_CDataSources::get_Count) > 10, "there are sources");
        Job job(NewSource(i % 2));
        job.Set(L"TICKER", L"1");
        if (i % 3 == 0) Period(job.session, 10);
        job.Start();
        if (i % 3 == 0) RunLoop(enough, [&] { return job.Count(L"DataReady") > 1; });
    };
    Burden first{};
    for (unsigned i = 1; i <= count; ++i) {
        const HMODULE module = Load();
        if (i % 4 == 0)
            use(i);
        else
            std::thread([&] { CoInitialize(nullptr), use(i), CoUninitialize(); }).join();
        Expect(CanUnload(module), "nothing is left");
        FreeLibrary(module);
        Expect(!GetModuleHandleW(L"VTDL33.dll"), "it is gone");
        if (i == std::min(100u, count / 2)) first = BurdenNow();
    }
    ExpectLike(first);
    std::printf("%u times loaded\n", count);
}

/// A host that does anything whenever it is called, and lets go of what it calls.
void Callbacks(unsigned count, unsigned seed) {
    Random random(seed, 0);
    FaultyServer server(seed);
    WriteSettings(server.Host(), seed % 2);
    Ptr<_CManager> manager(New(__uuidof(::CManager)));
    std::array<Ptr<_CSession>, 8> sessions;
    unsigned steps = 0, nested = 0;
    int depth = 0;
    std::function<void()> act;
    const auto callBack = [&] {
        if (steps < count && depth < 4 && random.OneIn(2)) {
            ++depth, ++nested;
            act();
            --depth;
        }
        return random.OneIn(10) ? E_FAIL : S_OK;
    };
    const auto newSession = [&] {
        Ptr<_CSession> session;
        NewSource(random.Below(2))->CreateSession(&session);
        SetParameter(session, L"TICKER", static_cast<long>(random.Below(tickers)));
        if (random.OneIn(2)) Period(session, 1);
        session->putref_Progressor(Ptr<_IProgressCallBack>(new CallingSink(callBack)));
        return session;
    };
    act = [&] {
        Ptr<_CSession>& place = sessions[random.Below(sessions.size())];
        const Ptr<_CSession> called = place;
        const unsigned what = called ? random.Below(16) : 16;
        ++steps;
        if (what < 4) called->Start();
        if (what == 4) called->NextTick();
        if (what == 5 || what == 6) called->Abort();
        if (what == 7) called->Done();
        if (what == 8) called->putref_Progressor(nullptr);
        if (what == 9) Walk(EnumeratorOf(Read(manager, &_CManager::get_DataSources)));
        if (what == 10) manager->LockUpdate();
        if (what == 11 || what == 12) manager->UnlockUpdate();
        if (what == 13) manager = New(__uuidof(::CManager));
        if (what == 14) DispatchAll();
        if (what == 15) const Ptr<_CSession> released = std::exchange(place, nullptr);
        if (what == 16) place = newSession();
    };
    Burden first{};
    while (steps < count) {
        act();
        if (random.OneIn(8)) DispatchAll();
        if (first[0] == 0 && steps > count / 4) first = BurdenNow();
    }
    for (Ptr<_CSession>& session : sessions) session = nullptr;
    ExpectLike(first);
    std::printf("%u steps, %u of them in callbacks\n", steps, nested);
}

/// Settings that would take for ever, or all memory.
void Documents(unsigned count, unsigned) {
    const std::string head = "<?xml version=\"1.0\"?>",
                      root = "<sections name=\"XML settings file\">";
    const auto repeated = [](const std::string& text, unsigned times) {
        std::string all;
        for (; times > 0; --times) all += text;
        return all;
    };
    std::string laughs = head + "<!DOCTYPE sections [<!ENTITY e0 \"ha\">";
    for (int i = 1; i < 10; ++i)
        laughs += "<!ENTITY e" + std::to_string(i) + " \"" +
                  repeated("&e" + std::to_string(i - 1) + ";", 10) + "\">";
    const std::pair<const char*, std::string> cases[] = {
        {"size", head + root + std::string(count << 20, ' ') + "</sections>"},
        {"depth", head + root + repeated("<a>", count * 1000) + repeated("</a>", count * 1000) +
                      "</sections>"},
        {"laughs", laughs + "]>" + root + "&e9;</sections>"}};
    for (const auto& [name, text] : cases) {
        std::ofstream("hostile.xml", std::ios::binary) << text;
        const Ptr<_CXMLSettings> store(New(__uuidof(::CXMLSettings)));
        store->put_FileName(_bstr_t(L"hostile.xml"));
        const _bstr_t given(std::wstring(text.begin(), text.end()).c_str());
        const Clock::time_point start = Clock::now();
        const HRESULT loaded = store->LoadFile(), taken = store->put_XMLString(given);
        const std::chrono::duration<double> seconds = Clock::now() - start;
        std::printf("%s: %08lX and %08lX after %.2f s, %zu kB\n", name, loaded, taken,
                    seconds.count(), BurdenNow()[5]);
        Expect(FAILED(loaded) && FAILED(taken), std::string(name) + " is refused");
        Expect(seconds.count() < 20, std::string(name) + " takes its time");
    }
}

/// Settings that somebody has changed with a wrong tool: refused, or of use.
void Texts(unsigned count, unsigned seed) {
    const std::wstring document =
        L"<?xml version=\"1.0\"?><sections name=\"XML settings file\"><section name=\"a\">"
        L"<key name=\"b\">\r\n\t\t\t1\r\n\t\t</key><key name=\"c\"><![CDATA[<2>]]></key></section>"
        L"<!-- 3 --><section name=\"d/e\"><key name=\"&#102;\">&amp;</key></section></sections>";
    constexpr const wchar_t* pieces[] = {L"<",      L">",          L"&",      L"'",         L"\"",
                                         L"]]>",    L"<!--",       L"-->",    L"<![CDATA[", L"&#0;",
                                         L"</key>", L"<a b='c'/>", L"<?x ?>", L"\r",        L"\t",
                                         L"&#x1F;", L"</section>", L"<key>"};
    unsigned taken = 0;
    for (unsigned i = 0; i < count; ++i) {
        Random random(seed, i);
        std::wstring text = document;
        for (unsigned changes = random.Below(2); changes < 2; ++changes)
            text.replace(random.Below(text.size()), random.OneIn(3) ? random.Below(12) : 0,
                         random.Of(pieces));
        const Ptr<_CXMLSettings> store(New(__uuidof(::CXMLSettings)));
        if (FAILED(store->put_XMLString(_bstr_t(text.c_str())))) continue;
        ++taken;
        _bstr_t section(random.OneIn(2) ? L"A" : L"d/e"), key(L"f"), value(L"<\t>"), read;
        const HRESULT saved = store->SaveSetting(section, key, value);
        store->GetSetting(&section.GetBSTR(), &key.GetBSTR(), nullptr, read.GetAddress());
        SAFEARRAY* names = nullptr;
        long keys = 0;
        store->EnumerateAllKeys(&section.GetBSTR(), &names, &keys);
        if (names) SafeArrayDestroy(names);
        Expect(FAILED(saved) || keys == 0 || read == value, "what is saved is read");
        Expect(store->get_XMLString(read.GetAddress()) == S_OK, "what is taken can be shown");
    }
    std::printf("%u texts, %u of them taken\n", count, taken);
}

Ptr<_CXMLSettings> Store() {
    Ptr<_CXMLSettings> store(New(__uuidof(::CXMLSettings)));
    store->put_FileName(_bstr_t(L"shared.xml"));
    Expect(store->LoadFile() == S_OK, "the settings are whole");
    return store;
}

/// Saves two values in turns, and traces, until it is ended.
void Write(unsigned number, unsigned) {
    for (unsigned i = 0;; ++i) {
        const Ptr<_CXMLSettings> store = Store();
        const std::wstring value(i % 2 ? 3000 : 70000, L'a');
        store->SaveSetting(_bstr_t(L"writer"), _bstr_t(L"key"), _bstr_t(value.c_str()));
        store->SaveFile(nullptr);
        New(__uuidof(::CManager));  // traces
        if (i == 1) std::ofstream("ready" + std::to_string(number));
    }
}

/// Two processes that write the same files, one of which ends now and then.
void Kills(unsigned count, unsigned seed) {
    WriteSettings("127.0.0.1:1", false, true);
    const std::regex entry(
        R"(\d[\d/:. APM-]{10,24} --- (Entered|Exited) routine: vtdl\.\w+\.\w+\r)");
    const auto start = [](unsigned number) {
        return reinterpret_cast<HANDLE>(_spawnl(_P_NOWAIT, __argv[0], __argv[0], "write",
                                                std::to_string(number).c_str(), nullptr));
    };
    HANDLE writers[] = {start(0), start(1)};
    const auto end = [&](unsigned number) {
        TerminateProcess(writers[number], 1);
        WaitForSingleObject(writers[number], enough);
        CloseHandle(writers[number]);
        DeleteFileA(("ready" + std::to_string(number)).c_str());
    };
    std::streamoff checked = 0;
    unsigned long lines = 0;
    std::set<std::size_t> sizes;
    const auto look = [&] { sizes.insert(Read(Store(), &_CXMLSettings::get_XMLString).size()); };
    const Clock::time_point begin = Clock::now();
    for (unsigned i = 0; i < count; ++i) {
        const auto areReady = [] { return std::ifstream("ready0") && std::ifstream("ready1"); };
        for (int wait = 0; wait < 500 && !areReady(); ++wait) Sleep(20);
        Sleep(Random(seed, i).Below(100));
        end(i % 2);
        look();
        std::ifstream trace("trace.txt", std::ios::binary);
        trace.seekg(checked);
        for (std::string line; std::getline(trace, line) && !trace.eof(); ++lines) {
            Expect(std::regex_match(line, entry), "a torn line: " + line);
            checked = trace.tellg();
        }
        writers[i % 2] = start(i % 2);
    }
    // Few ends may all meet one value.
    for (int more = 0; more < 500 && sizes.size() < 2; ++more) look();
    end(0), end(1);
    Expect(sizes.size() == 2, "both values, and no others, were seen");
    const std::chrono::duration<double> seconds = Clock::now() - begin;
    std::printf("%u ends in %.0f s, %lu lines of two writers\n", count, seconds.count(), lines);
}

using Mode = void (*)(unsigned count, unsigned seed);
const std::pair<const char*, Mode> modes[] = {
    {"fire", Fire},           {"aborts", Aborts}, {"cycles", Cycles}, {"callbacks", Callbacks},
    {"documents", Documents}, {"texts", Texts},   {"kills", Kills},   {"write", Write}};
const std::pair<const char*, Face> randomModes[] = {
    {"random", Face::any}, {"names", Face::names}, {"vtables", Face::vtables}};

}  // namespace

std::wstring LibraryPath() {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return (std::filesystem::path(program).parent_path() / L"VTDL33.dll").wstring();
}

Ptr<IUnknown> New(const CLSID& id) {
    Ptr<IClassFactory> factory;
    Ptr<IUnknown> object;
    getClassObject(id, __uuidof(IClassFactory), reinterpret_cast<void**>(&factory));
    if (factory)
        factory->CreateInstance(nullptr, __uuidof(IUnknown), reinterpret_cast<void**>(&object));
    return object;
}

bool Expect(bool holds, const std::string& what) {
    if (!holds && ++faults < 20) std::printf("soak: not so: %s\n", what.c_str());
    return holds;
}

void DispatchAll() {
    for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) DispatchMessageW(&message);
}

int Run(int argc, char** argv) {
    if (argc < 3) return 2;
    const std::string mode = argv[1];
    const auto number = [&](int i) {
        return argc > i ? static_cast<unsigned>(std::strtoul(argv[i], nullptr, 10)) : 1;
    };
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    testing::InitGoogleTest();
    WSADATA sockets;
    if (WSAStartup(MAKEWORD(2, 2), &sockets) != 0 || FAILED(CoInitialize(nullptr))) return 1;
    const auto folder = std::filesystem::temp_directory_path() /
                        (L"vtdl-soak-" + std::to_wstring(GetCurrentProcessId()));
    const bool isOwn = mode != "write";
    if (isOwn) {
        std::filesystem::create_directories(folder);
        std::filesystem::current_path(folder);
        SetEnvironmentVariableW(L"VTDL_DATA", folder.c_str());
        WriteSettings("127.0.0.1:1", false);
    }
    const HMODULE module = mode == "cycles" ? nullptr : Load();
    if (isOwn) std::printf("soak %s, seed %u: ", argv[1], number(3));
    for (const auto& [name, run] : modes)
        if (mode == name) {
            run(number(2), number(3));
            Expect(!module || CanUnload(module), "nothing is left");
        }
    for (const auto& [name, face] : randomModes)
        if (mode == name)
            std::printf("%u calls\n", RandomCalls(face, number(2), number(3), number(4)));
    std::filesystem::current_path(folder.parent_path());
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return faults > 0 || testing::UnitTest::GetInstance()->Failed();
}

}  // namespace vtdl::tests

int main(int argc, char** argv) { return vtdl::tests::Run(argc, argv); }
