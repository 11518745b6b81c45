#include "Rows.h"

#include <gtest/gtest.h>

namespace quoteserver {
namespace {

using namespace std::chrono;

const std::string priceHeader = "Date,Open,High,Low,Close,Volume,Adj Close\n";

std::string Complaint(const std::string& text) {
    try {
        ParseRows(text, priceLayout);
    } catch (const DataError& e) {
        return e.what();
    }
    return "none";
}

TEST(Rows, AreNewestFirstInTheCharactersOfTheFile) {
    // As an editor on Windows may leave it: byte order mark, CR LF, blank line, no last line end.
    const auto rows = ParseRows(
        "\xEF\xBB\xBF"
        "Date,Dividends\r\n2010-03-19,0.480000\r\n\r\n2010-12-17,0.653000",
        dividendLayout);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].date, Date{2010y / December / 17});
    EXPECT_EQ(rows[0].values, "0.653000");
    EXPECT_EQ(rows[1].values, "0.480000");
}

TEST(Rows, ComplaintsNameTheLine) {
    const std::string good = "2004-01-09,1.00,2,0.5,1.5,000,-1.25\n";
    EXPECT_EQ(Complaint(priceHeader + good), "none");
    EXPECT_EQ(Complaint("").substr(0, 7), "line 1:");
    EXPECT_EQ(Complaint("Date,Dividends\n").substr(0, 7), "line 1:");
    for (const char* row :
         {"2004-01-08,1,2,3,4,5", "2004-01-08,1,2,3,4,5,6,7", "2004-01-08", ",", "<!-- x -->",
          "2004-01-08,1,2,3,4,5,", "2004-01-08,.5,2,3,4,5,6", "2004-01-08,1,N/A,3,4,5,6",
          "2004-01-08,1,2,3,4,1e5,6", "2004-01-08,1,2,nan,4,5,6", "2004-01-08, 1,2,3,4,5,6",
          "2004-01-08,1,2,3,4,-,6", "2004-01-08,1,2,3,4,111111111111111111111,6",
          "9-Jan-04,1,2,3,4,5,6", "2004-02-30,1,2,3,4,5,6", "2004-13-01,1,2,3,4,5,6",
          "2004-1-08,1,2,3,4,5,6", "2004-01-09,1,2,3,4,5,6"}) {
        EXPECT_EQ(Complaint(priceHeader + good + "\n" + row + "\n").substr(0, 7), "line 4:") << row;
    }
}

TEST(Rows, ColumnsMayStandInAnyOrder) {
    std::string text =
        "\xEF\xBB\xBF"
        "VOLUME,close,Note,low,High,open,date\r\n7,1.5,x,0.5,2,1,2004-01-09\r\n\r\n";
    BringIntoLayout(text, priceLayout);
    EXPECT_EQ(text, priceHeader + "2004-01-09,1,2,0.5,1.5,7,1.5\n\n");
    std::string lacking = "Date,Open,High,Low,Volume\n";
    EXPECT_THROW(BringIntoLayout(lacking, priceLayout), DataError);
    std::string shortRow = "Date,Dividends,Splits\n2004-01-09,1\n";
    EXPECT_THROW(BringIntoLayout(shortRow, dividendLayout), DataError)
        << "values of a short row would be taken for others";
}

}  // namespace
}  // namespace quoteserver
