// A user's program as a source: run without a shell, and ended when its time is over.
#include <array>
#include <stdexcept>
#include <thread>

#include "living/Feed.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace quoteserver::living {
namespace {

using std::chrono::steady_clock;

constexpr const char* tooSlow = "the program did not end in time";
constexpr const char* tooLong = "the program prints without end";

WebAnswer AnswerOf(int exitCode, std::string output) {
    if (exitCode != 0) {
        return {0, "the program ended with code " + std::to_string(exitCode)};
    }
    return {200, {}, {}, {}, std::move(output)};
}

}  // namespace

#ifdef _WIN32

namespace {

struct CloseIt {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseIt>;

// As the C runtime of the program takes its line apart again.
std::wstring Quoted(const std::string& argument) {
    if (!argument.empty() && argument.find_first_of(" \t\"") == std::string::npos) {
        return {argument.begin(), argument.end()};
    }
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"') {
            text.append(backslashes + 1, L'\\');
        }
        backslashes = c == '\\' ? backslashes + 1 : 0;
        text += static_cast<wchar_t>(static_cast<unsigned char>(c));
    }
    return text.append(backslashes, L'\\').append(L"\"");
}

}  // namespace

WebAnswer RunCommand(const std::vector<std::string>& arguments, std::chrono::seconds timeout,
                     const std::filesystem::path& folder) {
    std::wstring line;
    for (const std::string& argument : arguments) {
        line.append(line.empty() ? L"" : L" ").append(Quoted(argument));
    }
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inherited, 0)) {
        return {0, "no pipe to the program"};
    }
    const Handle reading(readEnd);
    Handle writing(writeEnd);
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    // The job takes along whatever the program starts.
    const Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = writeEnd;
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                        CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr,
                        folder.empty() ? nullptr : folder.c_str(), &start, &started)) {
        return {0, arguments[0] + " cannot be started"};
    }
    const Handle process(started.hProcess), thread(started.hThread);
    AssignProcessToJobObject(job.get(), process.get());
    ResumeThread(thread.get());
    writing.reset();
    const auto end = steady_clock::now() + timeout;
    std::string output;
    for (;;) {
        std::array<char, 16384> block;
        DWORD available = 0, read = 0;
        if (!PeekNamedPipe(readEnd, nullptr, 0, nullptr, &available, nullptr)) {
            break;  // the other end is closed
        }
        if (available > 0 && ReadFile(readEnd, block.data(), block.size(), &read, nullptr)) {
            output.append(block.data(), read);
        } else {
            Sleep(10);
        }
        if (steady_clock::now() > end || output.size() > mostBytes) {
            return {0, output.size() > mostBytes ? tooLong : tooSlow};
        }
    }
    DWORD code = 1;
    if (WaitForSingleObject(process.get(), 1000) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(process.get(), &code)) {
        return {0, tooSlow};
    }
    return AnswerOf(static_cast<int>(code), std::move(output));
}

#else

WebAnswer RunCommand(const std::vector<std::string>& arguments, std::chrono::seconds timeout,
                     const std::filesystem::path& folder) {
    std::vector<char*> line;
    for (const std::string& argument : arguments) {
        line.push_back(const_cast<char*>(argument.c_str()));
    }
    line.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return {0, "no pipe to the program"};
    }
    // A group of its own takes along whatever the program starts.
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (!folder.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    }
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t process = 0;
    const int error = posix_spawnp(&process, line[0], &actions, &attributes, line.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        return {0, arguments[0] + " cannot be started"};
    }
    const auto end = steady_clock::now() + timeout;
    std::string output;
    const char* fault = nullptr;
    while (!fault) {
        using std::chrono::milliseconds;
        const auto left =
            std::chrono::duration_cast<milliseconds>(end - steady_clock::now()).count();
        pollfd ready{ends[0], POLLIN, 0};
        if (left <= 0 || poll(&ready, 1, static_cast<int>(left)) == 0) {
            fault = tooSlow;
            break;
        }
        std::array<char, 16384> block;
        const ssize_t read = ::read(ends[0], block.data(), block.size());
        if (read <= 0) {
            break;
        }
        output.append(block.data(), static_cast<std::size_t>(read));
        fault = output.size() > mostBytes ? tooLong : nullptr;
    }
    close(ends[0]);
    int status = 0;
    while (!fault && waitpid(process, &status, WNOHANG) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        fault = steady_clock::now() > end ? tooSlow : nullptr;
    }
    if (fault) {
        kill(-process, SIGKILL);
        waitpid(process, &status, 0);
        return {0, fault};
    }
    return AnswerOf(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                    std::move(output));
}

#endif

}  // namespace quoteserver::living
