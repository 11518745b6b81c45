#include "DdeTest.h"

#include <sstream>

#include "errors/CErrorHandler.h"
#include "automation/CodePage.h"

namespace vtdl::tests {
namespace {

Ptr<_CSessionDDE> DdeFace(_CSession* session) { return Ptr<_CSessionDDE>(session); }

/// Looks again and again, while messages run, for what no message tells.
template <class Condition>
bool Becomes(const Condition& condition) {
    for (DWORD waited = 0; waited < enough; waited += 20) {
        if (condition()) return true;
        RunLoop(20);
    }
    return false;
}

}  // namespace

DdeServer::DdeServer()
    : ServerProcess(L"dde_server.exe " + Service() + L" " +
                    std::to_wstring(GetCurrentProcessId())) {}

void ServerProcess::Start() {
    const std::wstring self = automation::ModulePath();
    std::wstring command = self.substr(0, self.rfind(L'\\') + 1) + m_command;
    HANDLE read = nullptr, write = nullptr;
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    CreatePipe(&read, &write, &inherited, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = write;
    const bool isStarted = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0,
                                          nullptr, nullptr, &startup, &m_process);
    CloseHandle(write);
    char line[16];
    DWORD size = 0;
    ReadFile(read, line, sizeof line, &size, nullptr);
    CloseHandle(read);
    if (!isStarted || size == 0) throw std::runtime_error("the DDE server does not start");
}

void ServerProcess::Stop() {
    if (!m_process.hProcess) return;
    PostThreadMessageW(m_process.dwThreadId, WM_QUIT, 0, 0);
    EXPECT_TRUE(Becomes([&] {
        return WaitForSingleObject(m_process.hProcess, 0) == WAIT_OBJECT_0;
    })) << "the DDE server does not end";
    Close();
}

void ServerProcess::Kill() {
    TerminateProcess(m_process.hProcess, 1);
    WaitForSingleObject(m_process.hProcess, enough);
    Close();
}

void ServerProcess::Close() {
    CloseHandle(m_process.hThread);
    CloseHandle(m_process.hProcess);
    m_process = {};
}

DdeTest::Reading::Reading(const wchar_t* type, const wchar_t* item, long period,
                          Ptr<_CDataSource> source)
    : Job(source) {
    Set(L"SERVICE", DdeServer::Service().c_str());
    Set(L"TOPIC", L"QUOTES");
    Set(L"ITEM", item);
    Set(L"TYPE", type);
    Set(L"PERIOD", _variant_t(period));
}

long DdeTest::Reading::Conversation() const {
    long conversation = 0;
    _com_util::CheckError(DdeFace(session)->get_ConvID(&conversation));
    return conversation;
}

vtdlDDESessionType DdeTest::Reading::Type() const {
    vtdlDDESessionType type{};
    _com_util::CheckError(DdeFace(session)->get_SessionType(&type));
    return type;
}

std::wstring DdeTest::Reading::Identifier() const {
    long identifier = 0;
    wchar_t text[16];
    _com_util::CheckError(session->get_ID(&identifier));
    swprintf(text, std::size(text), L"%lX", identifier);
    return text;
}

std::wstring DdeTest::Ask(const wchar_t* item) {
    Reading reading(L"REQUEST", item);
    reading.Start();
    return reading.Data();
}

bool DdeTest::NoConversationIsOpen() {
    return Becomes([] { return Ask(L"OPEN") == L"1"; });
}

void DdeTest::TurnTracingOn() {
    gErrorHandler().TracingEnabled(true);
    gErrorHandler().TracingFlags(CErrorHandler::traceFile);
}

std::wstring DdeTest::TraceOf(const Reading& reading) {
    gErrorHandler().TracingEnabled(false);
    const std::string identifier = ToBytes(reading.Identifier());
    std::istringstream log(ReadAll("Tracing Log.txt"));
    std::string lines;
    for (std::string line; std::getline(log, line);) {
        const std::size_t at = line.find(identifier + ": ");
        if (at == std::string::npos) continue;
        if (line.ends_with('\r')) line.pop_back();
        lines.append("#").append(line, at + identifier.size()).append("\n");
    }
    return ToWide(lines);
}

}  // namespace vtdl::tests
