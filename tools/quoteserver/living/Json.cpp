#include "living/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

namespace quoteserver::living {
namespace {

using std::chrono::seconds;

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

// A whole number from 1 to a million in front; it is taken off.
std::optional<unsigned> TakeNumber(std::string_view& text) {
    text = Trimmed(text);
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || value == 0 || value > 1000000) {
        return std::nullopt;
    }
    text = Trimmed(text.substr(static_cast<std::size_t>(end - text.data())));
    return value;
}

}  // namespace

std::string MessageText(std::string_view text) {
    constexpr std::size_t longest = 200;
    const auto replace = Json::error_handler_t::replace;
    const Json valid = Json::parse(Json(text.substr(0, longest)).dump(-1, ' ', false, replace));
    std::string message = valid.get<std::string>();
    std::ranges::replace_if(
        message, [](char c) { return (c >= 0 && c < ' ') || c == 0x7f; }, '?');
    return message;
}

std::optional<seconds> ParseDuration(std::string_view text) {
    struct Unit {
        std::string_view name;
        int length;
    };
    static constexpr std::array units{Unit{"s", 1},        Unit{"min", 60},     Unit{"h", 3600},
                                      Unit{"hour", 3600},  Unit{"hours", 3600}, Unit{"day", 86400},
                                      Unit{"days", 86400}, Unit{"minute", 60},  Unit{"second", 1}};
    text = Trimmed(text);
    const bool isCounted = !text.empty() && text.front() >= '0' && text.front() <= '9';
    const std::optional<unsigned> count = isCounted ? TakeNumber(text) : 1U;
    const auto* unit = std::ranges::find(units, text, &Unit::name);
    if (!count || unit == units.end()) {
        return std::nullopt;
    }
    return seconds(static_cast<long long>(*count) * unit->length);
}

std::optional<Rate> ParseRate(std::string_view text) {
    const std::optional<unsigned> times = TakeNumber(text);
    constexpr std::string_view per = "per ";
    if (!times || !text.starts_with(per)) {
        return std::nullopt;
    }
    const std::optional<seconds> span = ParseDuration(text.substr(per.size()));
    return span ? std::optional(Rate{*times, *span}) : std::nullopt;
}

Section::Section(const Json& value, std::string place, Mistakes& mistakes)
    : m_value(value.is_object() ? value : Json::object()),
      m_place(std::move(place)),
      m_mistakes(mistakes) {
    if (!value.is_object()) {
        m_mistakes.push_back(m_place + ": an object in braces is expected");
    }
}

Section::~Section() {
    for (const auto& [key, value] : m_value.items()) {
        if (!m_known.contains(key)) {
            Complain(key, "is not known here");
        }
    }
}

Section Section::Below(const std::string& key, const Json& value) const {
    return {value, m_place + "/" + key, m_mistakes};
}

void Section::Complain(std::string_view key, std::string_view what) const {
    m_mistakes.push_back(std::string(m_place).append("/").append(key).append(": ").append(what));
}

const Json* Section::Find(const std::string& key) {
    m_known.insert(key);
    const auto found = m_value.find(key);
    return found == m_value.end() ? nullptr : &*found;
}

std::string Section::Text(const std::string& key, std::string otherwise) {
    const Json* value = Find(key);
    if (value && !value->is_string()) {
        Complain(key, "a text in quotes is expected");
    }
    return value && value->is_string() ? value->get<std::string>() : std::move(otherwise);
}

bool Section::Truth(const std::string& key, bool otherwise) {
    const Json* value = Find(key);
    if (value && !value->is_boolean()) {
        Complain(key, "true or false is expected");
    }
    return value && value->is_boolean() ? value->get<bool>() : otherwise;
}

double Section::Number(const std::string& key, double otherwise) {
    const Json* value = Find(key);
    if (value && !value->is_number()) {
        Complain(key, "a number is expected");
    }
    return value && value->is_number() ? value->get<double>() : otherwise;
}

seconds Section::Duration(const std::string& key, seconds otherwise) {
    const std::string text = Text(key);
    const std::optional<seconds> duration = ParseDuration(text);
    if (!text.empty() && !duration) {
        Complain(key, "\"" + text + "\" is no time; \"25 s\", \"15 min\", \"1 day\" are");
    }
    return duration.value_or(otherwise);
}

std::size_t Section::OneOf(const std::string& key, const std::vector<std::string>& names,
                           std::size_t otherwise) {
    const std::string text = Text(key);
    const auto found = std::ranges::find(names, text);
    if (found != names.end()) {
        return static_cast<std::size_t>(found - names.begin());
    }
    if (!text.empty()) {
        std::string list;
        for (const std::string& name : names) {
            list.append(list.empty() ? "" : ", ").append(name);
        }
        Complain(key, "\"" + text + "\" is none of " + list);
    }
    return otherwise;
}

std::vector<std::string> Section::Texts(const std::string& key) {
    std::vector<std::string> texts;
    const Json* value = Find(key);
    const Json none = Json::array();
    for (const Json& item : value && value->is_array() ? *value : none) {
        if (item.is_string()) {
            texts.push_back(item.get<std::string>());
        }
    }
    if (value && (!value->is_array() || texts.size() != value->size())) {
        Complain(key, "a list of texts is expected");
    }
    return texts;
}

std::vector<unsigned> Section::Statuses(const std::string& key, std::vector<unsigned> otherwise) {
    const Json* value = Find(key);
    if (!value) {
        return otherwise;
    }
    std::vector<unsigned> statuses;
    const Json single = Json::array({*value});
    for (const Json& item : value->is_array() ? *value : single) {
        const unsigned status = item.is_number_unsigned() ? item.get<unsigned>() : 0;
        if (status < 200 || status > 999) {
            Complain(key, "status codes are expected, such as [429, 503]");
            return otherwise;
        }
        statuses.push_back(status);
    }
    return statuses;
}

std::vector<std::pair<std::string, std::string>> Section::TextsByName(const std::string& key) {
    std::vector<std::pair<std::string, std::string>> texts;
    if (const Json* value = Find(key)) {
        Section section = Below(key, *value);
        for (const auto& [name, unused] : section.m_value.items()) {
            texts.emplace_back(name, section.Text(name));
        }
    }
    return texts;
}

Json::json_pointer Pointer(const std::string& text) {
    return Json::json_pointer(text.empty() || text.starts_with('/') ? text : "/" + text);
}

const Json* At(const Json& value, const std::string& path) {
    const Json::json_pointer pointer = Pointer(path);
    return value.contains(pointer) ? &value.at(pointer) : nullptr;
}

Json JsonOf(const std::string& text) { return Json::parse(text, nullptr, false); }

std::string JsonText(const Json& document) { return document.dump(1); }

Json ParseJson(const std::string& text, const std::string& name) {
    try {
        return Json::parse(text, nullptr, true, true);
    } catch (const Json::exception& e) {    // a number may be too large, too
        const std::string what = e.what();  // "[json.exception.parse_error.101] parse error at …"
        const std::size_t bracket = what.find("] ");
        throw std::runtime_error(name + ": " +
                                 (bracket == std::string::npos ? what : what.substr(bracket + 2)));
    }
}

}  // namespace quoteserver::living
