#include "Trouble.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <thread>

#include "Parameters.h"
#include "Services.h"
#include "Values.h"
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

constexpr std::chrono::seconds patience{3};

bool Answers(const std::wstring& host) {
    TIMEVAL limit{static_cast<long>(patience.count()), 0};
    const std::size_t colon = host.rfind(L':');
    const std::wstring port = colon == std::wstring::npos ? L"80" : host.substr(colon + 1);
    ADDRINFOW hints{};
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW* found = nullptr;
    if (GetAddrInfoW(host.substr(0, colon).c_str(), port.c_str(), &hints, &found) != 0)
        return false;
    bool isConnected = false;
    for (const ADDRINFOW* one = found; one && !isConnected; one = one->ai_next) {
        const SOCKET socket = ::socket(one->ai_family, SOCK_STREAM, IPPROTO_TCP);
        u_long isNonBlocking = 1;
        ioctlsocket(socket, static_cast<long>(FIONBIO), &isNonBlocking);
        connect(socket, one->ai_addr, static_cast<int>(one->ai_addrlen));
        // Windows tells a refusal in the third set.
        fd_set writable, refused;
        FD_ZERO(&writable);
        FD_SET(socket, &writable);
        refused = writable;
        int error = 0;
        int size = sizeof error;
        isConnected =
            select(0, nullptr, &writable, &refused, &limit) > 0 && FD_ISSET(socket, &writable) &&
            getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) == 0 &&
            error == 0;
        closesocket(socket);
    }
    FreeAddrInfoW(found);
    return isConnected;
}

// Shared with threads that may still look a name up when nobody waits any more.
struct Answered {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<bool> hosts;
    std::size_t open = 0;
};

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

std::wstring SettingsFile() { return DataFolder() + L"\\" + settingsFileName; }

ComPtr<_CXMLSettings> LoadSettings() {
    ComPtr<_CXMLSettings> settings;
    const std::wstring file = SettingsFile();
    if (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) return settings;
    Check(CoCreateInstance(__uuidof(CXMLSettings), nullptr, CLSCTX_INPROC_SERVER,
                           __uuidof(_CXMLSettings), reinterpret_cast<void**>(settings.put())),
          "making a settings store");
    Check(settings->put_FileName(Bstr(file).get()), "naming the settings file");
    Check(settings->LoadFile(), "loading it");
    return settings;
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
    return ReadSetting(settings, L"HOSTS", ToWide(service), L"127.0.0.1:8733");
}

std::vector<Setting> AllSettings(_CXMLSettings* settings) {
    std::vector<Setting> all;
    SAFEARRAY* sections = nullptr;
    long count = 0;
    Check(settings->EnumerateAllSections(&sections, &count), "listing the settings");
    for (const std::wstring& section : NamesIn(sections)) {
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

std::vector<bool> Answering(const std::vector<std::wstring>& hosts) {
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return std::vector<bool>(hosts.size());
    const auto answered = std::make_shared<Answered>();
    answered->hosts.resize(hosts.size());
    answered->open = hosts.size();
    for (std::size_t i = 0; i < hosts.size(); ++i)
        std::thread([answered, i, host = hosts[i]] {
            const bool isThere = Answers(host);
            const std::lock_guard lock(answered->mutex);
            answered->hosts[i] = isThere;
            --answered->open;
            answered->changed.notify_one();
        }).detach();
    std::unique_lock lock(answered->mutex);
    answered->changed.wait_for(lock, patience, [&] { return answered->open == 0; });
    return answered->hosts;  // the sockets' library stays: a thread may use it yet
}

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
