#include "Background.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>

#include <tlhelp32.h>

#include <memory>
#endif

namespace quoteserver {

void WriteMessagesTo(const std::string& file) {
    constexpr std::uintmax_t longest = 1'000'000;  // of what earlier runs have said
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    const auto mode = !error && size > longest ? std::ios::trunc : std::ios::app;
    const bool isWritable = std::ofstream(file, std::ios::out | mode).is_open();
    if (!isWritable || !std::freopen(file.c_str(), "a", stdout) ||
        !std::freopen(file.c_str(), "a", stderr)) {
        throw std::runtime_error(file + " cannot be written");
    }
#ifdef _WIN32
    // It closes what stands where the console stood, which is the file now.
    constexpr DWORD places[] = {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    HANDLE files[] = {GetStdHandle(places[0]), GetStdHandle(places[1])};
    for (const DWORD place : places) {
        SetStdHandle(place, nullptr);
    }
    FreeConsole();
    for (int i = 0; i < 2; ++i) {
        SetStdHandle(places[i], files[i]);
    }
#endif
}

#ifdef _WIN32
namespace {

struct Closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, Closer>;

std::wstring ProgramOf(HANDLE process) {
    std::wstring file(32768, L'\0');
    auto length = static_cast<DWORD>(file.size());
    file.resize(QueryFullProcessImageNameW(process, 0, file.data(), &length) ? length : 0);
    return file;
}

}  // namespace

bool EndOthers() {
    constexpr DWORD patience = 5000;  // milliseconds
    const std::wstring own = ProgramOf(GetCurrentProcess());
    const Handle all(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    bool isDone = true;
    for (BOOL isOne = Process32FirstW(all.get(), &entry); isOne;
         isOne = Process32NextW(all.get(), &entry)) {
        const Handle process(
            OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE | SYNCHRONIZE, FALSE,
                        entry.th32ProcessID));
        if (entry.th32ProcessID != GetCurrentProcessId() && process &&
            _wcsicmp(ProgramOf(process.get()).c_str(), own.c_str()) == 0) {
            isDone &= TerminateProcess(process.get(), 0) &&
                      WaitForSingleObject(process.get(), patience) == WAIT_OBJECT_0;
        }
    }
    return isDone;
}
#endif

}  // namespace quoteserver
