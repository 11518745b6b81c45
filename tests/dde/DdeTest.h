#pragma once
// What the tests of DDE sessions share: a server in a second process, and sessions that read it.

#include "support/Downloads.h"
#include "support/HostLoop.h"

namespace vtdl::tests {

/// A server program in the folder of this one. It has printed its first line, and so listens, when
/// it is started.
class ServerProcess {
public:
    explicit ServerProcess(std::wstring command) : m_command(std::move(command)) { Start(); }
    ~ServerProcess() { Stop(); }

    void Start() {
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        HANDLE read = nullptr, write = nullptr;
        char line[16];
        DWORD size = 0;
        CreatePipe(&read, &write, &inherited, 0);
        const auto folder = std::filesystem::path(automation::ModulePath()).parent_path();
        std::wstring command = (folder / m_command).wstring();
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = write;
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &startup, &m_process);
        CloseHandle(write);
        ReadFile(read, line, sizeof line, &size, nullptr);
        CloseHandle(read);
        if (size == 0) throw std::runtime_error("the DDE server does not start");
    }
    /// Closes it down in order. Messages run meanwhile, as its clients' consent is asked for.
    void Stop() {
        if (!m_process.hProcess) return;
        PostThreadMessageW(m_process.dwThreadId, WM_QUIT, 0, 0);
        EXPECT_TRUE(RunLoop(enough, [&] { return !WaitForSingleObject(m_process.hProcess, 20); }));
        Kill();
    }
    /// Ends the process, as a crash does.
    void Kill() {
        TerminateProcess(m_process.hProcess, 1);
        WaitForSingleObject(m_process.hProcess, enough);
        CloseHandle(m_process.hThread);
        CloseHandle(m_process.hProcess);
        m_process = {};
    }

private:
    std::wstring m_command;
    PROCESS_INFORMATION m_process{};
};

/// A session with a sink, its parameters set for a server.
struct Reading : Job {
    static std::wstring Service() { return L"VTDLTEST" + std::to_wstring(GetCurrentProcessId()); }

    Reading(const wchar_t* type, const wchar_t* item, long period = 0,
            Ptr<_CDataSource> source = New<::CDataSourceDDE, _CDataSource>())
        : Job(source) {
        Set(L"SERVICE", Service().c_str());
        Set(L"TOPIC", L"QUOTES");
        Set(L"ITEM", item);
        Set(L"TYPE", type);
        Set(L"PERIOD", period);
    }

    std::wstring Data() const { return TextOf(ColumnOf(session, L"DATA", L"DATA")); }
    long Conversation() const {
        return Read(Ptr<_CSessionDDE>(session), &_CSessionDDE::get_ConvID);
    }
};

class DdeTest : public LibraryTest {
protected:
    /// What the server answers now, by a session of its own.
    static std::wstring Ask(const wchar_t* item) {
        Reading reading(L"REQUEST", item);
        reading.Start();
        return reading.Data();
    }
    /// Whether the server has come to know that no conversation is open.
    static bool NoConversationIsOpen() {
        return RunLoop(enough, [] { return RunLoop(20), Ask(L"OPEN") == L"1"; });
    }

    ServerProcess m_server{L"dde_server.exe " + Reading::Service() + L" " +
                           std::to_wstring(GetCurrentProcessId())};
};

}  // namespace vtdl::tests
