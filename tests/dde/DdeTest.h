#pragma once
// What the tests of DDE sessions share: a server in a second process, and sessions that read it.

#include <string>

#include "automation/TypeInformation.h"
#include "support/Downloads.h"
#include "support/HostLoop.h"

namespace vtdl::tests {

/// A server program in the folder of this one. It has printed its first line, and so listens, when
/// the constructor returns.
class ServerProcess {
public:
    explicit ServerProcess(std::wstring command) : m_command(std::move(command)) { Start(); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ~ServerProcess() { Stop(); }

    void Start();
    /// Closes it down in order. Messages run meanwhile, as its clients' consent is asked for.
    void Stop();
    /// Ends the process, as a crash does.
    void Kill();

private:
    void Close();

    std::wstring m_command;
    PROCESS_INFORMATION m_process{};
};

/// The program dde_server; see its head for the items.
class DdeServer : public ServerProcess {
public:
    DdeServer();
    static std::wstring Service() { return L"VTDLTEST" + std::to_wstring(GetCurrentProcessId()); }
};

class DdeTest : public LibraryTest {
protected:
    /// A session with a sink, its parameters set for the server.
    struct Reading : Job {
        Reading(const wchar_t* type, const wchar_t* item, long period = 0,
                Ptr<_CDataSource> source = New<::CDataSourceDDE, _CDataSource>());

        std::wstring Data() const { return TextOf(ColumnOf(session, L"DATA", L"DATA")); }
        long Conversation() const;
        vtdlDDESessionType Type() const;
        std::wstring Identifier() const;  ///< in hexadecimal
    };

    /// What the server answers now, by a session of its own.
    static std::wstring Ask(const wchar_t* item);
    /// Whether the server has come to know that no conversation is open.
    static bool NoConversationIsOpen();

    /// The lines that sessions have traced so far, without time; the identifier of the session as
    /// "#".
    static std::wstring TraceOf(const Reading& reading);
    static void TurnTracingOn();

    DdeServer m_server;
};

}  // namespace vtdl::tests
