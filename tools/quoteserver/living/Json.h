// JSON that a person wrote: objects whose every mistake is noted with its place.
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quoteserver::living {

using Json = nlohmann::json;

using Mistakes = std::vector<std::string>;  // "feeds.json: /feeds/chart/pace: …"

// For a log or a page: valid UTF-8 without control characters, and no longer than a line.
std::string MessageText(std::string_view text);

// "25 s", "15 min", "2 h", "1 day"; nothing for what is none of these.
std::optional<std::chrono::seconds> ParseDuration(std::string_view text);

// Times of a span: "50 per hour", "1 per 2 s".
struct Rate {
    unsigned times = 1;
    std::chrono::seconds span{2};
};
std::optional<Rate> ParseRate(std::string_view text);

// The keys of an object, read one by one. A value of the wrong type is a mistake and counts as
// missing; so are keys that nobody asked for by the time the object goes.
class Section {
public:
    // What is no object is a mistake and counts as an empty one.
    Section(const Json& value, std::string place, Mistakes& mistakes);
    ~Section();
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

    // The object that stands under a key.
    Section Below(const std::string& key, const Json& value) const;
    void Complain(std::string_view key, std::string_view what) const;

    const Json* Find(const std::string& key);  // null when it is missing
    std::string Text(const std::string& key, std::string otherwise = {});
    bool Truth(const std::string& key, bool otherwise);
    double Number(const std::string& key, double otherwise);
    std::chrono::seconds Duration(const std::string& key, std::chrono::seconds otherwise);
    // One of the names; its place among them.
    std::size_t OneOf(const std::string& key, const std::vector<std::string>& names,
                      std::size_t otherwise);
    std::vector<std::string> Texts(const std::string& key);
    // HTTP status codes.
    std::vector<unsigned> Statuses(const std::string& key, std::vector<unsigned> otherwise);
    std::vector<std::pair<std::string, std::string>> TextsByName(const std::string& key);

private:
    const Json m_value;
    std::string m_place;
    Mistakes& m_mistakes;
    std::set<std::string> m_known;
};

// "a/b" and "/a/b" are the same pointer, and nothing is the document itself. Throws
// Json::exception.
Json::json_pointer Pointer(const std::string& text);

// What the pointer leads to; null when it is missing.
const Json* At(const Json& value, const std::string& path);

// The document of a text that a program wrote; a discarded value for what is none. And its text, in
// lines. Here alone, since each file that does it itself costs the compiler seconds.
Json JsonOf(const std::string& text);
std::string JsonText(const Json& document);

// The document of a file, with comments allowed. Throws std::runtime_error with line and column.
Json ParseJson(const std::string& text, const std::string& name);

}  // namespace quoteserver::living
