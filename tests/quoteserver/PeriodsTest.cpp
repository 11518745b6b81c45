#include "Periods.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "DataFolder.h"

namespace quoteserver {
namespace {

using namespace std::chrono;

std::vector<double> numbers(std::string_view values) {
    std::vector<double> result;
    while (!values.empty()) {
        result.push_back(std::strtod(std::string(TakeField(values, ',')).c_str(), nullptr));
    }
    return result;
}

// The weeks of late 2011 as the service itself gave them in 2016: its prices carry the noise of
// single precision, and its volumes were doubled by the split of 2014. The adjusted closes were
// adjusted for that split too, so only the daily file's own can be compared.
constexpr std::string_view recordedWeeks = R"(Date,Open,High,Low,Close,Volume,Adj Close
2011-12-27,632.051086,646.761108,632.001099,645.901123,3558800,322.62793
2011-12-19,628.011108,634.681091,618.96106,633.141113,4137500,316.254272
2011-12-12,621.881042,636.561096,612.491089,625.96106,6818800,312.667877
2011-12-05,627.641113,631.901123,615.301086,627.421082,5203500,313.397156
2011-11-28,579.370972,624.001038,576.501038,620.361023,6329100,309.870636
2011-11-21,587.761047,588.500977,561.330933,563.000977,4664700,281.219269
2011-11-14,608.001038,618.301025,593.750977,594.881042,6124400,297.143372
2011-11-07,593.320984,614.371094,591.560974,608.351013,6802500,303.871643
2011-10-31,595.091003,599.741028,576.750977,596.141052,5343200,297.772736
2011-10-24,586.721008,602.700989,572.861023,600.141052,6074000,299.770752
2011-10-17,583.721008,592.750977,577.401001,590.491028,7030300,294.950562
2011-10-10,525.180908,599.601074,523.200867,591.68103,9062000,295.544952
2011-10-03,509.850891,520.500916,480.60083,515.120911,7808000,257.303131
2011-09-26,527.250916,547.050964,513.250916,515.040894,5435600,257.263184
2011-09-19,540.350952,558.520935,514.000854,525.510864,5998000,262.49295
2011-09-12,517.960876,546.840942,517.500854,546.680908,5706800,273.067383
)";

TEST(Periods, WeeksAreThoseTheServiceGave) {
    const auto file = DataFolder{SAMPLE_DATA}.Prices("GOOG");
    ASSERT_TRUE(file);
    const auto daily = ParseRows(file->text, priceLayout);
    const auto recorded = ParseRows(recordedWeeks, priceLayout);
    const auto weeks = Summarise(daily, Period::Week);
    ASSERT_GE(weeks.size(), recorded.size());
    for (std::size_t i = 0; i < recorded.size(); ++i) {
        SCOPED_TRACE(recorded[i].values);
        EXPECT_EQ(weeks[i].date, recorded[i].date);
        const auto ours = numbers(weeks[i].values);
        const auto theirs = numbers(recorded[i].values);
        for (std::size_t field = 0; field < 4; ++field) {
            EXPECT_NEAR(ours.at(field), theirs.at(field), 0.005);
        }
        EXPECT_NEAR(ours.at(4) * 2, theirs.at(4), theirs.at(4) * 0.02);
        EXPECT_EQ(ours.at(5), ours.at(3));
    }
}

// Days around the turn of a year, of which one week and one month have each a single day.
constexpr std::string_view turnOfYear = R"(Date,Open,High,Low,Close,Volume,Adj Close
2008-01-07,30,31,29,30.5,000,3.0
2008-01-06,20,9.50,8,9,4,0.9
2008-01-02,21.00,22,19.90,20,3,2.0
2007-12-31,10,100.0,10,11,4000000000,1.1
2007-12-30,7,8,6,7,5,0.7
)";

TEST(Periods, WeeksRunFromMondayToSundayAcrossTheYear) {
    const auto weeks = Summarise(ParseRows(turnOfYear, priceLayout), Period::Week);
    ASSERT_EQ(weeks.size(), 3U);
    EXPECT_EQ(weeks[0].values, "30,31,29,30.5,000,3.0");
    EXPECT_EQ(weeks[1].date, Date{2007y / December / 31});
    EXPECT_EQ(weeks[1].values, "10,100.0,8,9,1333333335,0.9");
    EXPECT_EQ(weeks[2].date, Date{2007y / December / 30});
}

TEST(Periods, MonthsBeginWithTheirFirstTradingDay) {
    const auto months = Summarise(ParseRows(turnOfYear, priceLayout), Period::Month);
    ASSERT_EQ(months.size(), 2U);
    EXPECT_EQ(months[0].date, Date{2008y / January / 2});
    EXPECT_EQ(months[0].values, "21.00,31,8,30.5,2,3.0");
    EXPECT_EQ(months[1].values, "7,100.0,6,11,2000000002,1.1");
}

}  // namespace
}  // namespace quoteserver
