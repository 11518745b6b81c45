#include "Values.h"

#include <gtest/gtest.h>

#include <limits>

namespace vtdl::host {
namespace {

TEST(Numbers, AreShortAndReadBackAsTheSame) {
    EXPECT_EQ(FormatNumber(0.1), "0.1");
    EXPECT_EQ(FormatNumber(-12.50), "-12.5");
    EXPECT_EQ(FormatNumber(0.1 + 0.2), "0.30000000000000004");
    for (const double number : {1.0 / 3, 104.08 * 7, 1e-300, 5e-324, 1.7976931348623157e308})
        EXPECT_EQ(ParseNumber(FormatNumber(number)), number);
}

TEST(Numbers, HaveAnExponentOnlyWhenTheyAreHugeOrTiny) {
    EXPECT_EQ(FormatNumber(100000), "100000");  // not 1e+05, though that is shorter
    EXPECT_EQ(FormatNumber(70749800), "70749800");
    EXPECT_EQ(FormatNumber(0.00001), "0.00001");
    EXPECT_EQ(FormatNumber(1e20), "1e+20");
    EXPECT_EQ(FormatNumber(-0.0), "0");
}

TEST(Numbers, AreReadOnlyAsAWhole) {
    EXPECT_EQ(ParseNumber("12.5"), 12.5);
    EXPECT_EQ(ParseNumber("-3"), -3);
    for (const char* text : {"", " 1", "1 ", "12,5", "1.2.3", "inf", "nan", "1e999", "x"})
        EXPECT_EQ(ParseNumber(text), std::nullopt) << text;
}

TEST(Dates, AreIsoDays) {
    EXPECT_EQ(FormatDate({39449}), "2008-01-02");
    EXPECT_EQ(FormatDate({0}), "1899-12-30");
    EXPECT_EQ(FormatDate({60}), "1900-02-28");
    EXPECT_EQ(FormatDate({-657434}), "0100-01-01");
    EXPECT_EQ(FormatDate({2958465}), "9999-12-31");
}

TEST(Dates, HaveATimeWhenThereIsOne) {
    EXPECT_EQ(FormatDate({39449.6875}), "2008-01-02 16:30:00");
    EXPECT_EQ(FormatDate({0.5}), "12:00:00");
    EXPECT_EQ(FormatDate({-1.25}), "1899-12-29 06:00:00");
    EXPECT_EQ(FormatDate({39449 + 0.9999999}), "2008-01-03");
}

TEST(Dates, OutsideOfTheCalendarAreNumbers) {
    EXPECT_EQ(FormatDate({1e9}), "1000000000");
    EXPECT_EQ(FormatDate({std::numeric_limits<double>::quiet_NaN()}), "nan");
}

TEST(Dates, AreReadInOneForm) {
    EXPECT_EQ(ParseDate("2008-02-29"), Date{39507});
    EXPECT_EQ(ParseDate("0100-01-01"), Date{-657434});
    for (const char* text : {"", "2008-02-30", "2007-02-29", "2008-2-1", "01.02.2008", "2008/02/01",
                             "2008-02-01 ", "2008-00-01", "2008--1-01", "0099-12-31", "-208-01-01"})
        EXPECT_EQ(ParseDate(text), std::nullopt) << text;
}

}  // namespace
}  // namespace vtdl::host
