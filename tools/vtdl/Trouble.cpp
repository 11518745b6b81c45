#include "Trouble.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "Failure.h"
#include "Names.h"
#include "Reach.h"
#include "Services.h"
#include "Settings.h"
#include "automation/Environment.h"

namespace vtdl::host {
namespace {

constexpr long dataNotAvailable = static_cast<long>(0x800C0007);
constexpr long downloadFailure = static_cast<long>(0x800C0008);

// A damaged file is the doctor's to tell; here the defaults hold, as for the library.
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
    const std::wstring name = ReadSetting(settings, L"ERRORHANDLER", L"errorlog", L"Error Log.txt");
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
        const std::size_t end = line.rfind("): ");
        if (line.find(own) == line.npos || end == line.npos) continue;
        reason = line.substr(end + 3, line.find_last_not_of('\r') - end - 2);
    }
    return reason;
}

std::string HostTrouble(_CXMLSettings* settings, std::string_view service) {
    const std::wstring host = HostOf(settings, service);
    const std::string name = ToUtf8(host) + " (" + std::string(service) + ")";
    if (!Answering({host})[0]) return "cannot reach " + name + "; vtdl doctor looks into it";
    const std::string reason = LoggedReason(settings);
    return name + " is there, but sent nothing usable" +
           (reason.empty() ? "" : " (" + reason + ")");
}

bool IsAssigned(const std::vector<std::string>& assignments, std::string_view name) {
    return std::ranges::any_of(assignments, [&](const std::string& assignment) {
        return SameName(assignment.substr(0, assignment.find('=')), name);
    });
}

}  // namespace

bool IsNothing(const Session& session, const Fault& fault) {
    if (fault.number == dataNotAvailable) return HasFormat(session.SourceName());
    // How services say that they have nothing of the kind.
    if (fault.number == downloadFailure) return LoggedReason(SettingsIfAny().get()) == "status 404";
    return fault.number == 0;
}

std::string Explained(const Session& session, const Fault& fault) {
    const std::string_view service = ServiceOf(session.SourceName());
    const std::string_view sentence = DdeSentence(fault.number);
    if (!sentence.empty()) return fault.text + ": " + std::string(sentence);
    if (fault.number == dataNotAvailable && !HasFormat(session.SourceName()))
        return fault.text + ": the format of its service is not known";
    if (service.empty()) return fault.text;
    const ComPtr<_CXMLSettings> settings = SettingsIfAny();
    std::string text = fault.text;
    if (fault.number == downloadFailure) text += ": " + HostTrouble(settings.get(), service);
    return text + LogHint(settings.get());
}

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
    return text + LogHint(SettingsIfAny().get());
}

}  // namespace vtdl::host
