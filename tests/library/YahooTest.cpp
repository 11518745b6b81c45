// The chart service's adapters against a server: requests, paging, columns, odd replies, and the
// choice of a server.

#include <cmath>
#include <cstdio>

#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

constexpr wchar_t noError[] = L"0 0 ";
constexpr wchar_t failure[] = L"1 -2146697208 Download failure";
constexpr wchar_t failureDone[] = L"Done -2146697208";

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

std::string PriceRow(double date) {
    SYSTEMTIME day;
    VariantTimeToSystemTime(date, &day);
    char text[128];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d,%.2f,3,1,2,%.0f,2\n", day.wYear, day.wMonth,
                  day.wDay, date + .25, date);
    return text;
}

// A page as the service gives it: newest row first, at most 200 of them.
std::string PricePage(double start, double end) {
    std::string page = priceHeader;
    for (int rows = 0; end >= start && rows < 200; ++rows) page += PriceRow(end--);
    return page;
}

std::string HonestPage(const std::string& path) {
    return PricePage(QueriedDate(path, "abc"), QueriedDate(path, "def"));
}

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
    return text.replace(text.find(what), what.size(), with);
}

class YahooTest : public LibraryTest {
protected:
    static void Use(const ChartServer& chart,
                    std::vector<std::array<std::string, 3>> settings = {}) {
        settings.push_back({"hosts", "yahoo.chart", chart.server.Host()});
        WriteSettings(settings);
    }
    static Ptr<_CDataSource> Prices() { return New<::CDataSourceYahooHitorical, _CDataSource>(); }
    static Ptr<_CDataSource> Dividends() {
        return New<::CDataSourceYahooDividends, _CDataSource>();
    }
};

TEST_F(YahooTest, RequestsToTheLetter) {
    ChartServer chart(priceHeader + std::string("2004-01-09,1,1,1,1,1,1\n"));
    Use(chart);
    {
        const auto prices = Prices();
        for (const auto& [periodicity, letter] :
             {std::pair{L"DAILY", "d"}, {L"WEEKLY", "w"}, {L"MONTHLY", "m"}, {L"weekly", "w"}}) {
            Job job(prices);
            job.Set(L"TICKER", L"BRK.A");
            job.Set(L"PERIODICITY", periodicity);
            job.SetRange(Day(2004, 1, 9), Day(2010, 12, 31));
            job.Start();
            EXPECT_EQ(chart.TakeTables(),
                      (std::vector<std::string>{"GET /table.csv?&s=BRK.A&a=0&b=9&c=2004&d=11&e=31"
                                                "&f=2010&g=" +
                                                std::string(letter) + "&ignore=.csv"}));
        }
    }
    Job job(Dividends());
    job.Set(L"TICKER", L"SPY");
    job.Set(L"STARTDATE", L"2004-01-09");  // as a host's form has it
    job.Set(L"ENDDATE", _variant_t(Day(2004, 2, 29), VT_DATE));
    job.Start();
    EXPECT_EQ(chart.TakeTables(), (std::vector<std::string>{"GET /table.csv?&s=SPY&a=0&b=9&c=2004"
                                                            "&d=1&e=29&f=2004&g=v&ignore=.csv"}));
}

TEST_F(YahooTest, ProbeIsTheLastWeekOfDia) {
    ChartServer chart(priceHeader);
    Use(chart);
    Job job(Prices());
    job.Start();
    SYSTEMTIME now;
    double today = 0;
    GetLocalTime(&now);
    SystemTimeToVariantTime(&now, &today);
    today = std::floor(today);
    const auto paths = chart.server.TakePaths();
    ASSERT_EQ(paths.size(), 2u);
    EXPECT_EQ(paths[0], "GET /table.csv?&s=DIA" + DateQuery("abc", today - 7) +
                            DateQuery("def", today) + "&g=d&ignore=.csv");
    // A new session asks for the last fortnight.
    EXPECT_EQ(paths[1], "GET /table.csv?&s=" + DateQuery("abc", today - 14) +
                            DateQuery("def", today) + "&g=d&ignore=.csv");
}

TEST_F(YahooTest, ColumnsAreOldestFirst) {
    const std::string rows =
        "9-Jan-04,1.5,2.25,.5,1.125,123456789012,1.125\n"
        "2004-01-08,10,20,5,10,1000,5\n"
        "7-Jan-50,1,2,3,0,7,9\n";
    ChartServer chart(priceHeader + rows);
    Use(chart);
    const auto prices = Prices();
    struct Case {
        bool isAdjusted;
        Numbers opens, highs, lows, closes, volumes;
    };
    const Case cases[] = {
        {false, {1, 10, 1.5}, {2, 20, 2.25}, {3, 5, .5}, {0, 10, 1.125}, {7, 1000, 123456789012.}},
        {true, {0, 5, 1.5}, {0, 10, 2.25}, {0, 2.5, .5}, {0, 5, 1.125}, {0, 2000, 123456789012.}}};
    for (const Case& expected : cases) {
        Job job(prices);
        job.Set(L"ADJUST VALUES", expected.isAdjusted);
        job.Start();
        EXPECT_EQ(Column(job.session, L"DATE"),
                  (Numbers{Day(1950, 1, 7), Day(2004, 1, 8), Day(2004, 1, 9)}));
        EXPECT_EQ(Column(job.session, L"OPEN"), expected.opens);
        EXPECT_EQ(Column(job.session, L"HIGH"), expected.highs);
        EXPECT_EQ(Column(job.session, L"LOW"), expected.lows);
        EXPECT_EQ(Column(job.session, L"CLOSE"), expected.closes);
        EXPECT_EQ(Column(job.session, L"VOLUME"), expected.volumes);
        EXPECT_EQ(Column(job.session, L"ADJ.CLOSE"), (Numbers{9, 5, 1.125}));
        EXPECT_EQ(ErrorOf(job.session), noError);

        const auto block = BlockOf(job.session);
        VARIANT_BOOL isEditable = VARIANT_TRUE;
        vtdlParameterType type{};
        block->get_Editable(&isEditable);
        block->get_ParameterType(&type);
        EXPECT_EQ(isEditable, VARIANT_FALSE);
        EXPECT_EQ(type, vtdlParameterTypeDataFields);
    }
}

TEST_F(YahooTest, PagesUntilThereIsNoFullOne) {
    ChartServer chart([](const std::string& path) { return HttpReply(HonestPage(path)); });
    Use(chart);
    const auto prices = Prices();
    const double end = Day(2004, 3, 1);
    for (const auto& [rows, requests] :
         {std::pair{1, 1u}, {199, 1u}, {200, 2u}, {201, 2u}, {400, 3u}, {450, 3u}}) {
        SCOPED_TRACE(rows);
        const double start = end - rows + 1;
        Job job(prices);
        job.SetRange(start, end);
        job.Start();
        const auto paths = chart.TakeTables();
        ASSERT_EQ(paths.size(), requests);
        for (std::size_t page = 0; page < requests; ++page) {
            const std::string dates =
                DateQuery("abc", start) + DateQuery("def", end - 200. * static_cast<double>(page));
            EXPECT_NE(paths[page].find(dates), std::string::npos) << paths[page];
        }
        Numbers dates, opens;
        for (double day = start; day <= end; ++day) {
            dates.push_back(day);
            opens.push_back(day + .25);
        }
        EXPECT_EQ(Column(job.session, L"DATE"), dates);
        EXPECT_EQ(Column(job.session, L"OPEN"), opens);
        EXPECT_EQ(Column(job.session, L"VOLUME"), dates);
        EXPECT_EQ(job.Count(L"DataReady"), 1);
        EXPECT_EQ(job.LastEvent(), L"Done 0");
    }
}

TEST_F(YahooTest, FullPageIsFullWithItsCommentToo) {
    const double end = Day(2004, 3, 1);
    const std::string page = PricePage(end - 199, end);
    for (const char* comment : {"<!-- chart1.example.com compressed -->\n", "<!-- x -->"}) {
        int count = 0;
        ChartServer chart([&](const std::string&) {
            return HttpReply(count++ == 0 ? page + comment : priceHeader);
        });
        Use(chart);
        Job job(Prices());
        job.SetRange(end - 1000, end);
        job.Start();
        EXPECT_EQ(chart.TakeTables().size(), 2u);
        EXPECT_EQ(Column(job.session, L"DATE").size(), 200u);
    }
}

TEST_F(YahooTest, ServerThatNeverGoesBackInTimeEnds) {
    const double end = Day(2004, 3, 1);
    ChartServer chart(PricePage(end - 199, end));
    Use(chart);
    Job job(Prices());
    job.SetRange(end - 1000, end);
    job.Start();
    EXPECT_EQ(chart.TakeTables().size(), 2u);
    EXPECT_EQ(Column(job.session, L"DATE").size(), 400u);
    EXPECT_EQ(job.LastEvent(), L"Done 0");
}

TEST_F(YahooTest, RepliesWithoutPrices) {
    std::string reply;
    ChartServer chart([&](const std::string&) { return reply; });
    Use(chart);
    const auto prices = Prices();
    const std::string notFound = "<html>\n<head>\n404 Not Found\n</head>\n</html>\n";
    for (const std::string& body :
         {HttpReply(notFound, "404 Not Found"), HttpReply("<html></html>"), HttpReply(priceHeader),
          HttpReply("date,open\n1,2\n"), HttpReply("\n")}) {
        SCOPED_TRACE(body);
        reply = body;
        Job job(prices);
        job.Start();
        for (const wchar_t* name : {L"DATE", L"OPEN", L"HIGH", L"LOW", L"CLOSE", L"VOLUME"})
            EXPECT_EQ(Column(job.session, name), Numbers{0}) << name;
        EXPECT_EQ(ErrorOf(job.session), noError);
        EXPECT_EQ(job.LastEvent(), L"Done 0");
    }
}

// A fetch that fails leaves nothing, not even the pages before it.
TEST_F(YahooTest, FailedFetchLeavesNoPrices) {
    const double end = Day(2004, 3, 1);
    {
        const ClosedPort closed;
        WriteSettings({{"hosts", "yahoo.chart", closed.Host()}});
        Job job(Prices());
        job.Start();
        EXPECT_FALSE(BlockOf(job.session));
        EXPECT_EQ(ErrorOf(job.session), failure);
        EXPECT_EQ(job.Count(L"DataReady"), 1);
        EXPECT_EQ(job.LastEvent(), failureDone);
    }
    int count = 0;
    ChartServer second([&](const std::string&) {
        return count++ == 0 ? HttpReply(PricePage(end - 199, end)) : HttpReply("");
    });
    Use(second);
    Job job(Prices());
    job.SetRange(end - 1000, end);
    job.Start();
    EXPECT_EQ(second.TakeTables().size(), 2u);
    EXPECT_FALSE(BlockOf(job.session));
    EXPECT_EQ(job.LastEvent(), L"Done 0") << "an empty reply is no failed fetch";
}

// Strictly, a later page that is none takes the earlier ones with it.
TEST_F(YahooTest, StrictPages) {
    const double end = Day(2004, 3, 1);
    for (const std::string& later :
         {HttpReply("busy"), HttpReply("<html>"), HttpReply(priceHeader, "500 x")}) {
        int count = 0;
        ChartServer chart([&](const std::string&) {
            return count++ == 0 ? HttpReply(PricePage(end - 199, end)) : later;
        });
        Use(chart, {{"http", "strict", "1"}});
        Job job(Prices());
        job.SetRange(end - 1000, end);
        job.Start();
        EXPECT_EQ(ErrorOf(job.session), failure) << later;
        EXPECT_FALSE(BlockOf(job.session)) << later;
    }
}

TEST_F(YahooTest, Dividends) {
    std::string reply;
    ChartServer chart([&](const std::string&) { return HttpReply(reply); });
    Use(chart);
    const auto source = Dividends();
    struct Case {
        std::string body;
        Numbers dates, dividends;
    };
    const Case cases[] = {
        {"Date,Dividends\n2004-03-19,0.37\n19-Dec-03,.5\n",
         {Day(2003, 12, 19), Day(2004, 3, 19)},
         {.5, .37}},
        {"Date,Dividends\n2004-03-19,0.37\n<!-- x -->\n", {Day(2004, 3, 19)}, {.37}},
        {"a\nb\nc\nd\n", {0}, {0}},
    };
    for (const Case& expected : cases) {
        reply = expected.body;
        Job job(source);
        job.Start();
        EXPECT_EQ(Column(job.session, L"DATE"), expected.dates) << reply;
        EXPECT_EQ(Column(job.session, L"DIVIDENDS"), expected.dividends) << reply;
        EXPECT_EQ(job.LastEvent(), L"Done 0");
    }
    for (const char* body : {"Date,Dividends\n2004-03-19,0.37\n", "Date,Dividends\n", "",
                             "Date,x\n2004-03-19,1\n404 nOT Found\n2004-03-19,1\n"}) {
        reply = body;
        Job job(source);
        job.Start();
        EXPECT_TRUE(BlockOf(job.session)) << body;
        EXPECT_EQ(ColumnOf(job.session, L"DATE").vt, VT_EMPTY) << body;
        EXPECT_EQ(ColumnOf(job.session, L"DIVIDENDS").vt, VT_EMPTY) << body;
        EXPECT_EQ(job.LastEvent(), L"Done 0");
    }
}

TEST_F(YahooTest, FullDividendPageIsAskedForAgainAndAppended) {
    std::string page = "Date,Dividends\n";
    for (int i = 0; i < 200; ++i) page += "2004-03-19," + std::to_string(i) + "\n";
    int count = 0;
    ChartServer chart([&](const std::string&) {
        return HttpReply(count++ < 2 ? page : "Date,Dividends\n2004-01-02,7\n2004-01-01,8\n");
    });
    Use(chart);
    Job job(Dividends());
    job.Start();
    const auto paths = chart.TakeTables();
    ASSERT_EQ(paths.size(), 3u);
    EXPECT_EQ(paths[1], paths[0]);
    EXPECT_EQ(paths[2], paths[0]);
    const Numbers dividends = Column(job.session, L"DIVIDENDS");
    ASSERT_EQ(dividends.size(), 402u);
    EXPECT_EQ((Numbers{dividends[0], dividends[1], dividends[2], dividends[401]}),
              (Numbers{8, 7, 199, 0}));
}

// Which server is best is told by how many of its rows are daily ones.
TEST_F(YahooTest, SelectsTheBestServerOfTheFamily) {
    const std::string row = "9-Jan-04,1.0,1.0,1.0,1.0,100,1.0\n";
    const std::string comment = "<!-- quotes5.family.example uncompressed/chunked -->\n";
    for (const int best : {7, 0}) {
        SCOPED_TRACE(best);
        ChartServer others(priceHeader + row), chosen(priceHeader + row + row),
            publicHost(priceHeader + row);
        others.probe = priceHeader + row;
        chosen.probe = priceHeader + row + row + row;
        publicHost.probe = priceHeader + row + row + comment;
        std::vector<std::array<std::string, 3>> hosts;
        for (int k = 3; k <= 13; ++k)
            hosts.push_back({"hosts", "quotes" + std::to_string(k) + ".family.example",
                             (k == best ? chosen : others).server.Host()});
        Use(publicHost, hosts);

        Job job(Prices());
        job.Start();
        std::vector<std::wstring> texts;
        for (const std::wstring& event : job.sink.events) {
            const std::size_t at = event.find(L'[');
            if (at == std::wstring::npos) continue;
            const std::wstring text = event.substr(at + 1, event.size() - at - 2);
            if (texts.empty() || texts.back() != text) texts.push_back(text);
        }
        const std::string host = publicHost.server.Host();
        EXPECT_EQ(texts, (std::vector<std::wstring>{std::wstring(host.begin(), host.end()), L""}));

        // The second download asks the same server, without probes.
        job.Start();
        EXPECT_EQ(chosen.server.TakePaths().size(), best ? 3u : 0u);
        EXPECT_EQ(others.server.TakePaths().size(), best ? 10u : 11u);
        EXPECT_EQ(publicHost.server.TakePaths().size(), best ? 1u : 3u);
        EXPECT_EQ(job.Count(L"Start"), 14);
    }
}

TEST_F(YahooTest, NumberedServersThatDoNotAnswerLeaveThePublicHost) {
    ChartServer chart(priceHeader + std::string("2004-01-09,1,1,1,1,1,1\n"));
    chart.probe = std::string(priceHeader) +
                  "9-Jan-04,1.0,1.0,1.0,1.0,100,1.0\n<!-- silent1.example compressed -->\n";
    const ClosedPort closed;
    std::vector<std::array<std::string, 3>> hosts;
    for (int k = 3; k <= 13; ++k)
        hosts.push_back({"hosts", "silent" + std::to_string(k) + ".example", closed.Host()});
    for (const char* strict : {"0", "1"}) {
        hosts.push_back({"http", "strict", strict});
        Use(chart, hosts);
        Job job(Prices());
        job.Start();
        EXPECT_EQ(chart.server.TakePaths().size(), 2u);
        EXPECT_EQ(Column(job.session, L"DATE"), Numbers{Day(2004, 1, 9)});
        EXPECT_EQ(ErrorOf(job.session), *strict == '1' ? noError : failure)
            << "by default the probes' failures are reported";
        hosts.pop_back();
    }
}

/// A session that counts what is reported of each fetch; parameters and data are a real one's.
class CountingSession : public HostSession {
public:
    std::vector<long> fetches;

    explicit CountingSession(_CSession* session) : m_session(session) {}

    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        return id == __uuidof(_IProgressCallBack) ? m_reports.QueryInterface(id, object)
                                                  : HostObject::QueryInterface(id, object);
    }
    STDMETHODIMP get_Parameters(_CParameters** parameters) override {
        return m_session->get_Parameters(parameters);
    }
    STDMETHODIMP putref_Data(_CData* data) override { return m_session->putref_Data(data); }

private:
    struct Reports : HostObject<_IProgressCallBack> {
        explicit Reports(CountingSession& session) : m_owner(session) {}
        STDMETHODIMP Start(IUnknown**) override { return S_OK; }
        STDMETHODIMP Progress(IUnknown**, long, BSTR*) override { return S_OK; }
        STDMETHODIMP DataReady(IUnknown**) override { return S_OK; }
        STDMETHODIMP Done(IUnknown** caller, long number) override {
            EXPECT_TRUE(Ptr<_CDataSource>(*caller)) << "the caller is not the source";
            m_owner.fetches.push_back(number);
            return S_OK;
        }
        CountingSession& m_owner;
    };

    Ptr<_CSession> m_session;
    Reports m_reports{*this};
};

TEST_F(YahooTest, EveryFetchIsReported) {
    const double end = Day(2004, 3, 1);
    ChartServer chart([](const std::string& path) { return HttpReply(HonestPage(path)); });
    Use(chart);
    const auto prices = Prices();
    Job job(prices);
    job.SetRange(end - 249, end);
    CountingSession counting(job.session);
    _CSession* session = &counting;
    EXPECT_EQ(prices->Download(&session), S_OK);
    EXPECT_EQ(counting.fetches, (std::vector<long>{0, 0, 0})) << "the probe and two pages";
    EXPECT_EQ(Column(job.session, L"DATE").size(), 250u);
}

TEST_F(YahooTest, AbortFromAProgressReportEndsAtOnce) {
    std::string page = priceHeader;
    while (page.size() < 2'000'000) page += "2004-01-09,1,1,1,1,1,1\n";
    std::string reply = page;
    ChartServer chart([&](const std::string&) { return HttpReply(reply); });
    Use(chart);
    Job job(Prices());
    job.Start();
    job.sink.events.clear();
    job.sink.onEvent = [&](const std::wstring& event, _CSession* session) {
        if (!event.starts_with(L"Progress")) return;
        EXPECT_EQ(session->Abort(), S_OK);
    };
    job.session->putref_Data(nullptr);
    job.Start();
    EXPECT_EQ(job.sink.events, (Events{L"Start", L"Progress 0 []", L"DataReady", failureDone}));
    EXPECT_FALSE(BlockOf(job.session));

    job.sink.onEvent = nullptr;
    reply = priceHeader + std::string("2004-01-09,1,1,1,1,1,1\n");
    job.Start();
    EXPECT_EQ(Column(job.session, L"DATE"), Numbers{Day(2004, 1, 9)});
}

TEST_F(YahooTest, OddFieldsAreLoggedWithTheirPlace) {
    const std::string good = priceHeader + std::string(
                                               "2004-01-09,1,1,1,1,1,1\n"
                                               "2004-01-08,10,11,12,13,14,15\n");
    std::string reply;
    ChartServer chart([&](const std::string&) { return HttpReply(reply); });
    Use(chart);
    const auto prices = Prices();
    struct Case {
        const char* field;
        const char* odd;
        const wchar_t* place;
    };
    const Case cases[] = {{",13,", ",N/A,", L"row 2, CLOSE \"N/A\""},
                          {",10,", ",,", L"row 2, OPEN \"\""},
                          {"2004-01-08", "8-jan-04", L"row 2, DATE \"8-jan-04\""},
                          {"2004-01-09", "2004-02-30", L"row 1, DATE \"2004-02-30\""},
                          {",14,15", ",14", L"row 2, ADJ.CLOSE is missing"}};
    for (const Case& odd : cases) {
        reply = Replaced(good, odd.field, odd.odd);
        Job job(prices);
        job.Set(L"TICKER", L"MSFT");
        job.Start();
        const std::wstring errors = TakeErrors();
        const bool isDate = std::wcsstr(odd.place, L"DATE");
        EXPECT_NE(errors.find(std::wstring(odd.place) +
                              L" (YAHOOHIST MSFT)) in vtdl.CDataSourceYahooHitorical." +
                              (isDate ? L"FormatYahooDate" : L"CDataSource_Download")),
                  std::wstring::npos)
            << testing::PrintToString(errors);
        EXPECT_EQ(std::count(errors.begin(), errors.end(), L'\n'), 1) << "one report a download";
        EXPECT_FALSE(BlockOf(job.session));
        EXPECT_EQ(job.Count(L"DataReady"), 1);
        EXPECT_EQ(job.LastEvent(), L"Done 0");
        EXPECT_EQ(StatusOf(job.session), vtdlSessionStatusDone);
    }
}

// Whatever is cut off, the session ends, and rows that came whole are right.
TEST_F(YahooTest, ReplyCutAnywhere) {
    const std::string prices = priceHeader + std::string(
                                                 "2004-01-09,1,1,1,1,1,1.5\n"
                                                 "8-Jan-04,2,2,2,2,2,2.5\n"
                                                 "2004-01-07,3,3,3,3,3,3.5\n");
    const std::string dividends = "Date,Dividends\n2004-01-09,1.5\n8-Jan-04,2.5\n2004-01-07,3.5\n";
    const double expectedDates[] = {Day(2004, 1, 9), Day(2004, 1, 8), Day(2004, 1, 7)};
    for (const bool isPrices : {true, false}) {
        const std::string& whole = isPrices ? prices : dividends;
        std::string reply;
        ChartServer chart([&](const std::string&) { return HttpReply(reply); });
        Use(chart);
        const auto source = isPrices ? Prices() : Dividends();
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            SCOPED_TRACE(whole.substr(0, length));
            reply = whole.substr(0, length);
            Job job(source);
            if (isPrices) job.Set(L"ADJUST VALUES", false);
            job.Start();
            EXPECT_EQ(job.Count(L"DataReady"), 1);
            EXPECT_EQ(job.LastEvent(), L"Done 0");
            const _variant_t column = ColumnOf(job.session, L"DATE");
            const bool isReported = !TakeErrors().empty();
            EXPECT_EQ(isReported, length > 0 && !BlockOf(job.session));
            if (column.vt == VT_EMPTY) continue;
            const Numbers dates = NumbersOf(column, VT_DATE);
            const Numbers values = Column(job.session, isPrices ? L"ADJ.CLOSE" : L"DIVIDENDS");
            ASSERT_EQ(values.size(), dates.size());
            const auto lines =
                static_cast<std::size_t>(std::count(reply.begin(), reply.end(), '\n'));
            if (lines == 0) continue;
            for (std::size_t row = 0; row + 1 < lines; ++row) {
                ASSERT_GT(dates.size(), row);
                EXPECT_EQ(dates[dates.size() - 1 - row], expectedDates[row]);
                EXPECT_EQ(values[dates.size() - 1 - row], static_cast<double>(row) + 1.5);
            }
        }
    }
}

// A host may start another session of the same source from a callback of the first. Its end aborts
// what the source is at, as every session's does; the first one fails, and can be started again.
TEST_F(YahooTest, DownloadsOfOneSourceNest) {
    ChartServer chart([](const std::string& path) {
        const bool isInner = path.find("s=INNER&") != std::string::npos;
        return HttpReply(priceHeader + std::string(isInner ? "2004-01-09,1,1,1,1,1,1\n"
                                                           : "2004-01-08,2,2,2,2,2,2\n"));
    });
    WriteSettings({{"hosts", "yahoo.chart", chart.server.Host()}});
    const auto source = New<::CDataSourceYahooHitorical, _CDataSource>();
    Job outer(source), inner(source);
    inner.Set(L"TICKER", L"INNER");
    outer.sink.onEvent = [&, started = false](const std::wstring& event, _CSession*) mutable {
        if (event.starts_with(L"Progress") && !std::exchange(started, true)) inner.Start();
    };
    outer.Start();
    EXPECT_EQ(Column(inner.session, L"CLOSE"), Numbers{1});
    EXPECT_EQ(outer.LastEvent(), L"Done " + std::to_wstring(downloadFailure));
    outer.Start();
    EXPECT_EQ(Column(outer.session, L"CLOSE"), Numbers{2});
}

TEST_F(YahooTest, TheServerCanBeChosenAgainAfterASession) {
    ChartServer chart(priceHeader + std::string("2004-01-09,1,1,1,1,1,1\n"));
    WriteSettings({{"hosts", "yahoo.chart", chart.server.Host()}});
    const auto source = New<::CDataSourceYahooHitorical, _CDataSource>();
    Job job(source);
    job.Start();
    source->Abort();  // between downloads: without effect
    chart.server.TakePaths();
    Get(Ptr<IDispatch>(source), L"SelectYahooInternalServer");
    EXPECT_EQ(chart.server.TakePaths().size(), 1u);
}

}  // namespace
}  // namespace vtdl::tests
