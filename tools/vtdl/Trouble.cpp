#include "Trouble.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "Parameters.h"
#include "Reach.h"
#include "Services.h"
#include "Values.h"
#include "XmlFault.h"
#include "automation/Environment.h"

namespace vtdl::host {
namespace {

// Takes over the names and frees the array.
std::vector<std::wstring> NamesIn(SAFEARRAY* array) {
    std::vector<std::wstring> names;
    BSTR* texts = nullptr;
    LONG lower = 0, upper = -1;
    if (array && SUCCEEDED(SafeArrayGetLBound(array, 1, &lower)) &&
        SUCCEEDED(SafeArrayGetUBound(array, 1, &upper)) &&
        SUCCEEDED(SafeArrayAccessData(array, reinterpret_cast<void**>(&texts)))) {
        for (LONG i = lower; i <= upper; ++i)
            names.emplace_back(automation::ViewOf(texts[i - lower]));
        SafeArrayUnaccessData(array);
    }
    if (array) SafeArrayDestroy(array);
    return names;
}

constexpr long dataNotAvailable = static_cast<long>(0x800C0007);
constexpr long downloadFailure = static_cast<long>(0x800C0008);

constexpr long badRequest = 503;  // of GOOGLEHIST

constexpr const char* checkHint =
    "; if a quote server is there, quoteserver --check FOLDER names damaged lines of its data";

// How the library logs a reply that came, but held something it could not read.
constexpr std::string_view unread = "a value cannot be read: ";

// Of a damaged file the user has been warned; the defaults hold, as for the library.
ComPtr<_CXMLSettings> SettingsIfAny() {
    try {
        return LoadSettings();
    } catch (const Failure&) {
        return {};
    }
}

bool WasWrittenSince(const std::wstring& file, const FILETIME& time) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExW(file.c_str(), GetFileExInfoStandard, &data) &&
           CompareFileTime(&data.ftLastWriteTime, &time) >= 0;
}

// The error log, when it was written since this process started.
std::wstring WrittenLog(_CXMLSettings* settings) {
    FILETIME start, ignored;
    if (!GetProcessTimes(GetCurrentProcess(), &start, &ignored, &ignored, &ignored)) return {};
    const std::wstring name = ReadSetting(settings, L"errorhandler", L"errorlog", L"Error Log.txt");
    for (const std::wstring& file : {name, DataFolder() + L"\\" + name})
        if (WasWrittenSince(file, start)) return file;
    return {};
}

std::string LogHint(_CXMLSettings* settings) {
    const std::wstring file = WrittenLog(settings);
    return file.empty() ? "" : "; see " + ToUtf8(file);
}

// Why this process's last download failed ("status 404"), from the line that it left in the log:
// the session's error has no place for it.
std::string LoggedReason(_CXMLSettings* settings) {
    std::ifstream log(std::filesystem::path(WrittenLog(settings)), std::ios::binary);
    const std::string own = std::string(" ").append(std::to_string(GetCurrentProcessId())) + ": ";
    std::string reason;
    for (std::string line; std::getline(log, line);) {
        const std::size_t end = line.find("): ", line.find(" (0x"));
        if (line.find(own) == line.npos || end == line.npos) continue;
        reason = line.substr(end + 3, line.find_last_not_of('\r') - end - 2);
    }
    return reason;
}

bool IsThisMachine(std::string_view host) {
    host = HostIn(host).name;
    return host.starts_with("127.") || host.starts_with("localhost") || host.starts_with("[::1]");
}

// What was wrong with a reply of the host, and what to do about it.
std::string ReplyTrouble(const Session& session, const std::string& host,
                         const std::string& service, const std::string& reason) {
    const std::string name = host + " (" + service + ")";
    if (reason == "status 401" || reason == "status 403")
        return name + " refuses the account (" + reason + ")" +
               (SameName(session.SourceName(), "PCQUOTE")
                    ? "; --source-parameter USER=NAME PASSWORD=WORD names another"
                    : "");
    if (reason.find(" within ") != reason.npos)
        return name + " takes connections, but: " + reason +
               "; --timeout of get, or VTDL_TIMEOUT, gives it more seconds";
    return name + " is there, but sent nothing usable" +
           (reason.empty() ? "" : " (" + reason + ")") +
           (reason == "status 500" && IsThisMachine(host) ? checkHint : "");
}

std::string HostTrouble(const Session& session, _CXMLSettings* settings) {
    const std::string service(ServiceOf(session.SourceName()));
    const std::wstring host = HostOf(settings, service);
    const HostAnswer answer = AskHosts({host})[0];
    if (!answer.fault.empty())
        return "cannot reach " + ToUtf8(host) + " (" + service + "): " + answer.fault +
               "; vtdl doctor looks into it";
    return ReplyTrouble(session, ToUtf8(host), service, LoggedReason(settings)) +
           (WhoAnswers(answer.head).isLiving ? "; " + PageOf(ToUtf8(host)) + " says why" : "");
}

bool IsAssigned(const std::vector<std::string>& assignments, std::string_view name) {
    return std::ranges::any_of(assignments, [&](const std::string& assignment) {
        return SameName(assignment.substr(0, assignment.find('=')), name);
    });
}

// Nothing went wrong, but nothing came either.
bool IsNothing(const Session& session, const Fault& fault, _CXMLSettings* settings) {
    if (fault.number == dataNotAvailable)
        return HasFormat(session.SourceName()) && !LoggedReason(settings).starts_with(unread);
    // How services say that they have nothing of the kind.
    if (fault.number == downloadFailure) return LoggedReason(settings) == "status 404";
    return fault.number == 0;
}

std::string Explained(const Session& session, const Fault& fault, _CXMLSettings* settings) {
    const std::string_view sentence = DdeSentence(fault.number);
    if (!sentence.empty()) return fault.text + ": " + std::string(sentence);
    if (fault.number == dataNotAvailable && !HasFormat(session.SourceName()))
        return fault.text + ": the format of its service is not known";
    if (ServiceOf(session.SourceName()).empty()) return fault.text;
    if (fault.number == dataNotAvailable) return fault.text + ": " + LoggedReason(settings);
    if (fault.number == downloadFailure) return fault.text + ": " + HostTrouble(session, settings);
    // How a page of status 500 looks to the source that knows pages by their text.
    const std::string host = ToUtf8(HostOf(settings, ServiceOf(session.SourceName())));
    return fault.text + (fault.number == badRequest && IsThisMachine(host) ? checkHint : "");
}

// The range that was asked, and whether it was chosen.
std::string NoRows(const Session& session, const std::vector<std::string>& assignments) {
    std::string asked;
    for (const std::string& assignment : assignments)
        if (!IsAssigned({assignment}, "STARTDATE") && !IsAssigned({assignment}, "ENDDATE"))
            asked += " " + assignment;
    std::string text = "the service sent no rows for" + (asked.empty() ? " what was asked" : asked);
    const std::string first = session.ValueOf("STARTDATE"), last = session.ValueOf("ENDDATE");
    if (!first.empty() && !last.empty()) {
        text += " from " + first + " to " + last;
        if (!IsAssigned(assignments, "STARTDATE") && !IsAssigned(assignments, "ENDDATE"))
            text += ", which is the default; STARTDATE= and ENDDATE= name another range";
    }
    if (SameName(session.SourceName(), "YAHOODIVIDENDS"))
        text += "; a reply with a single row counts as none";
    return text;
}

class DamagedFile : public Failure {
public:
    using Failure::Failure;
};

// Of a file that the library's store could not load.
std::string DamageOf(const std::wstring& file) {
    std::ifstream in(std::filesystem::path(file), std::ios::binary);
    return XmlFault(std::string(std::istreambuf_iterator<char>(in), {}));
}

}  // namespace

std::wstring SettingsFile() { return DataFolder() + L"\\" + settingsFileName; }

ComPtr<_CXMLSettings> LoadSettings() {
    ComPtr<_CXMLSettings> settings;
    const std::wstring file = SettingsFile();
    if (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) return settings;
    Check(CoCreateInstance(__uuidof(CXMLSettings), nullptr, CLSCTX_INPROC_SERVER,
                           __uuidof(_CXMLSettings), reinterpret_cast<void**>(settings.put())),
          "making a settings store");
    Check(settings->put_FileName(Bstr(file).get()), "naming the settings file");
    try {
        Check(settings->LoadFile(), "it cannot be loaded");
    } catch (const Failure& e) {
        const std::string damage = DamageOf(file);
        throw DamagedFile(damage.empty() ? e.what() : damage);
    }
    return settings;
}

SettingsTrouble TroubleOfSettings() {
    const std::wstring folder = DataFolder();
    std::error_code ignored;
    if (!std::filesystem::is_directory(folder + L"\\", ignored))
        return {"the data folder " + ToUtf8(folder) + " is not there, and the defaults hold",
                "Make it, or name another in the environment variable VTDL_DATA."};
    try {
        LoadSettings();
    } catch (const DamagedFile& e) {
        return {"the settings file " + ToUtf8(SettingsFile()) + " is damaged, " + e.what() +
                    ", and the defaults hold",
                "Mend it there, or move the file away."};
    }
    return {};
}

void WarnOfSettings() {
    const SettingsTrouble trouble = TroubleOfSettings();
    if (!trouble.what.empty())
        std::cerr << "vtdl: warning: " << Printable(trouble.what) << ". " << trouble.remedy << '\n';
}

std::wstring ReadSetting(_CXMLSettings* settings, std::wstring_view section, std::wstring_view key,
                         std::wstring_view fallback) {
    if (!settings) return std::wstring(fallback);
    Bstr sectionName(section), keyName(key), defaultValue(fallback), value;
    Check(settings->GetSetting(sectionName.put(), keyName.put(), defaultValue.put(), value.put()),
          "reading a setting");
    return std::wstring(value.view());
}

std::wstring HostOf(_CXMLSettings* settings, std::string_view service) {
    constexpr wchar_t usual[] = L"127.0.0.1:8733";
    const std::wstring host = ReadSetting(settings, L"hosts", ToWide(service), usual);
    return host.empty() ? usual : host;
}

std::vector<Setting> AllSettings(_CXMLSettings* settings) {
    std::vector<Setting> all;
    SAFEARRAY* sections = nullptr;
    long count = 0;
    Check(settings->EnumerateAllSections(&sections, &count), "listing the settings");
    const auto isUpper = [](wchar_t c) { return c >= L'A' && c <= L'Z'; };
    for (const std::wstring& section : NamesIn(sections)) {
        // The store would look into the section that is called so in lower case.
        if (std::ranges::any_of(section, isUpper)) {
            all.push_back({ToUtf8(section), "", ""});
            continue;
        }
        SAFEARRAY* keys = nullptr;
        Bstr name(section);
        Check(settings->EnumerateAllKeys(name.put(), &keys, &count), "listing a section");
        const std::vector<std::wstring> names = NamesIn(keys);
        for (const std::wstring& key : names)
            all.push_back(
                {ToUtf8(section), ToUtf8(key), ToUtf8(ReadSetting(settings, section, key, L""))});
        if (names.empty()) all.push_back({ToUtf8(section), "", ""});
    }
    return all;
}

std::string WhyNothing(const Session& session, const std::vector<std::string>& assignments) {
    const Fault fault = SessionFault(session);
    const ComPtr<_CXMLSettings> settings = SettingsIfAny();
    return session.SourceName() + ": " +
           (IsNothing(session, fault, settings.get()) ? NoRows(session, assignments)
                                                      : Explained(session, fault, settings.get())) +
           LogHint(settings.get());
}

}  // namespace vtdl::host
