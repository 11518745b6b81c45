#include "ReportParts.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Parameters.h"

namespace vtdl::host {
namespace {

bool IsOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::ranges::any_of(names, [&](std::string_view one) { return SameName(one, name); });
}

// Of the library, and nobody's account.
bool IsShown(const Setting& setting) {
    constexpr std::string_view parameters = "/parameters";
    if (setting.section.ends_with(parameters))
        return IsOneOf(setting.key, {"name", "description", "dataserver"});
    return IsOneOf(setting.section, {"hosts", "http", "errorhandler"}) &&
           !SameName(setting.key, "supportmail") && setting.value.find('@') == std::string::npos;
}

bool IsSecret(const Setting& setting) {
    if (IsShown(setting)) return false;
    if (SameName(setting.section, "pcquote/parameters")) return true;
    std::string key = setting.key;
    std::ranges::transform(key, key.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    });
    return SameName(setting.section, "hosts") ||
           std::ranges::any_of(
               std::initializer_list<std::string_view>{"user", "pass", "pwd", "login", "account",
                                                       "token", "secret", "key", "mail",
                                                       "credential"},
               [&](std::string_view part) { return key.find(part) != key.npos; });
}

}  // namespace

std::string SettingsWithoutSecrets(const std::vector<Setting>& settings) {
    std::string text;
    for (const Setting& setting : settings)
        text.append(setting.section)
            .append(1, '/')
            .append(setting.key)
            .append(" = ")
            .append(IsShown(setting)        ? setting.value
                    : setting.value.empty() ? "(empty)"
                                            : "(set)")
            .append(1, '\n');
    return text;
}

// Of one or two characters there would be little left of the text.
std::string WithoutSecrets(std::string text, const std::vector<Setting>& settings) {
    constexpr std::size_t shortest = 3;
    std::vector<std::string> secrets;
    for (const Setting& setting : settings)
        if (IsSecret(setting) && setting.value.size() >= shortest) secrets.push_back(setting.value);
    // The longest first: another one may be a part of it.
    std::ranges::sort(secrets, std::ranges::greater{}, &std::string::size);
    for (const std::string& secret : secrets)
        for (std::size_t at = text.find(secret); at != text.npos; at = text.find(secret, at))
            text.replace(at, secret.size(), secret.size(), '*');
    return text;
}

std::string_view LastLines(std::string_view text, std::size_t most) {
    if (text.size() <= most) return text;
    text.remove_prefix(text.size() - most);
    return text.substr(std::min(text.find('\n'), text.size() - 1) + 1);
}

std::string StatusText(const std::string& json) {
    const nlohmann::json status = nlohmann::json::parse(json, nullptr, false);
    if (!status.is_object()) return "not to be read\n";
    return status.dump(1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace vtdl::host
