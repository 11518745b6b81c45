// The living sources at work: who is asked, how often, and what becomes of it; and the system's
// client against a server that fails in every way there is.
#include "living/Keeper.h"

#include <atomic>

#include "Services.h"
#include "Support.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;
namespace net = boost::asio;

const std::string twoRows = "Date,Close\n2024-01-02,10\n2024-01-03,11\n";

// Answers by the feed that asks.
class ScriptedClient final : public WebClient {
public:
    struct Script {
        WebAnswer answer;
        milliseconds time{0};
    };
    explicit ScriptedClient(std::map<std::string, Script>& scripts, std::atomic<int>& requests)
        : m_scripts(scripts), m_requests(requests) {}

    WebAnswer Fetch(const WebRequest& request) override {
        ++m_requests;
        const Script& script = m_scripts.at(request.name.substr(0, request.name.find('.')));
        std::this_thread::sleep_for(script.time);
        return script.answer;
    }
    WebAnswer Bring(const WebRequest& request, const std::function<WebAnswer()>&) override {
        return Fetch(request);
    }

private:
    std::map<std::string, Script>& m_scripts;
    std::atomic<int>& m_requests;
};

class KeeperTest : public FolderTest {
protected:
    KeeperTest() {
        Recipe recipe;
        recipe.url = "http://x";
        recipe.format = Recipe::Format::CsvText;
        recipe.unknownStatuses = {404};
        recipe.date = {"Date"};
        recipe.close = {"Close"};
        for (const char* name : {"a", "b"}) {
            m_file.feeds.push_back({name, recipe, {}, {}, {1000, seconds(1)}});
        }
        m_file.feeds[1].isShared = true;
        m_file.secrets = {"geheim"};
        m_file.lineUp[0] = {0, 1};
        m_file.store = m_folder;
        m_file.patience = seconds(1);
        Restart();
    }

    void Restart() {
        m_keeper.emplace(m_context, m_file,
                         std::make_unique<ScriptedClient>(m_scripts, m_requests));
    }

    // "failed", or the source, with "stale" behind it.
    std::string Ask(const std::string& ticker = "X", int askers = 1, bool isLocal = true) {
        std::string said;
        int ready = 0;
        for (int i = 0; i < askers; ++i) {
            net::co_spawn(
                m_context,
                [&]() -> net::awaitable<void> {
                    const std::vector<living::Ask> asks{{Kind::History, ticker}};
                    const Readiness readiness =
                        co_await m_keeper->Ready(asks, isLocal, sys_days{2000y / January / 1});
                    why = readiness.why;
                    said = readiness.isFailed
                               ? "failed"
                               : readiness.source + (readiness.isStale ? " stale" : "");
                    ++ready;
                },
                net::detached);
        }
        RunUntil([&] { return ready == askers; });
        return said;
    }

    template <class Condition>
    void RunUntil(Condition condition) {
        while (!condition()) {
            m_context.restart();
            m_context.run_one();
        }
    }

    void Age(seconds age) {
        const std::filesystem::path note = m_folder / "X.history.from.json";
        std::ifstream in(note);
        Json json = Json::parse(in);
        json["fetched"] = Clock::to_time_t(Clock::now() - age);
        std::ofstream(note) << json;
        Restart();
    }

    net::io_context m_context{1};
    FeedsFile m_file;
    std::map<std::string, ScriptedClient::Script> m_scripts{{"a", {{200, {}, {}, {}, twoRows}}},
                                                            {"b", {{200, {}, {}, {}, twoRows}}}};
    std::atomic<int> m_requests = 0;
    std::string why;  // of the last answer
    std::optional<Keeper> m_keeper;
};

TEST_F(KeeperTest, OneRequestServesAll) {
    m_scripts["a"].time = milliseconds(50);
    EXPECT_EQ(Ask("X", 200), "a");
    EXPECT_EQ(Ask(), "a");  // the copy is new enough
    EXPECT_EQ(m_requests, 1);
    EXPECT_TRUE(DataFolder({}, m_folder).Prices("x").has_value());
    // Whose days before the first one are asked for; it is known in the next run, too.
    Age(hours(1));
    const std::string status = m_keeper->Status();
    EXPECT_NE(status.find(R"("asked": "2000-01-01")"), std::string::npos) << status;
    EXPECT_NE(status.find(R"("first": "2024-01-02")"), std::string::npos) << status;
}

TEST_F(KeeperTest, TheNextInTheLineUpIsAskedForEveryFailure) {
    int ticker = 0;
    for (const auto& [answer, said, requests] :
         std::vector<std::tuple<WebAnswer, const char*, int>>{
             {{0, "no connection"}, "b", 2},
             {{500}, "b", 2},
             {{401}, "b", 2},
             {{404}, "b", 2},
             {{200, {}, {}, {}, "<html>geheim</html>"}, "b", 2},
             {{200, {}, "image/png", {}, twoRows}, "b", 2},
             {{200, {}, {}, {}, "Date,Close\n"}, "", 1},
             {{200, {}, {}, {}, twoRows}, "a", 1}}) {
        m_scripts["a"].answer = answer;
        m_requests = 0;
        EXPECT_EQ(Ask("T" + std::to_string(++ticker)), said) << answer.status;
        EXPECT_EQ(m_requests, requests) << answer.status;
    }
    // The page shows how failed replies began.
    const std::string status = m_keeper->Status();
    EXPECT_NE(status.find("a T5 (history): status 200, : <html>******</html>"), std::string::npos)
        << status;
    // What nobody knows is an answer, for a while; what cannot be had is none.
    m_scripts["a"].answer = m_scripts["b"].answer = {404};
    m_requests = 0;
    EXPECT_EQ(Ask("U") + Ask("U"), "");
    EXPECT_EQ(m_requests, 2);
    // Whoever is told may tell others, such as a branch office.
    m_scripts["b"].answer = {
        401, {}, "text/html", {}, Unescaped("<title>x</title><body><p>No such\\tkey</p>geheim")};
    EXPECT_EQ(Ask("V"), "failed");
    EXPECT_EQ(why, "b: status 401: No such?key ******");
}

TEST_F(KeeperTest, AnOldCopyIsBetterThanNothingForAWhile) {
    EXPECT_EQ(Ask(), "a");
    m_scripts["a"].answer = m_scripts["b"].answer = {0, "no connection"};
    Age(hours(25));
    EXPECT_EQ(Ask() + why, "a stalea: no connection");
    // Days that the copy has and a source has lost, and closes that no split explains.
    for (const char* doubtful :
         {"Date,Close\n2024-01-03,11\n", "Date,Close\n2024-01-02,10\n2024-01-03,22\n"}) {
        m_scripts["a"].answer = {200, {}, {}, {}, doubtful};
        EXPECT_EQ(Ask(), "a stale") << doubtful;
    }
    m_file.feeds[0].command = {"a program, whose rows are the user's"};
    EXPECT_EQ(Ask(), "a");
    Age(hours(24 * 8));
    m_scripts["a"].answer = {0, "no connection"};
    EXPECT_EQ(Ask(), "failed");
    m_scripts["b"].answer = {
        200, {}, {}, {}, "Date,Close\n2024-01-03,22\n"};  // corrected, it seems
    EXPECT_EQ(Ask(), "b");
}

// Where a source fails, the others are not tried; the next round goes on behind it.
TEST_F(KeeperTest, OldCopiesAreRenewedWhileTheSourceAnswers) {
    m_file.ages[0].fresh = seconds(1);
    for (const char* ticker : {"A", "B", "C"}) {
        EXPECT_EQ(Ask(ticker), "a");
    }
    EXPECT_EQ(Ask("D", 1, false), "b");
    std::this_thread::sleep_for(milliseconds(1100));
    for (const auto& [status, requests] : {std::pair{500U, 2}, {401U, 2}, {200U, 4}}) {
        m_requests = 0;
        m_scripts["a"].answer.status = m_scripts["b"].answer.status = status;
        bool isDone = false;
        net::co_spawn(m_context, m_keeper->RenewOnce(), [&](auto) { isDone = true; });
        RunUntil([&] { return isDone; });
        EXPECT_EQ(m_requests, requests) << status;
    }
}

TEST_F(KeeperTest, NobodyWaitsLongerThanTheirPatience) {
    m_scripts["a"].time = milliseconds(1500);
    const auto start = steady_clock::now();
    EXPECT_EQ(Ask(), "failed");
    EXPECT_LT(steady_clock::now() - start, milliseconds(1400));
    EXPECT_EQ(Ask(), "a");  // the same request, which has come back meanwhile
    EXPECT_EQ(m_requests, 1);
}

TEST_F(KeeperTest, ACoolDownOutlivesTheProgram) {
    m_scripts["a"].answer = {429, {}, {}, "120"};
    m_scripts["b"].time = milliseconds(1500);
    EXPECT_EQ(Ask(), "failed");
    EXPECT_EQ(Store(m_folder).CoolDowns().size(), 1U);  // whatever becomes of the others
    EXPECT_EQ(Ask(), "b");
    m_file.lineUp[0] = {0};
    Restart();
    EXPECT_EQ(Ask("Y"), "failed");
    EXPECT_EQ(m_requests, 2);
}

TEST_F(KeeperTest, OthersGetNothingOfWhatMayNotBeShared) {
    EXPECT_EQ(Ask(), "a");
    EXPECT_EQ(Ask("X", 1, false), "b");  // whose copy it is now
    EXPECT_EQ(Ask("X", 1, false), "b");
    EXPECT_EQ(m_requests, 2);
    m_file.lineUp[0] = {0};
    EXPECT_EQ(Ask("Y", 1, false), "failed");
}

// Over the system's own client; what the first one has, the second one has to the byte.
TEST_F(KeeperTest, OneQuoteServerFeedsAnother) {
    const std::string prices =
        "Date,Open,High,Low,Close,Volume,Adj Close\n2024-01-03,10.5,12,10,11.75,900,11.75\n"
        "2024-01-02,20,22,19,21,000,10.1234567\n";
    const std::map<std::string, std::string> files{
        {".csv", prices},
        {".dividends.csv", "Date,Dividends\n2024-01-03,0.5\n2024-01-01,0.25\n"},
        {".splits.csv", "Date,Splits\n2024-01-03,2\n"},
        {".futures.csv",
         "Date,Open,High,Low,Close,Volume,OpenInt\n2024-01-03,1,3,1,2,5,7\n2024-01-02,1,3,1,2,"
         "000\n"}};
    for (const auto& [suffix, text] : files) {
        Write("X" + suffix, text);
    }
    Write("quotes.csv", "s,n,l1,d1,t1,p\nX,\"X, Inc.\",1.1034,1/3/2024,4:00pm,1.10120\n");
    const DataFolder folder(m_folder);
    Routes routes;
    for (const char* name : tableNames) {
        routes.Add("GET", std::string(tablesPath) + name, [&](const Request& request) {
            return Unchanged(AnswerTables(folder, request.target), request.known);
        });
    }
    std::optional<RunningServer> server(std::in_place, routes, ServerOptions{"test"});
    Mistakes mistakes;
    const FeedsFile file = ParseFeedsFile(
        R"({"store": "other", "lineUp": {"history": ["it"]}, "feeds": {"it": {"recipe": "quoteserver",
            "pace": "99 per s", "url": "http://127.0.0.1:)" +
            std::to_string(server->Port()) + R"(/v1/{table}.csv?ticker={symbol}"}}})",
        m_folder / "feeds.json", mistakes);
    EXPECT_EQ(mistakes, Mistakes{});
    const auto client = SystemWebClient("test");
    Feed feed(file.feeds.at(0), file, *client);
    const auto fetch = [&](Kind kind, const char* ticker = "X") {
        return feed.Fetch({kind, ticker}, {sys_days{2024y / January / 5}});
    };
    std::map<std::string, std::string> fed = fetch(Kind::History).files;
    fed.merge(fetch(Kind::Futures).files);
    EXPECT_EQ(fed, files);
    EXPECT_EQ(fetch(Kind::Quotes).files[".quote.csv"],
              "c1,d1,l1,n,p,p2,s,t1\n+0.0022,1/3/2024,1.1034,X Inc.,1.1012,+0.20%,X,4:00pm\n");
    EXPECT_EQ(fetch(Kind::History, "Y").state, State::Unknown);

    // Nor does anything go over the line again that has not changed.
    const auto ask = [&](const std::string& known) {
        const Reply reply =
            routes.Answer({"GET", ParseTarget("/v1/history.csv?ticker=x"), "", "", "", known});
        return std::pair(reply.status, reply.headers.at(0).second);
    };
    const std::string tag = ask("").second;
    EXPECT_EQ(ask("\"a\", W/" + tag), std::pair(304U, tag));
    Write("X.splits.csv", "Date,Splits\n2024-01-03,3\n");
    EXPECT_EQ(ask(tag).first, 200U);
    server.reset();
    EXPECT_EQ(fetch(Kind::History).state, State::Down);
}

TEST(WebClientTest, OnlyAWholeReplyIsOne) {
    std::map<std::string, BrokenReply> replies;
    const Reply whole{200, "text/csv", std::string(5000, 'a')};
    const auto redirect = [&](const char* from, const char* to) {
        replies[from] = Break({302, "", "", {{"Location", to}}}, Fault::None);
    };
    redirect("/here", "/0");
    redirect("/elsewhere", "http://localhost:1/");
    redirect("/round", "/round");
    // "aaaaaaaaaa\n", packed.
    const std::string packed("\x1f\x8b\x08\0\0\0\0\0\0\3KL\x84\1.\0B\xe5&\x8f\v\0\0\0", 24);
    for (std::size_t size = 0; size <= packed.size(); ++size) {
        const Reply cut{200, "text/csv", packed.substr(0, size), {{"Content-Encoding", "gzip"}}};
        replies["/gzip" + std::to_string(size)] = Break(cut, Fault::None);
    }
    for (const Fault fault : {Fault::None, Fault::Silent, Fault::Stall, Fault::Close, Fault::Reset,
                              Fault::Length, Fault::Drip, Fault::Chunks, Fault::Head}) {
        replies["/" + std::to_string(static_cast<int>(fault))] = Break(whole, fault);
    }
    replies["/huge"] = {{{"HTTP/1.1 200 OK\r\n\r\n"}, {std::string(1 << 20, ' '), 40}}};
    ServerOptions options{"test"};
    options.script = [&](const std::string& path) { return replies.at(path); };
    const RunningServer server({}, options);
    const auto fetch = [&, client = SystemWebClient("test")](const std::string& path) {
        const std::string url = "http://127.0.0.1:" + std::to_string(server.Port());
        return client->Fetch({"x", url + path, {}, seconds(1)});
    };
    for (const auto& [path, reply] : replies) {
        const WebAnswer answer = fetch(path);
        const std::string body = path == "/0" || path == "/here" ? whole.body
                                 : path == "/gzip24"             ? "aaaaaaaaaa\n"
                                                                 : "";
        EXPECT_EQ(answer.body, body) << path;
        EXPECT_EQ(answer.status, body.empty() ? 0U : 200U) << path;
        EXPECT_EQ(answer.fault.empty(), !body.empty()) << path;
    }
    for (const char* path : {"/elsewhere", "/round"}) {
        EXPECT_EQ(fetch(path).fault, "it redirects to another place");
    }
}

}  // namespace
}  // namespace quoteserver::living
