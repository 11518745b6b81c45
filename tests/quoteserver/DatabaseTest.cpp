// Databases and programs as sources, asked and then replayed; databases.sh has a database with a
// server.
#include <sstream>

#include "Support.h"
#include "living/Feed.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

class OwnSourceTest : public FolderTest {
protected:
    // Nobody can be asked a second time: what there is then is the recording.
    Outcome Ask(FeedSpec spec, const living::Ask& ask) {
        spec.pace = {1000, seconds(1)};
        spec.timeout = seconds(1);
        FeedsFile file;
        file.secrets = {"geheim"};
        const Today today{sys_days{2026y / November / 22}, true};
        std::filesystem::remove_all(m_folder / "record");
        const auto client =
            RecordingClient(ReplayClient("."), m_folder / "record", file.secrets, mostBytes);
        const Outcome outcome = Feed(spec, file, *client).Fetch(ask, today);
        spec.odbc = spec.odbc.empty() ? "" : "Driver=none";
        spec.command.resize(spec.command.empty() ? 0 : 1, "/none");
        const Outcome replayed =
            Feed(spec, file, *ReplayClient(m_folder / "record")).Fetch(ask, today);
        EXPECT_EQ(std::tie(outcome.state, outcome.why, outcome.files),
                  std::tie(replayed.state, replayed.why, replayed.files))
            << outcome.why << " / " << replayed.why;
        return outcome;
    }
};

TEST_F(OwnSourceTest, TablesOfDatabasesBecomeFiles) {
    const std::string base = m_folder / "prices.db";
    ASSERT_EQ(RunCommand({"sqlite3", base, ".read " TEST_DATA "/tables.sql"}, seconds(5)).status,
              200U);
    Statements statements;
    const std::map<std::string, std::string*> named{
        {"history", &statements.history},    {"dividends", &statements.dividends},
        {"splits", &statements.splits},      {"quotes", &statements.quotes},
        {"options", &statements.options},    {"exchanges", &statements.exchanges},
        {"contracts", &statements.contracts}};
    std::ifstream in(TEST_DATA "/databases.txt");
    std::string suffix, part;
    Outcome outcome;
    int count = 0;
    for (std::string line; std::getline(in, line) || !part.empty();) {
        if (!part.empty() && !line.starts_with("  ")) {
            EXPECT_EQ(outcome.state, State::Rows) << outcome.why;
            EXPECT_NE(("\n" + outcome.files[suffix]).find("\n" + part), std::string::npos)
                << part << outcome.files[suffix];
            part.clear();
        }
        std::istringstream words(line);
        std::string first, kind, ticker, driver = "SQLite3";
        words >> first;
        if (line.starts_with("  ") && suffix.empty()) {
            std::getline(words >> std::ws, *named.at(first));
        } else if (line.starts_with("  ")) {
            part += Unescaped(line.substr(2)) + "\n";
        } else if (first == "statements") {
            statements = {};
        } else if (first == "ask") {
            words >> kind >> ticker >> driver;
            const auto* of = std::ranges::find(kindNames, kind);
            const std::string odbc = "Driver=" + driver + ";Pwd=geheim;Database=" + base;
            outcome = Ask({.name = "db", .odbc = odbc, .statements = statements},
                          {static_cast<Kind>(of - kindNames), ticker});
            ++count;
        } else if (first == "fails") {
            words >> kind;
            std::getline(words >> std::ws, part);
            EXPECT_EQ(NameOf(outcome.state), kind) << part;
            EXPECT_NE(outcome.why.find(part), std::string::npos) << outcome.why;
            EXPECT_EQ(outcome.why.find("geheim"), std::string::npos) << outcome.why;
            part.clear();
        }
        suffix = first == "gives" ? line.substr(6) : line.starts_with("  ") ? suffix : "";
    }
    EXPECT_EQ(count, 30);
}

TEST_F(OwnSourceTest, ProgramsAnswerInTime) {
    Recipe recipe;
    recipe.format = Recipe::Format::CsvText;
    recipe.date = {"Date"};
    recipe.close = {"Close"};
    const auto ask = [&](const std::string& script) {
        return Ask({.name = "mine", .recipe = recipe, .command = {"sh", "-c", script}}, {});
    };
    EXPECT_EQ(ask("echo Date,Close; echo 2024-01-02,1").files[".csv"],
              "Date,Open,High,Low,Close,Volume,Adj Close\n2024-01-02,1,1,1,1,000,1\n");
    EXPECT_EQ(ask("exit 1").why, "the program ended with code 1");
    for (const char* slow : {"sleep 9", "exec >&-; sleep 9"}) {
        EXPECT_EQ(ask(slow).why, "the program did not end in time");
    }
    EXPECT_EQ(RunCommand({"printf", "%s", "a b"}, seconds(5)).body, "a b");
    EXPECT_EQ(RunCommand({"pwd"}, seconds(5), "/usr/bin").body, "/usr/bin\n");
    EXPECT_NE(RunCommand({"/nowhere"}, seconds(1)).status, 200U);
}

}  // namespace
}  // namespace quoteserver::living
