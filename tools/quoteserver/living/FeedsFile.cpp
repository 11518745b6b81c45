#include "living/FeedsFile.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "Http.h"
#include "living/Numbers.h"
#include "living/ShippedRecipes.h"

namespace quoteserver::living {
namespace {

namespace fs = std::filesystem;

std::string ReadText(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in.is_open() || in.bad()) {
        throw std::runtime_error(file.string() + " cannot be read");
    }
    return text;
}

class FeedsReader {
public:
    FeedsReader(const fs::path& file, Mistakes& mistakes)
        : m_file(file), m_name(file.filename().string()), m_mistakes(mistakes) {}

    FeedsFile Read(const std::string& text);

private:
    fs::path Beside(const std::string& path) const {
        return path.empty() ? fs::path() : m_file.parent_path() / path;
    }
    void ReadSecrets(const fs::path& file);
    void ReadSymbols(const fs::path& file);
    void ReadAges(Section& section, const std::string& key, std::chrono::seconds Ages::*age);
    std::string WithSecrets(Section& section, const std::string& key, const std::string& text);
    void ReadFeed(Section& feeds, const std::string& name, const Json& value);
    void ReadWebOrCommand(Section& section, FeedSpec& feed);
    void ReadDatabase(Section& section, FeedSpec& feed);
    Json WithRecipe(const Section& feeds, const std::string& name, Json feed);
    void ReadLineUp(Section& section);

    fs::path m_file;
    std::string m_name;
    Mistakes& m_mistakes;
    std::map<std::string, std::string> m_secrets;
    FeedsFile m_feeds;
};

FeedsFile FeedsReader::Read(const std::string& text) {
    const Json document = ParseJson(text, m_name);
    Section section(document, m_name + ":", m_mistakes);
    m_feeds.folder = m_file.parent_path();
    m_feeds.data = Beside(section.Text("data"));
    m_feeds.store = Beside(section.Text("store", "store"));
    if (const std::string time = section.Text("newDay", "17:45"); time.size() == 5) {
        const int hours = std::atoi(time.c_str()), minutes = std::atoi(time.c_str() + 3);
        const bool isTime =
            time[2] == ':' && hours >= 0 && hours < 24 && minutes >= 0 && minutes < 60;
        if (!isTime) {
            section.Complain("newDay", "a time such as \"17:45\" is expected");
        }
        m_feeds.newDay = std::chrono::minutes(hours * 60 + minutes);
    } else {
        section.Complain("newDay", "a time such as \"17:45\" is expected");
    }
    ReadAges(section, "fresh", &Ages::fresh);
    ReadAges(section, "stale", &Ages::stale);
    m_feeds.patience = section.Duration("patience", m_feeds.patience);
    ReadSecrets(Beside(section.Text("secrets")));
    ReadSymbols(Beside(section.Text("symbols")));
    if (const Json* feeds = section.Find("feeds")) {
        Section list = section.Below("feeds", *feeds);
        for (const auto& [name, value] : feeds->items()) {
            ReadFeed(list, name, value);
        }
    } else {
        section.Complain("feeds", "is missing");
    }
    ReadLineUp(section);
    for (const auto& [key, symbol] : m_feeds.symbols) {
        if (key.second != "*" && !std::ranges::count(m_feeds.feeds, key.second, &FeedSpec::name)) {
            m_mistakes.push_back("symbols of " + key.first + ": there is no feed " + key.second);
        }
    }
    return std::move(m_feeds);
}

void FeedsReader::ReadAges(Section& section, const std::string& key,
                           std::chrono::seconds Ages::*age) {
    if (const Json* value = section.Find(key)) {
        Section part = section.Below(key, *value);
        for (std::size_t kind = 0; kind < std::size(kindNames); ++kind) {
            m_feeds.ages[kind].*age = part.Duration(kindNames[kind], m_feeds.ages[kind].*age);
        }
    }
}

// Lines "NAME=value". Others must not be able to read them.
void FeedsReader::ReadSecrets(const fs::path& file) {
    if (file.empty()) {
        return;
    }
    std::error_code error;
    const fs::perms permissions = fs::status(file, error).permissions();
    if (error) {
        m_mistakes.push_back(m_name + ":/secrets: " + file.string() + " cannot be read");
        return;
    }
#ifndef _WIN32  // there a file's permissions say nothing of who may read it
    if ((permissions & (fs::perms::group_read | fs::perms::others_read)) != fs::perms::none) {
        m_mistakes.push_back(m_name + ":/secrets: others may read " + file.string() +
                             "; chmod 600 keeps them out");
        return;
    }
#else
    (void)permissions;
#endif
    const std::string text = ReadText(file);
    for (std::string_view rest = text; !rest.empty();) {
        std::string_view line = TakeLine(rest);
        const std::string name(TakeField(line, '='));
        m_secrets[name] = line;
    }
}

void FeedsReader::ReadSymbols(const fs::path& file) {
    if (file.empty()) {
        return;
    }
    const std::string text = fs::exists(file) ? ReadText(file) : "";
    std::string_view rest = WithoutByteOrderMark(text);
    if (!SameTicker(TakeLine(rest).substr(0, 18), "ticker,feed,symbol")) {
        m_mistakes.push_back(m_name + ":/symbols: " + file.string() +
                             " is not there, or does not begin with ticker,feed,symbol,note");
        return;
    }
    for (std::size_t number = 2; !rest.empty(); ++number) {
        const std::string_view line = TakeLine(rest);
        const std::vector<std::string> cells = SplitCsvLine(line, ',');
        if (line.empty()) {
            continue;
        }
        if (cells.size() < 3 || !IsTicker(cells[0]) || cells[2].empty()) {
            m_mistakes.push_back(file.filename().string() + " line " + std::to_string(number) +
                                 ": ticker, feed and symbol are expected");
            continue;
        }
        m_feeds.symbols[{Upper(cells[0]), cells[1]}] = cells[2];
    }
}

// "${NAME}" is an environment variable, or else a secret.
std::string FeedsReader::WithSecrets(Section& section, const std::string& key,
                                     const std::string& text) {
    std::string result;
    std::size_t from = 0;
    for (;;) {
        const std::size_t at = text.find("${", from);
        const std::size_t end = text.find('}', at == std::string::npos ? text.size() : at);
        if (at == std::string::npos || end == std::string::npos) {
            return result + text.substr(from);
        }
        const std::string name = text.substr(at + 2, end - at - 2);
        const char* variable = std::getenv(name.c_str());
        const auto secret = m_secrets.find(name);
        if (!variable && secret == m_secrets.end()) {
            section.Complain(
                key, "${" + name + "} is neither an environment variable nor among the secrets");
        }
        const std::string value = variable                    ? variable
                                  : secret != m_secrets.end() ? secret->second
                                                              : "";
        m_feeds.secrets.push_back(value);
        result += text.substr(from, at - from) + value;
        from = end + 1;
    }
}

// A feed with the keys of the recipe that it names, its own ones first.
Json FeedsReader::WithRecipe(const Section& feeds, const std::string& name, Json feed) {
    const auto found = feed.is_object() ? feed.find("recipe") : feed.end();
    if (!feed.is_object() || found == feed.end() || !found->is_string()) {
        return feed;
    }
    const std::string recipe = found->get<std::string>();
    feed.erase("recipe");
    const char* shipped = ShippedRecipe(recipe);
    const fs::path file = Beside(recipe);
    if (!shipped && !fs::exists(file)) {
        std::string names;
        for (const std::string& known : ShippedRecipeNames()) {
            names.append(names.empty() ? "" : ", ").append(known);
        }
        feeds.Complain(name + "/recipe", "there is no file " + file.string() +
                                             ", and the recipes of that name are " + names);
        return feed;
    }
    Json whole = ParseJson(shipped ? shipped : ReadText(file), recipe);
    if (whole.is_object()) {
        whole.update(feed);
    }
    return whole;
}

void FeedsReader::ReadFeed(Section& feeds, const std::string& name, const Json& value) {
    feeds.Find(name);
    const Json whole = WithRecipe(feeds, name, value);
    Section section = feeds.Below(name, whole);
    FeedSpec feed{name};
    if (section.Find("odbc")) {
        ReadDatabase(section, feed);
    } else {
        ReadWebOrCommand(section, feed);
    }
    const auto rate = [&](const char* key) {
        const std::string text = section.Text(key);
        const std::optional<Rate> parsed = ParseRate(text);
        if (!text.empty() && !parsed) {
            section.Complain(key,
                             "\"" + text + "\" is none; \"1 per 2 s\" and \"50 per hour\" are");
        }
        return parsed;
    };
    feed.pace = rate("pace").value_or(feed.pace);
    feed.budget = rate("budget");
    feed.timeout = section.Duration("timeout", feed.timeout);
    feed.isShared = section.Truth("share", feed.IsOwn());
    if (name.empty() || !std::ranges::all_of(name, [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
        })) {
        feeds.Complain(name, "a name has small letters, digits and -");
    }
    m_feeds.feeds.push_back(std::move(feed));
}

// The password is a secret, however it came there; in braces it may have any character.
void FeedsReader::ReadDatabase(Section& section, FeedSpec& feed) {
    feed.recipe = ReadRecipeOfTables(section);
    feed.odbc = WithSecrets(section, "odbc", section.Text("odbc"));
    if (feed.odbc.empty()) {
        section.Complain("odbc", "such as \"DSN=Prices;Uid=reader\" is expected");
    }
    for (const std::string_view key : {"pwd=", "password="}) {
        const std::size_t at = Lower(feed.odbc).find(key);
        if (at != std::string::npos) {
            const std::string value = feed.odbc.substr(at + key.size());
            m_feeds.secrets.push_back(value.starts_with('{') ? value.substr(1, value.find('}') - 1)
                                                             : value.substr(0, value.find(';')));
        }
    }
    feed.pace = {100, std::chrono::seconds(1)};  // nobody else's: no need to be slow
    Statements& statements = feed.statements;
    for (const auto& [key, statement] : {std::pair{"history", &statements.history},
                                         {"dividends", &statements.dividends},
                                         {"splits", &statements.splits},
                                         {"quotes", &statements.quotes},
                                         {"options", &statements.options}}) {
        *statement = section.Text(key);
    }
    if (const Json* value = section.Find("lists")) {
        Section lists = section.Below("lists", *value);
        statements.exchanges = lists.Text("exchanges");
        statements.contracts = lists.Text("contracts");
    }
    if (std::ranges::none_of(allKinds, [&](Kind kind) { return feed.Serves(kind); })) {
        section.Complain("history", "is missing, as are quotes, options and lists");
    }
    for (const auto& [key, statement] :
         {std::pair{"dividends", &statements.dividends}, {"splits", &statements.splits}}) {
        if (!statement->empty() && statements.history.empty()) {
            section.Complain(key, "needs a statement of the history");
        }
    }
}

void FeedsReader::ReadWebOrCommand(Section& section, FeedSpec& feed) {
    feed.recipe = ReadRecipe(section);
    feed.recipe.url = WithSecrets(section, "url", feed.recipe.url);
    feed.command = section.Texts("command");
    for (std::string& argument : feed.command) {
        argument = WithSecrets(section, "command", argument);
    }
    for (auto [header, text] : section.TextsByName("headers")) {
        text = WithSecrets(section, "headers", text);
        if (std::ranges::any_of(header + text, [](char c) { return c < ' ' || c > '~'; })) {
            section.Complain("headers/" + header, "only characters of ASCII can be sent");
        }
        feed.headers.emplace_back(header, text);
    }
    const std::string& url = feed.recipe.url;
    if (feed.command.empty() && !url.starts_with("http://") && !url.starts_with("https://")) {
        section.Complain("url",
                         url.empty() ? "is missing" : "does not begin with http:// or https://");
    }
}

void FeedsReader::ReadLineUp(Section& section) {
    const Json* value = section.Find("lineUp");
    if (!value) {
        section.Complain("lineUp", "is missing: which feeds to ask for what");
        return;
    }
    Section part = section.Below("lineUp", *value);
    for (std::size_t kind = 0; kind < std::size(kindNames); ++kind) {
        for (const std::string& name : part.Texts(kindNames[kind])) {
            const auto found = std::ranges::find(m_feeds.feeds, name, &FeedSpec::name);
            if (found == m_feeds.feeds.end()) {
                part.Complain(kindNames[kind], "there is no feed " + name);
            } else if (!found->Serves(static_cast<Kind>(kind))) {
                part.Complain(kindNames[kind], name + " does not serve them");
            } else {
                m_feeds.lineUp[kind].push_back(
                    static_cast<std::size_t>(found - m_feeds.feeds.begin()));
            }
        }
    }
}

}  // namespace

FeedsFile ReadFeedsFile(const fs::path& file, Mistakes& mistakes) {
    return ParseFeedsFile(ReadText(file), file, mistakes);
}

FeedsFile ParseFeedsFile(const std::string& text, const fs::path& file, Mistakes& mistakes) {
    return FeedsReader(file, mistakes).Read(text);
}

}  // namespace quoteserver::living
