// What is known about the sources' services, for messages that lead on.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace vtdl::host {

/// The services that the settings section hosts may name.
inline constexpr std::array<std::string_view, 9> services = {
    "yahoo.chart", "yahoo.quotes", "google.finance", "pcquote", "pifin",
    "cboe",        "ino",          "ivolatility",    "vestora"};

/// The service that a source downloads from; empty for DDE and for sources without a format.
std::string_view ServiceOf(std::string_view source);

/// False for a source whose service's format is not known: its downloads bring nothing.
bool HasFormat(std::string_view source);

/// False for a list that is whole without one.
bool NeedsTicker(std::string_view source);

/// "name" or "name:port", or that behind "https://", as the section hosts takes it.
bool IsHost(std::string_view text);

/// A host as it stands in the settings, taken apart.
struct Host {
    bool isSecure = false;
    std::string_view name;  // "name" or "name:port"
};
Host HostIn(std::string_view text);

/// The address of a host's own page.
std::string PageOf(std::string_view host);

/// Who sent a reply, by its head.
struct Who {
    std::string text;       // "quote server 4.1.0, from files"
    bool isLiving = false;  // a quote server that asks others, and has a page about them
};
Who WhoAnswers(std::string_view head);

/// What a DDE error means to who asked; empty for numbers that are none, or that say all.
std::string_view DdeSentence(long number);

struct Setting {
    std::string section;
    std::string key;
    std::string value;
};

/// What the library does not take as its user means it, each as one sentence. Sections that are
/// like none of the library's are a host's own.
std::vector<std::string> SettingsFaults(const std::vector<Setting>& settings);

}  // namespace vtdl::host
