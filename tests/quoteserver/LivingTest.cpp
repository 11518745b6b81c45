// The pure half of the living sources: replies of services as they were recorded, and such as
// services send on bad days.
#include <signal.h>
#include <sys/wait.h>

#include <array>
#include <charconv>
#include <map>
#include <set>
#include <sstream>

#include "Support.h"
#include "living/Feed.h"
#include "living/Numbers.h"
#include "living/ShippedRecipes.h"
#include "living/StatusPage.h"
#include "living/Store.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

const Today today{sys_days{2026y / November / 22}, true};

Recipe RecipeOf(const std::string& text) {
    Mistakes mistakes;
    const Json json = ParseJson(text, "recipe");
    Section section(json, "recipe", mistakes);
    Recipe recipe = ReadRecipe(section);
    EXPECT_EQ(mistakes, Mistakes{});
    return recipe;
}

Recipe Shipped(const char* name) { return RecipeOf(ShippedRecipe(name)); }

// A feed of a shipped recipe over the recordings, at any pace.
Outcome Replayed(const char* recipe, const char* feed, Kind kind, const std::string& ticker) {
    const auto client = ReplayClient(RECORDINGS);
    const FeedSpec spec{feed, Shipped(recipe), {}, {}, {1000, seconds(1)}};
    const FeedsFile file;
    return Feed(spec, file, *client).Fetch({kind, ticker}, today);
}

bool HasLine(const std::string& text, const std::string& line) {
    return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

TEST(LivingTest, RecordedRepliesBecomeFiles) {
    const Outcome split = Replayed("yahoo-chart", "chart", Kind::History, "NVDA");
    ASSERT_EQ(split.state, State::Rows) << split.why;
    // Four for one on the 20th: prices as traded but for the split of 2024, which is not listed.
    EXPECT_TRUE(HasLine(split.files.at(".csv"),
                        "2021-07-20,18.73,18.838,18.164,18.612,434687000,18.576828"));
    EXPECT_TRUE(HasLine(split.files.at(".splits.csv"), "2021-07-20,4"));

    // Days that begin at midnight in London and in New York; no volume is "000".
    const Outcome currency = Replayed("yahoo-chart", "chart", Kind::History, "EURUSD=X");
    EXPECT_TRUE(HasLine(currency.files.at(".csv"),
                        "2020-01-01,1.1220826,1.1228385,1.1159469,1.1220826,000,1.1220826"))
        << currency.files.at(".csv");
    const Recipe futures = RecipeOf(
        R"({"url": "http://x", "format": "csv", "date": "Date", "prices": "split-adjusted", "futures": {"^": "F."},
            "columns": {"Close": "Settle", "Volume": "Vol", "Open Interest": "OI"}})");
    EXPECT_EQ(SymbolOf(futures, {Kind::Futures, "CL"}) + SymbolOf(futures, {Kind::History, "CL"}),
              "F.CLCL");
    const Reading reading = ReadReply(futures, {Kind::Futures, "CL"},
                                      "Date,Settle,Vol,OI\n2020-04-20,-37.63,247947,108593\n"
                                      "2020-04-21,10.01,2288230,\n");
    EXPECT_EQ(
        MakeFiles(reading.history, {.hasOpenHighLow = false, .isFuture = true}, today)
            .texts.at(".futures.csv"),
        "Date,Open,High,Low,Close,Volume,OpenInt\n2020-04-21,10.01,10.01,10.01,10.01,2288230\n"
        "2020-04-20,-37.63,-37.63,-37.63,-37.63,247947,108593\n");

    const Outcome options = Replayed("cboe-options", "cboe", Kind::Options, "AAPL");
    EXPECT_TRUE(HasLine(options.files.at(".chain.csv"),
                        "AAPL260807C00110000,2026-08-07,110,203.67,1.145,200.7,202.25,1,7,"));
    const std::string& table = options.files.at(".options.csv");
    EXPECT_TRUE(table.starts_with("AAPL (AAPL),")) << table.substr(0, 200);
    EXPECT_NE(table.find("\r\nAug 07 2026 @ 14:58 ET,Bid,"), std::string::npos);
    EXPECT_NE(table.find("\r\n26 Aug 110.00 (AAPL2607H110),203.67,+1.145,200.70,202.25,1,7,"
                         "26 Aug 110.00 (AAPL2607T110),"),
              std::string::npos);
}

TEST(LivingTest, OnlyWhatWasAskedForIsRows) {
    const std::string json =
        R"({"url": "http://x", "error": "/error", "unknown": {"text": "no such"}, "limitedText": "too many",
            "root": "r", "date": "t", "columns": {"Open": "o", "High": "o", "Low": "o", "Close": "c"}})";
    const std::string csv =
        R"({"url": "http://x", "format": "csv", "separator": ";", "date": 1, "dates": "mm/dd/yyyy",
            "columns": {"Close": "Fermeture"}})";
    const std::string warehouse =
        R"({"url": "http://x", "format": "csv", "unknown": {"noRows": true}, "date": "d", "columns": {"Close": "c"}})";
    const std::string quote =
        R"({"url": "http://x", "format": "csv", "quote": {"l1": "l1", "time": "t"}})";
    const std::map<std::string, std::pair<std::string, Kind>> recipes{
        {"json", {json, Kind::History}},
        {"csv", {csv, Kind::History}},
        {"warehouse", {warehouse, Kind::History}},
        {"quote", {quote, Kind::Quotes}},
        {"options", {ShippedRecipe("cboe-options"), Kind::Options}}};
    std::ifstream in(TEST_DATA "/replies.txt");
    std::string recipe, state, why, body;
    int count = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("  ")) {
            body += Unescaped(line.substr(2)) + "\n";
            continue;
        }
        if (!body.empty()) {
            const auto& [text, kind] = recipes.at(recipe);
            const Reading reading = ReadReply(RecipeOf(text), {kind, "X"}, body);
            std::string name = NameOf(reading.state);
            std::ranges::replace(name, ' ', '-');
            EXPECT_EQ(name, state) << body << reading.why;
            EXPECT_NE(reading.why.find(why), std::string::npos) << body << ": " << reading.why;
            ++count;
        }
        body = why = "";
        std::istringstream words(line);
        std::getline(words >> recipe >> state >> std::ws, why);
    }
    EXPECT_EQ(count, 35);
}

// Dividends and splits in the rows of days, as a service with keys sends them.
TEST(LivingTest, EventsStandInRowsToo) {
    const std::pair<const char*, const char*> replies[] = {
        {"tiingo",
         R"([{"date": "2024-06-07T00:00:00.000Z", "open": 1, "high": 1, "low": 1, "close": 1208.88,
                         "volume": 4, "adjClose": 120.888, "divCash": 0.0, "splitFactor": 1.0},
                        {"date": "2024-06-10T00:00:00.000Z", "open": 1, "high": 1, "low": 1, "close": 121.79,
                         "volume": 5, "adjClose": 121.79, "divCash": 0.01, "splitFactor": 10.0}])"},
        {"tiingo-csv",
         "date,close,high,low,open,volume,adjClose,adjHigh,divCash,splitFactor\n"
         "2024-06-07,1208.88,1,1,1,4,120.888,1,0.0,1.0\n"
         "2024-06-10,121.79,1,1,1,5,121.79,1,0.01,10.0\n"}};
    for (const auto& [recipe, body] : replies) {
        const Reading reading = ReadReply(Shipped(recipe), {Kind::History, "NVDA"}, body);
        const HistoryFiles files = MakeFiles(reading.history, {}, today);
        EXPECT_EQ(files.texts.at(".csv"),
                  "Date,Open,High,Low,Close,Volume,Adj Close\n2024-06-10,1,1,1,121.79,5,121.79\n"
                  "2024-06-07,1,1,1,1208.88,4,120.888\n")
            << recipe << reading.why;
        EXPECT_EQ(files.texts.at(".dividends.csv"), "Date,Dividends\n2024-06-10,0.01\n");
        EXPECT_EQ(files.texts.at(".splits.csv"), "Date,Splits\n2024-06-10,10\n");
        Recipe inHalves = Shipped(recipe);
        inHalves.scale = 0.5;
        EXPECT_EQ(ReadReply(inHalves, {Kind::History}, body).history.dividends.at(0).amount, 0.005);
    }
}

// A reply like the one before is no news; the oldest files go first, also of an earlier run.
TEST_F(FolderTest, RecordingsStayUnderTheirLimitAndReplayAsItWent) {
    class Client final : public WebClient {
        WebAnswer Fetch(const WebRequest& request) override {
            return {200, {}, "text/csv", {}, std::string(300, 'x') + request.url};
        }
    };
    Write("a@1000.reply", "HTTP/1.1 200\r\n\r\nold");
    Write("a@3000.reply", "HTTP/1.1 200\r\nTook: 400\r\n\r\nnew");
    const auto start = steady_clock::now();
    const auto replay = ReplayClient(m_folder, 10);
    EXPECT_EQ(replay->Fetch({"a", ""}).body, "old");
    EXPECT_EQ(ReplayClient(m_folder)->Fetch({"a", ""}).body, "new");
    std::this_thread::sleep_until(start + milliseconds(210));
    EXPECT_EQ(replay->Fetch({"a", ""}).body, "new");
    EXPECT_GE(steady_clock::now() - start, milliseconds(250));

    const auto record = [&](std::uintmax_t files, std::initializer_list<const char*> names) {
        const auto client =
            RecordingClient(std::make_unique<Client>(), m_folder, {"geheim"}, files * 4096);
        for (const char* name : names) {
            client->Fetch({name, "geheim"});
            std::this_thread::sleep_for(milliseconds(2));
        }
        std::multiset<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
            const std::string name = entry.path().filename().string();
            all.insert(name.substr(0, name.find('@')));
        }
        return all;
    };
    using Names = std::multiset<std::string>;
    Write("own.reply", std::string(500, 'x'));  // neither counted nor taken away
    EXPECT_EQ(record(4, {"n/1", "n/1", "n2"}), (Names{"a", "a", "n+1", "n2", "own.reply"}));
    EXPECT_EQ(record(3, {}), (Names{"a", "n+1", "n2", "own.reply"}));
    EXPECT_EQ(record(2, {"n1", "n2", "n3", "n1"}), (Names{"n1", "n3", "own.reply"}));
    EXPECT_EQ(ReplayClient(m_folder)->Fetch({"n3", ""}).body, std::string(300, 'x') + "******");
}

TEST(LivingTest, ACutReplyIsNeverFewerRows) {
    for (const auto& [recipe, name, kind] :
         {std::tuple{"yahoo-chart", "chart.history.NVDA", Kind::History},
          {"cboe-options", "cboe.options.AAPL", Kind::Options}}) {
        const std::string whole = ReplayClient(RECORDINGS)->Fetch({name, ""}).body;
        ASSERT_GT(whole.size(), 10000U);
        for (std::size_t length = whole.find_last_of('}'); length > 1999; length -= length / 4) {
            EXPECT_EQ(ReadReply(Shipped(recipe), {kind, "X"}, whole.substr(0, length)).state,
                      State::Nonsense)
                << name << length;
        }
    }
    EXPECT_EQ(ReadReply(Shipped("tiingo"), {}, std::string(1000000, '[')).why,
              "brackets in brackets");
    std::string flat = "[0";
    while (flat.size() < 5'000'000) flat += ",[]";
    EXPECT_EQ(ReadReply(Shipped("tiingo"), {}, flat + "]").why, "too many values");
}

TEST(LivingTest, HistoriesAreAsTraded) {
    const Date day = sys_days{2024y / March / 4};
    const auto bar = [&](int after, double close, double volume = 7) {
        return Bar{day + days(after), close, close, close, close, volume};
    };
    // Two for one on the third day, half a dollar (of today's) on the second; the fourth is
    // running.
    History history{{bar(0, 10), bar(1, 11), bar(2, 12, 0), bar(3, 13), bar(4, 14)},
                    {{day + days(1), 0.25}, {day + days(1), 0.25}},
                    {{day + days(2), 2}}};
    history.bars[4].low = unknown;
    const HistoryFiles files =
        MakeFiles(history, {true, true, true, false}, {day + days(3), false});
    EXPECT_EQ(files.texts.at(".csv"),
              "Date,Open,High,Low,Close,Volume,Adj Close\n"
              "2024-03-06,12,12,12,12,000,12\n"
              "2024-03-05,22,22,22,22,4,11\n"
              "2024-03-04,20,20,20,20,4,9.5\n");
    EXPECT_EQ(files.texts.at(".dividends.csv"), "Date,Dividends\n2024-03-05,0.5\n");
    EXPECT_EQ(files.dropped, 2U);
    EXPECT_EQ(files.notes, (std::vector<std::string>{"2024-03-08: a price is missing",
                                                     "2024-03-07: the day is not over"}));
    EXPECT_THROW(MakeFiles({{bar(0, 1), bar(0, 2)}, {}, {}}, {.hasAdjusted = false}, today),
                 Nonsense);
    for (const Bar& never : {bar(999, 1), bar(0, 1e25), bar(0, INFINITY), bar(-740000, 1)}) {
        EXPECT_THROW(MakeFiles({{never}, {}, {}}, {.hasAdjusted = false}, {day, true}), Nonsense);
    }
    EXPECT_TRUE(MakeFiles({{bar(0, 0)}, {}, {}}, {.hasAdjusted = false}, today).texts.empty());
}

// The market's clock counts, wherever the server stands: at noon there the day's row is left out.
TEST(LivingTest, ADayIsOverWhereTheMarketIs) {
    class Client final : public WebClient {
    public:
        WebAnswer Fetch(const WebRequest&) override { return {200, {}, {}, {}, body}; }
        std::string body;
    } client;
    FeedSpec spec{"x", RecipeOf(R"({"url": "http://x", "root": "r", "date": "t", "epoch": "s",
                                    "offset": "o", "columns": {"Close": "c"}})")};
    const FeedsFile file;
    const sys_seconds now = floor<seconds>(system_clock::now());
    for (const auto& [clock, rows] : {std::pair{12h, 1U}, {20h, 2U}}) {
        const seconds ahead = clock - (now - floor<days>(now));
        const std::string day = std::to_string((now - 9h).time_since_epoch().count());
        const std::string before = std::to_string((now - 33h).time_since_epoch().count());
        client.body = R"({"r": {"o": )" + std::to_string(ahead.count()) +
                      R"(, "c": [1, 2], "t": [)" + before + ", " + day + "]}}";
        for (const int off : {-1, 0, 1}) {
            const Today here{floor<days>(now + ahead) + days(off), off == 0};
            const Outcome outcome = Feed(spec, file, client).Fetch({Kind::History, "X"}, here);
            EXPECT_EQ(2 - outcome.dropped, rows) << outcome.why << clock.count() << ' ' << off;
            EXPECT_EQ(outcome.offset, ahead);
        }
    }
}

TEST(LivingTest, DecimalsAreTheFewestThatAreTheNumber) {
    for (std::uint64_t i = 1; i < 400'000; ++i) {
        const std::uint64_t bits = i * 0x9E3779B97F4A7C15;
        const double value = (i % 2 ? 1 : -1) * static_cast<double>(bits >> (i % 60)) /
                             std::array{1., 10., 1e2, 1e3, 1e4, 1e5, 3., 8192.}[i / 60 % 8];
        char text[400];
        EXPECT_EQ(DecimalText(value),
                  std::string(
                      text, std::to_chars(text, text + 400, value, std::chars_format::fixed).ptr));
    }
    EXPECT_EQ(DecimalText(0) + DecimalText(0.5) + DecimalText(-20.0), "00.5-20");
}

TEST(LivingTest, AFeedIsAskedAtItsPace) {
    const Clock::time_point start{};
    const auto after = [&](seconds time) { return start + time; };
    Pace pace({2, seconds(10)}, Rate{4, hours(24)});
    for (const auto& [now, next] :
         {std::pair{0s, 0s}, {1s, 1s}, {2s, 10s}, {10s, 11s}, {11s, 11s}, {12s, 86400s}}) {
        EXPECT_EQ(pace.Next(after(now)), after(next)) << now.count();
        if (now == next) {
            pace.Count(after(now));
        } else if (now == 2s) {
            pace.Count(after(10s));
        }
    }
    Pace cooling({1, seconds(1)}, {});
    for (const seconds wait : {60s, 120s, 240s}) {
        cooling.CoolDown(start);
        EXPECT_EQ(cooling.Next(start), after(wait));
    }
    cooling.CoolDown(start, after(5s));
    EXPECT_EQ(cooling.Next(start), after(5s));

    const Clock::time_point now = sys_days{2015y / October / 21} + 7h;
    EXPECT_EQ(RetryTime("120", now), now + 120s);
    EXPECT_EQ(RetryTime("Wed, 21 Oct 2015 07:28:00 GMT", now), now + 28min);
    EXPECT_EQ(RetryTime("soon", now), std::nullopt);
}

TEST_F(FolderTest, EveryMistakeOfAFeedsFileIsTold) {
    namespace fs = std::filesystem;
    fs::copy(TEST_DATA "/mistakes", m_folder);
    fs::permissions(m_folder / "secrets.txt", fs::perms::others_read, fs::perm_options::add);
    Mistakes mistakes;
    const FeedsFile feeds = ReadFeedsFile(m_folder / "feeds.json", mistakes);
    std::ifstream told(m_folder / "told.txt");
    for (std::string expected; std::getline(told, expected);)
        EXPECT_TRUE(std::ranges::any_of(mistakes, [&](const std::string& mistake) {
            return mistake.find(expected) != std::string::npos;
        })) << expected;
    EXPECT_EQ(feeds.symbols.at({"BRK.B", "*"}), "BRK-B");
    EXPECT_EQ(Masked("{a;b}", feeds.secrets), "{***}");
    EXPECT_EQ(Masked(R"(ab/c ab\/c ab%2Fc abx)", {"ab", "ab/c"}), "**** ***** ****** **x");
}

TEST_F(FolderTest, AnEditedCopyStays) {
    const Ask ask{Kind::History, "CON"};
    const Clock::time_point now = floor<seconds>(Clock::now());
    const Outcome outcome{
        .state = State::Rows, .feed = "a", .symbol = "CON", .files = {{".csv", "1"}}};
    Store store(m_folder);
    EXPECT_EQ(store.Find(ask), std::nullopt);
    EXPECT_EQ(store.Save(ask, outcome, now), "");
    EXPECT_TRUE(std::filesystem::exists(m_folder / "_CON.csv"));  // a device of Windows
    EXPECT_EQ(Store(m_folder).Find(ask)->fetched, now);
    Write("_CON.csv", "mine");
    EXPECT_NE(Store(m_folder).Save(ask, outcome, now + hours(1)).find("was edited"),
              std::string::npos);
    EXPECT_EQ(Store(m_folder).Find(ask)->fetched, now + hours(1));  // it is as good as new
    EXPECT_EQ(Store(m_folder).All().size(), 1U);
    Write("_CON.history.from.json", R"({"marks": 1})");
    EXPECT_TRUE(store.IsEdited(ask));
    std::filesystem::remove_all(m_folder);
    EXPECT_EQ(store.Save(ask, outcome, now), "");
    std::filesystem::remove(m_folder / "_CON.csv");
    EXPECT_EQ(store.Find(ask), std::nullopt);
    EXPECT_EQ(store.Save(ask, outcome, now), "");
}

// Of two programs that save into one folder without pause, one after the other is ended.
TEST_F(FolderTest, TheEndOfAProgramLeavesOldOrNew) {
    const Ask ask{Kind::History, "X"};
    const auto outcome = [](char c) {
        return Outcome{.state = State::Rows,
                       .files = {{".csv", std::string(50000, c)}, {".dividends.csv", {c}}}};
    };
    const auto start = [&]() noexcept {
        const pid_t child = fork();
        for (std::size_t i = 0; child == 0; ++i) {
            Store store(m_folder);
            store.Save(ask, outcome(i % 2 ? 'a' : 'b'), Clock::now());
            for (int more = 0; more < 20; ++more) {
                store.SaveCoolDowns({{std::string(i % 200, 'f'), Clock::now()}});
                if (store.IsEdited(ask)) abort();
            }
        }
        return child;
    };
    Store(m_folder).Save(ask, outcome('a'), Clock::now());
    pid_t savers[] = {start(), start()};
    const auto end = [](pid_t saver) {
        int status = 0;
        kill(saver, SIGKILL);
        EXPECT_EQ(waitpid(saver, &status, 0), saver);
        EXPECT_EQ(WTERMSIG(status), SIGKILL) << "it ended by itself";
    };
    for (int i = 0; i < 30; ++i) {
        std::this_thread::sleep_for(milliseconds(1 + i % 10));
        end(savers[i % 2]);
        const std::string text = DataFolder(m_folder).Prices("X")->text;
        ASSERT_EQ(text, std::string(50000, text.at(0)));
        ASSERT_EQ(Store(m_folder).Save(ask, outcome('a'), Clock::now()), "");
        savers[i % 2] = start();
    }
    std::ranges::for_each(savers, end);
    Store(m_folder).CoolDowns();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 5);
}

TEST_F(FolderTest, NothingOnTheStatusPageIsMarkup) {
    const std::string bad = "<script>'\"&";
    std::string status = R"({
        "feeds": {"BAD": {"state": "BAD", "why": "BAD", "requests": 1, "pace": "BAD",
                          "next": "BAD", "shared": true, "terms": "http://BAD", "termsSay": "BAD"},
                  "b": {"state": "rows", "why": "", "requests": 1, "pace": "", "next": "",
                        "shared": true, "terms": "javascript:x", "termsSay": "say"}},
        "lineUps": {"BAD": ["BAD", "b"]}, "copies": [{"ticker": "BAD", "kind": "history", "feed": "BAD", "symbol": "BAD",
                    "fetched": "BAD", "first": "BAD", "asked": "BAD", "fresh": true, "dropped": 0}],
        "failures": ["BAD"]})";
    for (std::size_t at = 0; (at = status.find("BAD", at)) != std::string::npos;) {
        status.replace(at, 3, "<script>'\\\"&");
    }
    const std::string page = StatusPage(status, DataFolder(m_folder), bad).body;
    EXPECT_EQ(page.find("<script"), std::string::npos) << page;
    EXPECT_EQ(page.find("javascript:"), std::string::npos) << page;
    EXPECT_NE(page.find("&amp;, then b</td>"), std::string::npos) << page;
    EXPECT_NE(page.find("href=\"http://&lt;script&gt;'&quot;&amp;\""), std::string::npos) << page;
    Write("A.csv",
          "Date,Open,High,Low,Close,Volume,Adj Close\n2024-01-03,1,1,1,3,1,2\n"
          "2024-01-02,1,1,1,1,1,1\n");
    const std::string drawn = StatusPage(status, DataFolder(m_folder), "a").body;
    for (const char* part :
         {"class=\"close\" d=\"M900.0 0.0L0.0 200.0h0\"",
          "role=\"img\"><title>Closes of a from 2024-01-02 to 2024-01-03, between 1.00 and 3.00"}) {
        EXPECT_NE(drawn.find(part), std::string::npos) << part << drawn;
    }
}

}  // namespace
}  // namespace quoteserver::living
