#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "Commands.h"
#include "Console.h"
#include "Host.h"
#include "Output.h"
#include "Reach.h"
#include "ReportParts.h"
#include "Trouble.h"
#include "Values.h"
#include "automation/Environment.h"
#include "automation/RegistryKey.h"

namespace vtdl::host {
namespace {

constexpr wchar_t classes[] = L"Software\\Classes\\";

/// What was found, each with what to do about it.
class Findings {
public:
    void Good(const std::string& what) { Add("ok    ", what); }
    void Note(const std::string& what) { Add("note  ", what); }
    void Bad(const std::string& what, const std::string& remedy) {
        Add("BAD   ", what);
        Add("      ", remedy);
        m_isBad = true;
    }
    void Heading(const std::string& title) { m_text.append("\n").append(title).append("\n"); }

    bool IsBad() const { return m_isBad; }
    const std::string& Text() const { return m_text; }

private:
    void Add(const char* mark, const std::string& what) {
        m_text.append(mark).append(what).append("\n");
    }

    std::string m_text;
    bool m_isBad = false;
};

std::wstring DefaultValue(HKEY root, const std::wstring& path, REGSAM view) {
    const automation::RegistryKey key = automation::OpenKey(root, path, KEY_READ | view);
    return key ? automation::ReadText(key.get(), L"", nullptr) : std::wstring();
}

std::string VersionOf(const std::wstring& file) {
    DWORD ignored = 0;
    std::string block(GetFileVersionInfoSizeW(file.c_str(), &ignored), '\0');
    VS_FIXEDFILEINFO* version = nullptr;
    UINT size = 0;
    if (block.empty() ||
        !GetFileVersionInfoW(file.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
        !VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&version), &size))
        return "of unknown version";
    return "version " + std::to_string(HIWORD(version->dwFileVersionMS)) + "." +
           std::to_string(LOWORD(version->dwFileVersionMS)) + "." +
           std::to_string(HIWORD(version->dwFileVersionLS));
}

// False when nothing is registered there.
bool CheckRegistration(Findings& findings, HKEY root, REGSAM view) {
    const std::wstring identifier =
        DefaultValue(root, std::wstring(classes) + L"vtdl.CManager\\CLSID", view);
    if (identifier.empty()) return false;
    const std::wstring file =
        DefaultValue(root, classes + (L"CLSID\\" + identifier) + L"\\InprocServer32", view);
    const std::string where = std::string(root == HKEY_CURRENT_USER ? "for you" : "for all users") +
                              (view == KEY_WOW64_64KEY ? ", 64-bit: " : ", 32-bit: ") +
                              ToUtf8(file);
    if (std::filesystem::exists(file))
        findings.Good(where + ", " + VersionOf(file));
    else
        findings.Bad(where + " is not there",
                     "Install the library again, or take the entry back "
                     "with regsvr32 /u where the file was.");
    return true;
}

// An elevated process sees no class that is registered for its user alone.
bool IsElevated() {
    HANDLE token = nullptr;
    TOKEN_ELEVATION elevation{};
    DWORD size = sizeof elevation;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return false;
    const BOOL isKnown =
        GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &size);
    CloseHandle(token);
    return isKnown && elevation.TokenIsElevated != 0;
}

// VBScript is leaving Windows, and its class with it.
void TellRegularExpressions(Findings& findings) {
    CLSID identifier;
    const bool isThere = CLSIDFromProgID(L"VBScript.RegExp", &identifier) == S_OK;
    findings.Note(isThere
                      ? "VBScript's RegExp class is there"
                      : "VBScript's RegExp class is not there; scripts that use VBScript do not "
                        "run on this system");
}

// The file that a library of this process was loaded from.
std::wstring LoadedFile() {
    std::wstring file(MAX_PATH, L'\0');
    const HMODULE module = GetModuleHandleW(L"VTDL33.dll");
    file.resize(module ? GetModuleFileNameW(module, file.data(), MAX_PATH) : 0);
    return file;
}

// The portable form needs no entry: a manifest beside the program names the library.
void CheckRegistrations(Findings& findings) {
    findings.Heading("Registration");
    findings.Note(IsElevated()
                      ? "this runs elevated: Windows hides what is registered for you alone"
                      : "this runs without elevation; elevated programs see only what is "
                        "registered for all users");
    bool isRegistered = false;
    BOOL isWow64 = FALSE;
    IsWow64Process(GetCurrentProcess(), &isWow64);
    const bool hasSecondView = isWow64 || sizeof(void*) == 8;
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        isRegistered |= CheckRegistration(findings, root, KEY_WOW64_32KEY);
        if (hasSecondView) isRegistered |= CheckRegistration(findings, root, KEY_WOW64_64KEY);
    }
    const std::string bits = std::to_string(8 * sizeof(void*)) + "-bit programs";
    try {
        const Library library;
        findings.Good("it loads in " + bits + " and has " +
                      std::to_string(library.Sources().size()) + " data sources");
        if (!isRegistered)
            findings.Note("portable: " + ToUtf8(LoadedFile()) +
                          " is used without being registered; other programs do not see it");
    } catch (const std::exception& e) {
        if (isRegistered)
            findings.Bad("it does not load in " + bits + ": " + e.what(),
                         "Register the library of the same bitness as the host.");
        else
            findings.Bad("the library is not registered",
                         "Run the installer, or: regsvr32 /n /i:user VTDL33.dll (for yourself), "
                         "regsvr32 VTDL33.dll (for all users, as administrator).");
    }
}

// Without touching what is there.
bool IsWritable(const std::filesystem::path& file) {
    const bool isThere = std::filesystem::exists(file);
    const std::filesystem::path probe = isThere ? file : file.parent_path() / L"VTDL33.probe.tmp";
    const HANDLE handle = CreateFileW(probe.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      isThere ? OPEN_EXISTING : CREATE_NEW,
                                      isThere ? 0 : FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    CloseHandle(handle);
    return true;
}

ComPtr<_CXMLSettings> CheckSettings(Findings& findings) {
    findings.Heading("Settings");
    const std::wstring file = SettingsFile();
    const std::string name = ToUtf8(file);
    ComPtr<_CXMLSettings> settings;
    if (const SettingsTrouble trouble = TroubleOfSettings(); !trouble.what.empty()) {
        findings.Bad(trouble.what, trouble.remedy);
        return settings;
    }
    if (!IsWritable(file))
        findings.Bad(name + " cannot be written",
                     "Give yourself the right to write there, or name another folder in the "
                     "environment variable VTDL_DATA.");
    else
        findings.Good(name + (std::filesystem::exists(file) ? "" : " (will be made on first use)"));
    if (!std::filesystem::exists(file)) return settings;
    settings = LoadSettings();
    findings.Good("it can be read");
    for (const std::string& fault : SettingsFaults(AllSettings(settings.get())))
        findings.Bad(fault, "Mend it in the settings file, or take it out.");
    return settings;
}

// Where the library would put it for a program that is started here.
void CheckErrorLog(Findings& findings, _CXMLSettings* settings) {
    const std::wstring name = ReadSetting(settings, L"errorhandler", L"errorlog", L"Error Log.txt");
    const bool isPlain = name.find_first_of(L"\\/:") == name.npos;
    const std::wstring inDataFolder = DataFolder() + L"\\" + name;
    if (IsWritable(name))
        findings.Good("the error log " + ToUtf8(name) + (isPlain ? " in the current folder" : ""));
    else if (isPlain && IsWritable(inDataFolder))
        findings.Good("the error log " + ToUtf8(inDataFolder));
    else
        findings.Bad(
            "the error log " + ToUtf8(isPlain ? inDataFolder : name) + " cannot be written",
            "Without it nobody learns why a download failed: give yourself the right to "
            "write there, or name another file, errorlog in the section errorhandler.");
}

// What a spreadsheet of this user would get; vtdl itself has set the variable.
void TellStrictness(Findings& findings, _CXMLSettings* settings, const std::wstring& variable) {
    const std::string value = ToUtf8(variable);
    const bool isVariable = value == "0" || value == "1";
    if (!value.empty() && !isVariable)
        findings.Bad("VTDL_STRICT = " + value + " is neither 0 nor 1, and does not count",
                     "Set it to 1, or take it out of the environment.");
    const std::string setting = ToUtf8(ReadSetting(settings, L"http", L"strict", L"0"));
    const bool isStrict = (isVariable ? value : setting) == "1";
    findings.Note(std::string("strict replies are ") + (isStrict ? "ON" : "OFF") +
                  " for a spreadsheet or script that is started here (" +
                  (isVariable ? "VTDL_STRICT = " + value + ", which stands above " : "") +
                  "settings http/strict = " + setting + "); vtdl itself is always strict");
}

/// Returns the hosts of quote servers that have sources.
std::vector<std::wstring> CheckHosts(Findings& findings, _CXMLSettings* settings) {
    findings.Heading("Services");
    std::vector<std::wstring> hosts;
    std::vector<std::string> users;  // the services of each host
    for (const std::string_view service : services) {
        if (service == "ivolatility") continue;  // nothing asks it
        const std::wstring host = HostOf(settings, service);
        if (!IsHost(ToUtf8(host))) continue;  // which has been told
        const auto at = static_cast<std::size_t>(std::ranges::find(hosts, host) - hosts.begin());
        if (at == hosts.size()) {
            hosts.push_back(host);
            users.emplace_back();
        }
        users[at].append(users[at].empty() ? "" : ", ").append(service);
    }
    std::vector<std::wstring> living;
    const std::vector<HostAnswer> answers = AskHosts(hosts);
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        const std::string text = ToUtf8(hosts[i]) + " (" + users[i] + ")";
        if (!answers[i].fault.empty()) {
            findings.Bad(
                text + ": " + answers[i].fault,
                answers[i].fault.find("certificate") != answers[i].fault.npos
                    ? "Name the host as its certificate does, or let its issuer be trusted here: "
                      "certutil -addstore Root ca.crt, as administrator."
                    : "Start the quote server (why it ended stands in quoteserver.log, in the data "
                      "folder), or name the service's host in the section hosts of the settings "
                      "file.");
            continue;
        }
        const Who who = WhoAnswers(answers[i].head);
        findings.Good(text + " takes connections: " + who.text);
        if (!who.isLiving) continue;
        findings.Note("how its sources do: " + PageOf(ToUtf8(hosts[i])));
        living.push_back(hosts[i]);
    }
    findings.Note(
        "what a service delivers is not tried here; a download shows it: "
        "vtdl get YAHOOHIST TICKER=AAPL STARTDATE=2008-10-01 ENDDATE=2008-10-14");
    return living;
}

void TellLocale(Findings& findings) {
    findings.Heading("Locale");
    wchar_t decimal[8] = L"", list[8] = L"";
    GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, decimal, 8);
    GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, list, 8);
    findings.Note("decimal separator \"" + ToUtf8(decimal) + "\", list separator \"" +
                  ToUtf8(list) + "\"; CSV for your spreadsheet: --separator \"" + ToUtf8(list) +
                  "\" --decimal \"" + ToUtf8(decimal) + "\"");
}

// "10.0.19043, Wine 8.0": not what the compatibility of a program makes of it.
std::string SystemText() {
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    RTL_OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    const auto address = [&](const char* name) {
        return reinterpret_cast<void (*)()>(GetProcAddress(system, name));
    };
    if (const auto get =
            reinterpret_cast<LONG(WINAPI*)(RTL_OSVERSIONINFOW*)>(address("RtlGetVersion")))
        get(&version);
    std::string text = std::to_string(version.dwMajorVersion) + "." +
                       std::to_string(version.dwMinorVersion) + "." +
                       std::to_string(version.dwBuildNumber);
    if (const auto wine = reinterpret_cast<const char*(__cdecl*)()>(address("wine_get_version")))
        text.append(", Wine ").append(wine());
    return text;
}

std::string Report(const Findings& findings, const std::vector<Setting>& settings,
                   const std::wstring& log, const std::vector<std::wstring>& living) {
    constexpr std::size_t mostOfALog = 16384;
    std::string text = std::string("vtdl ") + VTDL_VERSION + ", " +
                       std::to_string(8 * sizeof(void*)) + "-bit, Windows " + SystemText() +
                       ", code page " + std::to_string(GetACP()) + "\n" + findings.Text();
    text.append("\nThe settings, without secrets\n").append(SettingsWithoutSecrets(settings));
    for (const std::wstring& file :
         {log, DataFolder() + L"\\" + log, DataFolder() + L"\\quoteserver.log"}) {
        std::ifstream in(std::filesystem::path(file), std::ios::binary);
        if (!in) continue;
        std::string lines{std::istreambuf_iterator<char>(in), {}};
        std::erase(lines, '\r');
        text.append("\nThe end of ").append(ToUtf8(file)).append("\n");
        text.append(LastLines(lines, mostOfALog));
    }
    const std::vector<HostAnswer> answers = AskHosts(living, true);
    for (std::size_t i = 0; i < living.size(); ++i) {
        const std::size_t end = std::min(answers[i].head.find("\r\n\r\n"), answers[i].head.size());
        text.append("\nThe last failures of http://").append(ToUtf8(living[i])).append("/status\n");
        text.append(StatusText(answers[i].head.substr(end)));
    }
    return WithoutSecrets(std::move(text), settings);
}

}  // namespace

int Doctor(const std::wstring& userStrict, const std::string& reportFile) {
    const Apartment apartment;
    Findings findings;
    CheckRegistrations(findings);
    ComPtr<_CXMLSettings> settings;
    try {
        settings = CheckSettings(findings);
    } catch (const Failure& e) {
        findings.Bad(e.what(), "Register the library first.");
    }
    CheckErrorLog(findings, settings.get());
    TellStrictness(findings, settings.get(), userStrict);
    const std::vector<std::wstring> living = CheckHosts(findings, settings.get());
    findings.Heading("System");
    TellRegularExpressions(findings);
    TellLocale(findings);
    Print(findings.Text().substr(1));
    if (!reportFile.empty())
        WriteFile(
            reportFile,
            Report(findings, settings ? AllSettings(settings.get()) : std::vector<Setting>(),
                   ReadSetting(settings.get(), L"errorhandler", L"errorlog", L"Error Log.txt"),
                   living));
    return findings.IsBad() ? 1 : 0;
}

}  // namespace vtdl::host
