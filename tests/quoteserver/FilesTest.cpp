// What is read of a data folder.
#include <algorithm>
#include <sstream>

#include "Import.h"
#include "Periods.h"
#include "QuoteTable.h"
#include "Services.h"
#include "Support.h"

namespace quoteserver {
namespace {

using namespace std::chrono;

const std::string priceHeader = std::string(priceLayout.header) + "\n";

TEST(Folder, FindsTickersInAnyCaseAndNothingOutside) {
    const DataFolder folder{SAMPLE_DATA};
    for (const char* ticker : {"AAPL", "aapl", "^vix"})
        EXPECT_TRUE(folder.Prices(ticker)) << ticker;
    EXPECT_EQ(folder.Dividends("spy")->name, "SPY.dividends.csv");
    for (const char* ticker : {"AAP", "AAPL2", "SPY", "SPY.Dividends", "quotes", "", "../data/AAPL",
                               "./AAPL", SAMPLE_DATA "/AAPL"}) {
        EXPECT_FALSE(folder.Prices(ticker)) << ticker;
    }
    EXPECT_THROW(DataFolder{SAMPLE_DATA "/AAPL.csv"}, std::runtime_error);
}

TEST(Rows, AreBroughtIntoOrderAsEditorsLeaveThem) {
    std::string text =
        "\xEF\xBB\xBF"
        "VOLUME,close,Note,low,High,open,date\r\n7,1.50,x,0.5,2,1,2004-01-09\r\n\r\n"
        "8,2.5,,1,2,2,2004-01-12";
    BringIntoLayout(text, priceLayout);
    EXPECT_EQ(text, priceHeader + "2004-01-09,1,2,0.5,1.50,7,1.50\n\n2004-01-12,2,2,1,2.5,8,2.5\n");
    EXPECT_EQ(ParseRows(text, priceLayout)[0].values, "2,2,1,2.5,8,2.5") << "newest first";
    for (std::string damaged :
         {"Date,Open,High,Low,Volume\n", "Date,Dividends,Splits\n2004-01-09,1\n"})
        EXPECT_THROW(BringIntoLayout(damaged, damaged[5] == 'O' ? priceLayout : dividendLayout),
                     DataError);
}

TEST(Periods, RunFromMondayToSundayAndFromTheFirstTradingDay) {
    // Days around the turn of a year, of which one week and one month have each a single day.
    const auto daily = ParseRows(
        "Date,Open,High,Low,Close,Volume,Adj Close\n2008-01-07,30,31,29,30.5,000,3.0\n"
        "2008-01-06,20,9.50,8,9,4,0.9\n2008-01-02,21.00,22,19.90,20,3,2.0\n"
        "2007-12-31,10,100.0,10,11,4000000000,1.1\n2007-12-30,7,8,6,7,5,0.7\n",
        priceLayout);
    const auto written = [&](Period period) {
        std::string text;
        for (const PeriodRow& row : Summarise(daily, period)) {
            AppendDate(text, row.date, DateForm::Iso);
            text += "," + row.values + "\n";
        }
        return text;
    };
    EXPECT_EQ(written(Period::Week),
              "2008-01-07,30,31,29,30.5,000,3.0\n2007-12-31,10,100.0,8,9,1333333335,0.9\n"
              "2007-12-30,7,8,6,7,5,0.7\n");
    EXPECT_EQ(written(Period::Month),
              "2008-01-02,21.00,31,8,30.5,2,3.0\n2007-12-30,7,100.0,6,11,2000000002,1.1\n");
}

TEST_F(FolderTest, EveryChangeIsSeenAtOnce) {
    Write("X.csv", "1");
    const DataFolder folder{m_folder};
    EXPECT_FALSE(folder.Prices("Y"));
    Write("Y.csv", "2");
    EXPECT_EQ(folder.Prices("Y")->text, "2");
    EXPECT_EQ(folder.StampOf("Y"), "");  // it may change again without a later time
    const auto before = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    std::filesystem::last_write_time(m_folder / "Y.csv", before);
    const std::string stamp = folder.StampOf("Y");
    EXPECT_NE(stamp, "");
    Write("Y.csv", "33");
    std::filesystem::last_write_time(m_folder / "Y.csv", before);
    EXPECT_NE(folder.StampOf("Y"), stamp);
    std::filesystem::remove(m_folder / "Y.csv");
    EXPECT_FALSE(folder.Prices("Y"));
}

// A client that gets 200 asks again for ever.
TEST_F(FolderTest, NeverTwoHundredDividends) {
    std::string text = "Date,Dividends\n";
    Date day = *ParseIsoDate("2000-01-01");
    for (std::ptrdiff_t rows = 1; rows <= 201; ++rows) {
        AppendDate(text, day += std::chrono::days(1), DateForm::Iso);
        text += ",1\n";
        if (rows < 199) continue;
        Write("X.dividends.csv", text);
        const Reply reply = AnswerTable(DataFolder{m_folder}, {}, Query("s=X&g=v"));
        EXPECT_EQ(std::ranges::count(reply.body, '\n'), 1 + (rows == 200 ? 199 : rows));
    }
}

TEST_F(FolderTest, QuotesAreReadAsEditorsLeaveThem) {
    Write("quotes.csv",
          "\xEF\xBB\xBF"
          "n,s,l1\r\n\"A \"\"B\"\", C\",abc,\r\n\r\n,x,1");
    const QuoteTable quotes(DataFolder{m_folder});
    EXPECT_EQ(quotes.Of("ABC").value("n"), "A \"B\", C");
    EXPECT_EQ(quotes.Of("ABC").value("l1"), "");
    EXPECT_EQ(quotes.Of("X").value("l1"), "1");
    EXPECT_EQ(quotes.Of("X").value("l"), "N/A");

    for (const auto& [time, clock] : {std::pair<std::string, std::string>{"16:05:07", "16:05:07"},
                                      {"4:05 P ET", "16:05:00"},
                                      {"12:05a.m.", "00:05:00"},
                                      {"16:05 PM", "16:05:00"},
                                      {"16:05 AEST", "16:05:00"}}) {
        Write("quotes.csv", "s,t1\nX," + time);
        EXPECT_EQ(AnswerAccount(DataFolder{m_folder}, {"", ""},
                                {"GET", ParseTarget("/?TICKER=X&FIELDS=TIME"), "", "Basic Og=="})
                      .body,
                  clock + "\n");
        const std::string own =
            AnswerOwn("YAHOOSNAPSHOT", DataFolder{m_folder}, Query("ticker=X")).body;
        EXPECT_NE(own.find("\nX,,," + clock.substr(0, 5) + ","), own.npos) << time << own;
    }
}

TEST_F(FolderTest, DailyPricesStandForQuotesThatLack) {
    Write(
        "y.csv",
        "Date,Open,High,Low,Close,Volume\n2004-01-08,1,2,0.5,1.60,7\n2004-01-09,1.1,2.1,0.6,2.0022,"
        "8\n");
    Write("z.csv", priceHeader + "2004-01-08,1,2,0,1600,7,1\n2004-01-09,1,2,0,2000,8,1\n");
    EXPECT_EQ(AnswerQuotes(DataFolder{m_folder}, Query("f=sl1c1p2pd1vnt1&s=Y")).body,
              "\"Y\",2.0022,+0.4022,\"+25.14%\",1.60,\"1/9/2004\",8,\"Y daily close of "
              "2004-01-09\",N/A\n");
    EXPECT_EQ(AnswerQuotes(DataFolder{m_folder}, Query("f=c1&s=Z")).body, "+400.00\n");
}

TEST(Folder, EveryDamagedLineIsNamed) {
    std::ostringstream out, told;
    EXPECT_EQ(CheckFolder(TEST_DATA "/damaged", out), 55U);
    told << std::ifstream(TEST_DATA "/damaged.txt").rdbuf();
    EXPECT_EQ(out.str().substr(0, out.str().find("quotes.csv line 4")), told.str());
    EXPECT_TRUE(out.str().ends_with("\nquotes.csv has 2 more\n")) << out.str();
}

struct ImportCase {
    std::string head, text = {}, told = {}, file = {}, result = {};
};

std::vector<ImportCase> ImportCases() {
    std::vector<ImportCase> cases;
    std::string* part = nullptr;
    std::ifstream in(TEST_DATA "/imports.txt");
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("file ")) {
            part = &cases.emplace_back(line.substr(5)).text;
        } else if (line == "tells") {
            part = &cases.back().told;
        } else if (line.starts_with("gives ")) {
            cases.back().file = line.substr(6);
            part = &cases.back().result;
        } else if (line.starts_with("  ")) {
            part->append(Unescaped(line.substr(2)) + "\n");
        }
    }
    return cases;
}

TEST_F(FolderTest, ExportsAreTakenLineByLine) {
    const std::vector<ImportCase> cases = ImportCases();
    EXPECT_EQ(cases.size(), 21U);
    for (const ImportCase& test : cases) {
        const std::string name = test.head.substr(0, test.head.find(' '));
        const auto has = [&](const char* word) { return test.head.find(word) != name.npos; };
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder / "exports");
        Write("X.csv", priceHeader + "2024-01-02,1,2,0.5,1.5,000,1.5\n");
        Write("Z.csv", "Close,Date,Note\n");
        Write("exports/" + name, test.text);
        std::ostringstream out;
        const std::size_t refused =
            ImportFiles({{m_folder / "exports" / name},
                         m_folder,
                         has("day-first") ? SlashDates::DayFirst : SlashDates::Told,
                         has("replace"),
                         has("decimal-,") ? ',' : '\0'},
                        out);
        EXPECT_EQ(out.str(), test.told) << test.text;
        EXPECT_EQ(refused, static_cast<std::size_t>(std::ranges::count(out.str(), '\n')) -
                               (out.str().ends_with("there\n") ? 1 : 0) +
                               (test.told.find("2 more such") != name.npos ? 1 : 0));
        const auto file = DataFolder(m_folder).Read(test.file);
        EXPECT_EQ(file ? file->text : "",
                  (test.result.empty() || test.file == "Z.csv" ? "" : priceHeader) + test.result);
    }
}

}  // namespace
}  // namespace quoteserver
