// The chart service's adapters against a server: requests, paging, columns, odd replies, and the
// choice of a server.

#include <cstdio>

#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

constexpr wchar_t noError[] = L"0 0 ";
constexpr wchar_t failure[] = L"1 -2146697208 Download failure";

// A date's parts in a request: the service counts months from 0.
std::string DateQuery(const char* keys, double date) {
    SYSTEMTIME day;
    VariantTimeToSystemTime(date, &day);
    char text[64];
    std::snprintf(text, sizeof text, "&%c=%d&%c=%d&%c=%d", keys[0], day.wMonth - 1, keys[1],
                  day.wDay, keys[2], day.wYear);
    return text;
}

double QueriedDate(const std::string& path, const char* keys) {
    int parts[3];
    for (int i = 0; i < 3; ++i)
        parts[i] = std::atoi(path.c_str() + path.find(std::string("&") + keys[i] + "=") + 3);
    return Day(parts[2], parts[0] + 1, parts[1]);
}

// A page as the service gives it: newest row first, at most 200 of them.
std::string PricePage(double start, double end) {
    std::string page = priceHeader;
    for (int rows = 0; end >= start && rows < 200; ++rows, --end) {
        SYSTEMTIME day;
        char text[128];
        VariantTimeToSystemTime(end, &day);
        std::snprintf(text, sizeof text, "%04d-%02d-%02d,%.2f,3,1,2,%.0f,2\n", day.wYear,
                      day.wMonth, day.wDay, end + .25, end);
        page += text;
    }
    return page;
}

const std::string row = "2004-01-09,1,1,1,1,1,1\n";
const double lastDay = Day(2004, 3, 1);

class YahooTest : public LibraryTest {
protected:
    static void Use(const LoopbackServer& chart,
                    std::vector<std::array<std::string, 3>> settings = {}) {
        settings.push_back({"hosts", "yahoo.chart", chart.Host()});
        WriteSettings(settings);
    }
    static Ptr<_CDataSource> Prices() { return New<::CDataSourceYahooHitorical, _CDataSource>(); }
    static Ptr<_CDataSource> Dividends() {
        return New<::CDataSourceYahooDividends, _CDataSource>();
    }
};

TEST_F(YahooTest, RequestsToTheLetter) {
    ChartServer chart(priceHeader + row);
    Use(chart);
    for (const auto& [periodicity, letter] : {std::pair{L"DAILY", "d"},
                                              {L"WEEKLY", "w"},
                                              {L"MONTHLY", "m"},
                                              {L"weekly", "w"},
                                              {L"", "v"}}) {
        Job job(*periodicity ? Prices() : Dividends());
        job.Set(L"TICKER", L"BRK.A");
        if (*periodicity) job.Set(L"PERIODICITY", periodicity);
        job.Set(L"STARTDATE", L"2004-01-09");  // as a host's form has it
        job.Set(L"ENDDATE", _variant_t(Day(2010, 12, 31), VT_DATE));
        job.Start();
        EXPECT_EQ(chart.TakeTables(),
                  (std::vector<std::string>{"GET /table.csv?&s=BRK.A&a=0&b=9&c=2004&d=11&e=31&f="
                                            "2010&g=" +
                                            std::string(letter) + "&ignore=.csv"}));
    }
    // The probe is the last week of DIA; a new session asks for the last fortnight.
    Job job(Prices());
    job.Start();
    SYSTEMTIME now;
    double today = 0;
    GetLocalTime(&now);
    now.wHour = now.wMinute = now.wSecond = now.wMilliseconds = 0;
    SystemTimeToVariantTime(&now, &today);
    const std::string end = DateQuery("def", today) + "&g=d&ignore=.csv";
    EXPECT_EQ(chart.TakePaths(), (std::vector<std::string>{
                                     "GET /table.csv?&s=DIA" + DateQuery("abc", today - 7) + end,
                                     "GET /table.csv?&s=" + DateQuery("abc", today - 14) + end}));
}

TEST_F(YahooTest, PagesUntilThereIsNoFullOne) {
    ChartServer chart([](const std::string& path) {
        return HttpReply(PricePage(QueriedDate(path, "abc"), QueriedDate(path, "def")));
    });
    Use(chart);
    const auto prices = Prices();
    for (const auto& [rows, requests] :
         {std::pair{1, 1u}, {199, 1u}, {200, 2u}, {400, 3u}, {450, 3u}}) {
        SCOPED_TRACE(rows);
        const double start = lastDay - rows + 1;
        Job job(prices);
        job.SetRange(start, lastDay);
        job.Start();
        const auto paths = chart.TakeTables();
        ASSERT_EQ(paths.size(), requests);
        for (std::size_t page = 0; page < requests; ++page)
            EXPECT_EQ(QueriedDate(paths[page], "def"), lastDay - 200. * static_cast<double>(page));
        Numbers dates, opens;
        for (double day = start; day <= lastDay; ++day) {
            dates.push_back(day);
            opens.push_back(day + .25);
        }
        EXPECT_EQ(Column(job.session, L"DATE"), dates);
        EXPECT_EQ(Column(job.session, L"OPEN"), opens);
        const auto block = BlockOf(job.session);
        EXPECT_EQ(Read(block, &_CParameter::get_Editable), VARIANT_FALSE);
        EXPECT_EQ(Read(block, &_CParameter::get_ParameterType), vtdlParameterTypeDataFields);
        EXPECT_EQ(job.Count(L"DataReady"), 1);
        EXPECT_EQ(job.LastEvent(), L"Done 0");
    }
}

// What follows a full page, which is full with a comment too, decides about all of them.
TEST_F(YahooTest, LaterPages) {
    const std::string page = PricePage(lastDay - 199, lastDay);
    struct Case {
        std::string first, later;
        bool isStrict;
        std::size_t rows;
        const wchar_t* error;
    };
    const Case cases[] = {
        {page + "<!-- x -->", HttpReply(priceHeader), false, 200, noError},
        {page + "<!-- a.example compressed -->\n", HttpReply(priceHeader), false, 200, noError},
        {page, HttpReply(page), false, 400, noError},  // it never goes back in time
        {page, HttpReply(""), false, 0, noError},
        {page, "", false, 0, failure},
        {page, HttpReply("busy"), true, 0, failure},
        {page, HttpReply("<html>"), true, 0, failure},
        {page, HttpReply(priceHeader, "500 x"), true, 0, failure},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.later);
        int count = 0;
        ChartServer chart([&](const std::string&) {
            return count++ == 0 ? HttpReply(expected.first) : expected.later;
        });
        Use(chart, {{"http", "strict", expected.isStrict ? "1" : "0"}});
        Job job(Prices());
        job.SetRange(lastDay - 1000, lastDay);
        job.Start();
        EXPECT_EQ(chart.TakeTables().size(), 2u);
        EXPECT_EQ(BlockOf(job.session) ? Column(job.session, L"DATE").size() : 0, expected.rows);
        EXPECT_EQ(ErrorOf(job.session), expected.error);
        EXPECT_EQ(job.Count(L"DataReady"), 1);
        TakeLog();
    }
}

TEST_F(YahooTest, FullDividendPageIsAskedForAgainAndAppended) {
    std::string page = "Date,Dividends\n";
    Numbers expected{8, 7};
    for (int i = 0; i < 200; ++i) page += "2004-03-19," + std::to_string(i) + "\n";
    for (int i = 399; i >= 0; --i) expected.push_back(i % 200);
    int count = 0;
    ChartServer chart([&](const std::string&) {
        return HttpReply(++count < 3 ? page : "Date,Dividends\n2004-01-02,7\n2004-01-01,8\n");
    });
    Use(chart);
    Job job(Dividends());
    job.Start();
    EXPECT_EQ(Column(job.session, L"DIVIDENDS"), expected);
    const auto paths = chart.TakeTables();
    EXPECT_EQ(paths, std::vector<std::string>(3, paths.at(0)));
}

// Which server is best is told by how many of its rows are daily ones.
TEST_F(YahooTest, SelectsTheBestServerOfTheFamily) {
    const std::string daily = "9-Jan-04,1.0,1.0,1.0,1.0,100,1.0\n";
    const ClosedPort closed;
    for (const int best : {3, 13, 0, -1}) {  // 0: the public host; -1: and no other one answers
        SCOPED_TRACE(best);
        ChartServer others(priceHeader + row), chosen(priceHeader + row), common(priceHeader + row);
        others.probe = priceHeader + daily;
        chosen.probe = priceHeader + daily + daily + daily;
        common.probe =
            priceHeader + daily + daily + "<!-- quotes5.family.example uncompressed/chunked -->\n";
        std::vector<std::array<std::string, 3>> hosts;
        for (int k = 3; k <= 13; ++k)
            hosts.push_back({"hosts", "quotes" + std::to_string(k) + ".family.example",
                             best < 0    ? closed.Host()
                             : k == best ? chosen.Host()
                                         : others.Host()});
        Use(common, hosts);
        Job job(Prices());
        job.Start();
        job.Start();  // asks the same server, without probes
        EXPECT_EQ(chosen.TakePaths().size(), best > 0 ? 3u : 0u);
        EXPECT_EQ(others.TakePaths().size(), best > 0 ? 10u : best == 0 ? 11u : 0u);
        EXPECT_EQ(common.TakePaths().size(), best > 0 ? 1u : 3u);
        EXPECT_EQ(Column(job.session, L"DATE"), Numbers{Day(2004, 1, 9)});
        EXPECT_EQ(ErrorOf(job.session), best < 0 ? failure : noError) << "of the probes";
    }
}

TEST_F(YahooTest, AbortFromAProgressReportEndsAtOnce) {
    std::string page = priceHeader;
    while (page.size() < 2'000'000) page += row;
    ChartServer chart([&](const std::string&) { return HttpReply(page); });
    Use(chart);
    Job job(Prices());
    job.Start();
    job.sink.events.clear();
    job.sink.onEvent = [&](const std::wstring& event, _CSession* session) {
        if (event.starts_with(L"Progress")) session->Abort();
    };
    job.session->putref_Data(nullptr);
    job.Start();
    EXPECT_EQ(job.sink.events, (Events{L"Start", L"Progress 0 []", L"DataReady", failureDone}));
    EXPECT_FALSE(BlockOf(job.session));
    job.sink.onEvent = nullptr;
    page = priceHeader + row;
    job.Start();
    EXPECT_EQ(Column(job.session, L"DATE"), Numbers{Day(2004, 1, 9)});
}

// A host may start another session of the same source from a callback of the first. Its end aborts
// what the source is at, as every session's does; the first one fails, and can be started again.
TEST_F(YahooTest, DownloadsOfOneSourceNest) {
    ChartServer chart([](const std::string& path) {
        const bool isInner = path.find("s=INNER&") != std::string::npos;
        return HttpReply(priceHeader + (isInner ? row : "2004-01-08,2,2,2,2,2,2\n"));
    });
    Use(chart);
    const auto source = Prices();
    Job outer(source), inner(source);
    inner.Set(L"TICKER", L"INNER");
    outer.sink.onEvent = [&, started = false](const std::wstring& event, _CSession*) mutable {
        if (event.starts_with(L"Progress") && !std::exchange(started, true)) inner.Start();
    };
    outer.Start();
    EXPECT_EQ(Column(inner.session, L"CLOSE"), Numbers{1});
    EXPECT_EQ(outer.LastEvent(), failureDone);
    outer.Start();
    EXPECT_EQ(Column(outer.session, L"CLOSE"), Numbers{2});
}

}  // namespace
}  // namespace vtdl::tests
