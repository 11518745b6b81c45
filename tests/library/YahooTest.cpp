// The chart service's adapters against a server: requests, paging, columns, odd replies, and the
// choice of a server.

#include <cstdio>
#include <numeric>

#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

constexpr wchar_t noError[] = L"0 0 ";
constexpr wchar_t failure[] = L"1 -2146697208 Download failure";

// A date in a request: the service counts months from 0.
std::string DateQuery(const char* format, double date) {
    SYSTEMTIME day;
    char text[64];
    VariantTimeToSystemTime(date, &day);
    std::snprintf(text, sizeof text, format, day.wMonth - 1, day.wDay, day.wYear);
    return text;
}

// A page as the service gives it: newest row first, at most 200 of them.
std::string PricePage(double start, double end) {
    std::string page = priceHeader;
    for (int rows = 0; end >= start && rows < 200; ++rows, --end) {
        SYSTEMTIME day;
        char text[64];
        VariantTimeToSystemTime(end, &day);
        std::snprintf(text, sizeof text, "%d-%d-%d,%.2f,3,1,2,2,2\n", day.wYear, day.wMonth,
                      day.wDay, end);
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
};

// The probe is the last week of DIA; a new session asks for the last fortnight.
TEST_F(YahooTest, RequestsOfANewSession) {
    ChartServer chart(priceHeader + row);
    Use(chart);
    Job job(Prices());
    job.Start();
    SYSTEMTIME now;
    GetLocalTime(&now);
    const double today = Day(now.wYear, now.wMonth, now.wDay);
    const std::string end = DateQuery("&d=%d&e=%d&f=%d&g=d&ignore=.csv", today),
                      week = DateQuery("DIA&a=%d&b=%d&c=%d", today - 7) + end,
                      fortnight = DateQuery("&a=%d&b=%d&c=%d", today - 14) + end;
    EXPECT_EQ(chart.TakePaths(),
              (std::vector{"GET /table.csv?&s=" + week, "GET /table.csv?&s=" + fortnight}));
}

TEST_F(YahooTest, PagesUntilThereIsNoFullOne) {
    for (const auto& [rows, requests] : {std::pair{199, 1}, {200, 2}, {450, 3}}) {
        SCOPED_TRACE(rows);
        int page = 0;
        const double start = lastDay - rows + 1;
        ChartServer chart([&, first = start](const std::string& path) {
            const double end = lastDay - 200. * page++;
            EXPECT_NE(path.find(DateQuery("&d=%d&e=%d&f=%d&", end)), path.npos) << path;
            return HttpReply(PricePage(first, end));
        });
        Use(chart);
        Job job(Prices());
        job.SetRange(start, lastDay);
        job.Start();
        EXPECT_EQ(page, requests);
        Numbers dates(static_cast<std::size_t>(rows));
        std::iota(dates.begin(), dates.end(), start);
        EXPECT_EQ(Column(job.session, L"DATE"), dates);
        EXPECT_EQ(Column(job.session, L"OPEN"), dates);
        EXPECT_EQ(job.Count(L"DataReady"), 1);
    }
}

// What follows a full page, which is full with a comment too, decides about all of them.
TEST_F(YahooTest, LaterPages) {
    const std::string page = PricePage(lastDay - 199, lastDay);
    const std::tuple<std::string, std::string, bool, std::size_t, const wchar_t*> cases[] = {
        {"<!-- a.example compressed -->\n", HttpReply(priceHeader), false, 200, noError},
        {"", HttpReply(page), false, 400, noError},  // it never goes back in time
        {"", HttpReply(""), false, 0, noError},
        {"", "", false, 0, failure},
        {"", HttpReply("busy"), true, 0, failure},
        {"", HttpReply(priceHeader, "500 x"), true, 0, failure},
    };
    for (const auto& [comment, later, isStrict, rows, error] : cases) {
        SCOPED_TRACE(later);
        bool isFirst = true;
        ChartServer chart([&, first = HttpReply(page + comment), second = later](auto&) {
            return std::exchange(isFirst, false) ? first : second;
        });
        Use(chart, {{"http", "strict", isStrict ? "1" : "0"}});
        Job job(Prices());
        job.SetRange(lastDay - 1000, lastDay);
        job.Start();
        EXPECT_EQ(chart.TakeTables(), 2u);
        EXPECT_EQ(BlockOf(job.session) ? Column(job.session, L"DATE").size() : 0, rows);
        EXPECT_EQ(ErrorOf(job.session), error);
        EXPECT_EQ(job.Count(L"DataReady"), 1);
        TakeLog();
    }
}

TEST_F(YahooTest, FullDividendPageIsAskedForAgainAndAppended) {
    std::string page = "Date,Dividends\n";
    Numbers expected{8, 7};
    for (int i = 0; i < 200; ++i) page += "2004-03-19,5\n";
    expected.resize(402, 5);
    int count = 0;
    ChartServer chart([&](const std::string&) {
        return HttpReply(++count < 3 ? page : "Date,Dividends\n2004-01-02,7\n2004-01-01,8\n");
    });
    Use(chart);
    Job job(New<::CDataSourceYahooDividends, _CDataSource>());
    job.Start();
    EXPECT_EQ(Column(job.session, L"DIVIDENDS"), expected);
    EXPECT_EQ(count, 3);
}

// Which server is best is told by how many of its rows are daily ones.
TEST_F(YahooTest, SelectsTheBestServerOfTheFamily) {
    const std::string daily = "9-Jan-04,1.0,1.0,1.0,1.0,100,1.0\n";
    ClosedPort closed;
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
                             (best < 0    ? closed
                              : k == best ? chosen
                                          : others)
                                 .Host()});
        Use(common, hosts);
        Job job(Prices());
        job.Start();
        job.Start();  // asks the same server, without probes
        EXPECT_EQ(chosen.TakePaths().size(), best > 0 ? 3u : 0u);
        EXPECT_EQ(common.TakePaths().size(), best > 0 ? 1u : 3u);
        EXPECT_EQ(Column(job.session, L"DATE"), Numbers{Day(2004, 1, 9)});
        EXPECT_EQ(ErrorOf(job.session), best < 0 ? failure : noError) << "of the probes";
    }
}

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
