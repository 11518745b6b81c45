// What each of the services answers, from the sample files.
#include "Services.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "Support.h"

namespace quoteserver {
namespace {

using namespace std::chrono;

const DataFolder& Samples() {
    static const DataFolder folder{SAMPLE_DATA};
    return folder;
}

std::string Sample(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(SAMPLE_DATA "/" + name, std::ios::binary).rdbuf();
    return text.str();
}

using Service = Reply (*)(const Query&);

// The page of a refusal names the status in its third line, where clients look.
std::string Ask(Service service, const std::string& query) {
    Routes routes;
    routes.Add("GET", "/", [=](const Request& request) { return service(request.target.query); });
    const Reply reply = routes.Answer({"GET", ParseTarget("/?" + query)});
    if (reply.status == 200) return reply.body;
    EXPECT_EQ(reply.contentType, "text/html");
    std::istringstream page(reply.body);
    std::string line;
    for (int i = 0; i < 3; ++i) std::getline(page, line);
    EXPECT_EQ(line.substr(0, 3), std::to_string(reply.status));
    return line.substr(0, 3);
}

template <std::size_t rowsPerPage, DateForm dates = DateForm::Iso>
Reply Table(const Query& query) {
    return AnswerTable(Samples(), {rowsPerPage, dates}, query);
}
Reply Quotes(const Query& query) { return AnswerQuotes(Samples(), query); }
Reply History(const Query& query) { return AnswerHistory(Samples(), query); }
Reply Futures(const Query& query) { return AnswerFutures(Samples(), query); }
Reply Options(const Query& query) { return AnswerOptions(Samples(), query); }
Reply Own(const Query& query) { return AnswerOwn(query.value("of"), Samples(), query); }

TEST(Query, IsReadAsClientsWriteIt) {
    const Target target =
        ParseTarget("/table.csv?&s=%5eVIX&&flag&x=a%20b+c%3D&s=second&%=%4&z=%zz#f");
    EXPECT_EQ(target.path, "/table.csv");
    for (const auto& [key, value] :
         {std::pair{"s", "^VIX"}, {"x", "a b c="}, {"flag", ""}, {"%", "%4"}, {"z", "%zz"}}) {
        EXPECT_EQ(target.query.value(key), value) << key;
    }
}

TEST(Services, AnswerToTheLetter) {
    const std::map<std::string, Service> services{
        {"table-0", Table<0>},     {"table-1", Table<1>},
        {"table-200", Table<200>}, {"table-named", Table<200, DateForm::DayMonYy>},
        {"history", History},      {"futures", Futures},
        {"quotes", Quotes},        {"own", Own},
        {"options", Options}};
    std::ifstream in(TEST_DATA "/services.txt");
    int count = 0;
    for (std::string line, question, reply; std::getline(in, line);) {
        if (line.starts_with("  ")) {
            reply += line[2] == '@' ? Sample(line.substr(3)) : Unescaped(line.substr(2)) + "\n";
        } else if (line.starts_with("= ")) {
            reply = line.substr(2);
        } else if (!line.empty() && line[0] != '#') {
            question = line;
        } else if (!question.empty()) {
            const std::size_t blank = question.find(' ');
            EXPECT_EQ(Ask(services.at(question.substr(0, blank)), question.substr(blank + 1)),
                      reply)
                << question;
            ++count;
            question = reply = "";
        }
    }
    EXPECT_EQ(count, 34);
    for (const char* form : {"", "txtTicker=", "txtTicker=GOOG", "txtHeaderQuote=AAPL"}) {
        EXPECT_EQ(Options(Query(form)).contentType, "text/html") << form;
    }
}

TEST(Services, RefuseWhatMakesNoSense) {
    for (const char* query : {"", "s=", "s=A/B", "s=A%5CB", "s=..", "s=A%00", "s=C:A", "s=A*",
                              "s=A&g=x", "s=A&g=%3Cb%3E", "s=A&a=1", "s=A&a=0&b=1&c=20x8",
                              "s=A&a=12&b=1&c=2008", "s=A&a=-1&b=1&c=2008", "s=A&a=1&b=29&c=2007",
                              "s=A&d=0&e=257&f=2008", "s=A&d=0&e=1&f=99999999999"})
        EXPECT_EQ(Ask(Table<200>, query), "400") << query;
    for (const char* date : {"2015-01-01", "Feb 30, 2004", "Jan 9 2004", "Jan , 2004",
                             "jan 9, 2004", "Jan 009, 2004", "Jan 9, 20040", "J"})
        EXPECT_EQ(Ask(History, std::string("q=GOOG&enddate=") + date), "400") << date;
    EXPECT_EQ(ErrorPage(400, "<b>").body.find("<b>"), std::string::npos);
    Routes routes;
    routes.Add("GET", "/", [](const Request&) { return Reply{}; });
    EXPECT_EQ(routes.Answer({"POST", ParseTarget("/")}).status, 404U);
}

TEST(Services, TablesEndWithACommentWhereAsked) {
    EXPECT_TRUE(AnswerTable(Samples(), {.commentServer = "chart7"}, Query("s=GOOG"))
                    .body.starts_with(Ask(Table<200>, "s=GOOG") + "<!-- chart7 unco"));
    EXPECT_EQ(CommentLine("a", sys_days{2013y / October / 7} + 13h + 5min + 9s),
              "<!-- a uncompressed/chunked Mon Oct  7 13:05:09 UTC 2013 -->\n");
}

TEST(Account, GetsPlainValuesAndNobodyElseDoes) {
    const auto ask = [](const char* password, const char* credentials, const char* query) {
        return AnswerAccount(Samples(), {"demo", password},
                             {"GET", ParseTarget(std::string("/?") + query), "", credentials});
    };
    for (const auto& [query, body] :
         {std::pair{
              "FIELDS=TICK,LAST,NET,TIME,SIZE,VOLUME,OPEN,HIGH,LOW,CLOSE,BID,ASK,BIDASKSIZE,"
              "EXCHANGE,NAME,YRHIGH,YRLOW,DIVFREQ,DIVIDEND,EARNINGS,SHARES,PERATIO,DIVDATE,"
              "VOLATILITY,YIELD,STATUS&TICKER=intc",
              "INTC,35.44,-1.00,16:00:00,2689519,29457900,36.10,36.39,35.44,36.44,35.00,35.44,"
              "200x200,NMS,Intel Corporation,36.65,27.68,,1.04,2.06,4731000000,17.19,9/1/2016,"
              ",2.85,\n"},
          {"FIELDS=TIME,NAME&TICKER=^FCHI", "11:40:00,\n"},
          {"FIELDS=TICK,NAME&TICKER=TSLA", "TSLA,Tesla Motors Inc.\n"},
          {"FIELDS=TICK,LAST&TICKER=nope", "Invalid symbol\n"}})
        EXPECT_EQ(ask("demo", "Basic ZGVtbzpkZW1v", query).body, body);
    // Their lengths need one and two characters of padding.
    EXPECT_EQ(ask("em", "Basic ZGVtbzplbQ==", "FIELDS=TICK&TICKER=GOOG").body, "GOOG\n");
    EXPECT_EQ(ask("dem", "Basic ZGVtbzpkZW0=", "FIELDS=TICK&TICKER=GOOG").body, "GOOG\n");
    for (const char* wrong : {"", "Basic ", "Basic ZGVtbzpkZW1p", "ZGVtbzpkZW1v"}) {
        const Reply reply = ask("demo", wrong, "FIELDS=TICK&TICKER=GOOG");
        EXPECT_EQ(reply.status, 401U) << wrong;
        EXPECT_TRUE(reply.headers.at(0).second.starts_with("Basic realm=")) << wrong;
    }
}

}  // namespace
}  // namespace quoteserver
