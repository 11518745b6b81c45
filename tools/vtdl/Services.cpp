#include "Services.h"

#include <algorithm>
#include <optional>

#include "Parameters.h"
#include "Values.h"

namespace vtdl::host {
namespace {

struct Range {
    double least, most;
    const char* form;
};
constexpr Range inSeconds{1, 100000, "a number of seconds, 1 to 100000"};

struct KnownKey {
    const char* section;
    const char* key;
    std::optional<Range> number = {};
    bool isTruth = false;
};

const KnownKey knownKeys[] = {
    {"http", "timeout", inSeconds},
    {"http", "total", inSeconds},
    {"http", "maxbody", Range{1, 100000, "a number of megabytes, 1 to 100000"}},
    {"http", "strict", Range{0, 1, "0 or 1"}},
    {"cboe/form", "download"},
    {"cboe/form", "lookup"},
    {"errorhandler", "actions", Range{1, 15, "a sum of 1, 2, 4 and 8"}},
    {"errorhandler", "errorlog"},
    {"errorhandler", "callstack", {}, true},
    {"errorhandler", "tracing", {}, true},
    {"errorhandler", "tracingflags", Range{1, 3, "1, 2 or 3"}},
    {"errorhandler", "tracinglog"},
    {"errorhandler", "supportmail"},
};

const std::string sections[] = {"hosts", "http", "cboe/form", "errorhandler"};

bool IsWholeNumber(std::string_view text, const Range& range) {
    const auto number = ParseNumber(text);
    return number && *number == static_cast<double>(static_cast<long>(*number)) &&
           *number >= range.least && *number <= range.most;
}

// "ichart3.example.org", one of several servers of the chart service.
bool IsNumberedServer(std::string_view name) {
    const std::size_t digit = name.find_first_of("0123456789");
    const std::size_t dot = name.find('.');
    return digit > 0 && dot != name.npos && digit < dot;
}

std::string HostFault(const Setting& setting) {
    const bool isService = std::ranges::any_of(
        services, [&](std::string_view service) { return SameName(service, setting.key); });
    if (!isService && !IsNumberedServer(setting.key)) {
        const std::vector<std::string> known(services.begin(), services.end());
        return "is no service" + Suggestion(setting.key, known);
    }
    if (setting.value.empty()) return "names no host, so that the default holds";
    return IsHost(setting.value)
               ? ""
               : "= " + setting.value + " is no host or host:port, or https:// and one of them";
}

std::string KeyFault(const Setting& setting) {
    std::vector<std::string> keys;
    for (const KnownKey& known : knownKeys) {
        if (!SameName(known.section, setting.section)) continue;
        keys.emplace_back(known.key);
        if (!SameName(known.key, setting.key)) continue;
        const bool isTruth = SameName(setting.value, "True") || SameName(setting.value, "False") ||
                             ParseNumber(setting.value);
        if (setting.value.empty() || (known.number ? IsWholeNumber(setting.value, *known.number)
                                                   : !known.isTruth || isTruth))
            return {};
        return "= " + setting.value + " is not " +
               (known.number ? known.number->form : "True or False") + "; it does not count";
    }
    return "is no setting" + Suggestion(setting.key, keys);
}

std::string FaultOf(const Setting& setting) {
    if (SameName(setting.section, "hosts")) return HostFault(setting);
    if (std::ranges::any_of(
            sections, [&](const std::string& known) { return SameName(known, setting.section); }))
        return KeyFault(setting);
    const std::string suggestion = Suggestion(setting.section, sections);
    return suggestion.empty() ? "" : "is in no section of the library" + suggestion;
}

// Of the first header that is called so; what it holds is anybody's.
std::optional<std::string> HeaderOf(std::string_view head, std::string_view name) {
    while (!head.empty()) {
        const std::string_view line = head.substr(0, head.find("\r\n"));
        head.remove_prefix(std::min(line.size() + 2, head.size()));
        const std::size_t colon = line.find(':');
        if (colon == line.npos || !SameName(line.substr(0, colon), name)) continue;
        const std::size_t value = line.find_first_not_of(' ', colon + 1);
        return Printable(value == line.npos ? "" : line.substr(value));
    }
    return std::nullopt;
}

}  // namespace

std::string_view ServiceOf(std::string_view source) {
    static constexpr std::pair<std::string_view, std::string_view> used[] = {
        {"YAHOOHIST", "yahoo.chart"},
        {"YAHOODIVIDENDS", "yahoo.chart"},
        {"YAHOOREALTIME", "yahoo.quotes"},
        {"GOOGLEHIST", "google.finance"},
        {"PCQUOTE", "pcquote"},
        {"PIFIN", "pifin"},
        {"CBOE", "cboe"},
        {"YAHOOSNAPSHOT", "yahoo.quotes"},
        {"YAHOOOPTIONS", "yahoo.quotes"},
        {"INOSNAPSHOT", "ino"},
        {"INOOPTIONS", "ino"},
        {"INOEXCHANGES", "ino"},
        {"INOFUTURESLIST", "ino"},
    };
    for (const auto& [name, service] : used)
        if (SameName(name, source)) return service;
    return {};
}

bool HasFormat(std::string_view source) {
    return SameName(source, "DDE") || !ServiceOf(source).empty();
}

bool NeedsTicker(std::string_view source) {
    return !SameName(source, "INOEXCHANGES") && !SameName(source, "INOFUTURESLIST");
}

Host HostIn(std::string_view text) {
    constexpr std::string_view secure = "https://";
    const bool isSecure = SameName(text.substr(0, secure.size()), secure);
    return {isSecure, text.substr(isSecure ? secure.size() : 0)};
}

std::string PageOf(std::string_view host) {
    const Host parts = HostIn(host);
    return std::string(parts.isSecure ? "https://" : "http://").append(parts.name).append("/");
}

bool IsHost(std::string_view text) {
    text = HostIn(text).name;
    // Behind the brackets of an address that has colons itself.
    const std::size_t colon =
        text.find(':', text.starts_with('[') ? std::min(text.find(']'), text.size()) : 0);
    const std::string_view name = text.substr(0, colon);
    return !name.empty() && name.find_first_of(" /") == name.npos &&
           (colon == text.npos || IsWholeNumber(text.substr(colon + 1), {1, 65535, ""}));
}

Who WhoAnswers(std::string_view head) {
    constexpr std::string_view own = "quoteserver/";
    if (head.empty()) return {"it does not say who it is"};
    if (!head.starts_with("HTTP/")) return {"some other server, not of the web"};
    const std::string server = HeaderOf(head, "Server").value_or("");
    const bool isOwn = server.starts_with(own);
    std::string name = "quote server";
    if (isOwn) name.append(" ").append(server, own.size());
    if (const auto sources = HeaderOf(head, "X-Quote-Sources"))
        return {name + ", living: " + (sources->empty() ? "nobody is asked" : *sources), true};
    if (isOwn) return {name + ", from files"};
    std::string other = "some other server";
    if (!server.empty()) other.append(", ").append(server);
    return {other};
}

std::string_view DdeSentence(long number) {
    switch (number) {
        case 16384:
            return "the server did not confirm the link in time";
        case 16385:
            return "the server is busy; try again";
        case 16386:
            return "the server did not answer in time";
        case 16393:
            return "the server has no such item, or refuses it";
        case 16394:
            return "no program serves this service and topic on this desktop, or only one of "
                   "another level (elevated or not)";
        case 16396:
        case 16398:
            return "the server has ended";
        default:
            return {};
    }
}

std::vector<std::string> SettingsFaults(const std::vector<Setting>& settings) {
    std::vector<std::string> faults;
    const auto isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
    for (const Setting& setting : settings) {
        std::string name = setting.section;
        if (!setting.key.empty()) name.append("/").append(setting.key);
        if (std::ranges::any_of(name, isUpper))
            faults.push_back(name + " is not in lower case, and is never read");
        else if (const std::string fault = FaultOf(setting); !setting.key.empty() && !fault.empty())
            faults.push_back(name.append(" ").append(fault));
    }
    return faults;
}

}  // namespace vtdl::host
