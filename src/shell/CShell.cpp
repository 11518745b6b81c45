#include "shell/CShell.h"

#include <shellapi.h>

#include <cstdint>

#include "automation/Error.h"
#include "automation/RegistryKey.h"
#include "automation/UniqueHandle.h"
#include "text/CaseFold.h"

namespace vtdl {
namespace {

using automation::Error;
using automation::RegistryKey;

constexpr wchar_t errorSource[] = L"Vestora Download Library.CShell";

struct ShellError {
    std::intptr_t result;
    unsigned long number;
    const wchar_t* text;
    bool isReduced;  // raised for addresses, too
};

// Access denied (5) reads as a missing file, on purpose.
constexpr ShellError shellErrors[] = {
    {2, 0x80044679, L"File not found", false},
    {3, 0x8004467A, L"Path not found", false},
    {5, 0x80044679, L"File not found", false},
    {8, 0x8004467C, L"Out of memory", true},
    {11, 0x80044684, L"Invalid EXE file or error in EXE image", false},
    {26, 0x8004467E, L"A sharing violation occurred", true},
    {27, 0x8004467F, L"Incomplete or invalid file association", false},
    {28, 0x80044680, L"DDE timeout", true},
    {29, 0x80044681, L"DDE transaction failed", true},
    {30, 0x80044682, L"DDE busy", true},
    {31, 0x80044683, L"No association for file extension", false},
    {32, 0x8004467D, L"DLL not found", false},
};

[[noreturn]] void Throw(HRESULT number, const wchar_t* text) {
    throw Error(number, errorSource, text);
}

void CheckShell(HINSTANCE result, bool isReduced) {
    for (const ShellError& error : shellErrors)
        if (error.result == reinterpret_cast<std::intptr_t>(result) &&
            (error.isReduced || !isReduced))
            Throw(static_cast<HRESULT>(error.number), error.text);
}

const wchar_t* OrNull(const std::wstring& text) { return text.empty() ? nullptr : text.c_str(); }

void CheckLength(const std::wstring& name) {
    if (name.size() >= MAX_PATH) Throw(CShell::componentFailure, L"CShell component failure");
}

bool FileExists(const std::wstring& file) {
    WIN32_FIND_DATAW found;
    const automation::UniqueHandle<HANDLE, FindClose, -1> search(
        FindFirstFileW(file.c_str(), &found));
    return static_cast<bool>(search);
}

void RequireFile(const std::wstring& file) {
    CheckLength(file);
    if (!FileExists(file)) Throw(CShell::fileNotFound, L"File not found");
}

void Execute(const wchar_t* verb, const std::wstring& target, bool isReduced, HWND owner = nullptr,
             const std::wstring& parameters = {}, const std::wstring& directory = {}) {
    CheckShell(ShellExecuteW(owner, verb, target.c_str(), OrNull(parameters), OrNull(directory),
                             SW_SHOWNORMAL),
               isReduced);
}

void RunAndWait(const std::wstring& file, const std::wstring& parameters,
                const std::wstring& directory) {
    const bool needsQuotes = file.find(L' ') != std::wstring::npos && file.front() != L'"';
    std::wstring commandLine = needsQuotes ? L"\"" + file + L"\"" : file;
    commandLine += L" " + parameters;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_SHOWNORMAL;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, NORMAL_PRIORITY_CLASS,
                        nullptr, OrNull(directory), &startup, &process))
        Throw(CShell::cannotCreateProcess, L"Cannot create process");
    CloseHandle(process.hThread);
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hProcess);
}

// The name of the open verb as it is spelled in the registry; the first one wins.
std::wstring OpenVerbOf(const std::wstring& fileType) {
    const RegistryKey shell =
        automation::OpenKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\" + fileType + L"\\Shell");
    wchar_t verb[2048];
    for (DWORD i = 0; shell && RegEnumKeyW(shell.get(), i, verb, ARRAYSIZE(verb)) == 0; ++i) {
        const std::wstring folded = text::FoldCase(std::wstring_view(verb));
        if (folded == L"&OPEN" || folded == L"OPEN") return verb;
    }
    return {};
}

}  // namespace

void CShell::SendMail(const std::wstring& to, const std::wstring& cc, const std::wstring& subject,
                      const std::wstring& body) const {
    Execute(L"open", L"mailto:" + to + L"?subject=" + subject + L"&cc=" + cc + L"&body=" + body,
            true);
}

void CShell::ExploreFolder(const std::wstring& path) const {
    CheckLength(path);
    Execute(L"explore", path, false);
}

void CShell::RunProgram(const std::wstring& file, const std::wstring& parameters, bool wait,
                        const std::wstring& directory) const {
    RequireFile(file);
    if (wait)
        RunAndWait(file, parameters, directory);
    else
        Execute(nullptr, file, false, nullptr, parameters, directory);
}

void CShell::OpenFile(const std::wstring& file) const {
    RequireFile(file);
    const std::size_t dot = file.rfind(L'.');
    const std::size_t separator = file.rfind(L'\\');
    if (dot == std::wstring::npos) return;
    const std::wstring fileType = automation::ReadText(
        HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\" + file.substr(dot), nullptr);
    if (fileType.empty()) return;
    const std::wstring verb = OpenVerbOf(fileType);
    if (verb.empty()) return;
    const std::wstring folder =
        separator == std::wstring::npos ? std::wstring() : file.substr(0, separator);
    Execute(verb.c_str(), file, false, nullptr, {}, folder);
}

void CShell::OpenDocument(const std::wstring& file) const {
    CheckLength(file);
    Execute(L"open", file, false);
}

void CShell::OpenURL(const std::wstring& target) const {
    Execute(L"open", target, true, GetDesktopWindow());
}

void CShell::ShowProperties(const std::wstring& file, HWND owner) const {
    RequireFile(file);
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof info;
    info.fMask = SEE_MASK_INVOKEIDLIST | SEE_MASK_FLAG_NO_UI | SEE_MASK_NOCLOSEPROCESS;
    info.hwnd = owner ? owner : GetDesktopWindow();
    info.lpVerb = L"properties";
    info.lpFile = file.c_str();
    info.nShow = SW_SHOWNORMAL;
    if (!ShellExecuteExW(&info)) Throw(cannotShowProperties, L"Cannot show properties");
    if (info.hProcess) CloseHandle(info.hProcess);
}

}  // namespace vtdl
