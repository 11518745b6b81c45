#include "Chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <sstream>
#include <tuple>

namespace vtdl::host {
namespace {

TEST(ChartAxes, LabelDaysThatPeopleKnow) {
    for (const auto& [first, last, expected] :
         {std::tuple{"2008-09-16", "2008-10-14", "2008-09-22 2008-09-29 2008-10-06 2008-10-13 "},
          {"2006-12-02", "2008-06-30", "2007-01 2007-04 2007-07 2007-10 2008-01 2008-04 "},
          {"1984-09-07", "2008-10-14", "1985 1990 1995 2000 2005 "}}) {
        std::string texts;
        for (const DayLabel& label : DayLabels(ParseDate(first)->days, ParseDate(last)->days, 9))
            texts += label.text + " ";
        EXPECT_EQ(texts, expected);
    }
    for (double range = 0; range < 1'000'000; range = range * 1.3 + 1)
        EXPECT_LE(DayLabels(39449, 39449 + range, 9).size(), 9U) << range;
}

const double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Charts, TakeTheRowsThatCanBeDrawnOldestFirst) {
    const Block prices{
        "HISTORICAL",
        {{"Date", {Date{39452}, Date{39451}, Date{39450}, Date{39449}, Date{1e300}, {}}},
         {"VOLUME", {7.0, {}, nan}},
         {"CLOSE", {5.0, 4.0, nan, std::string("-"), 3.0, 2.0}}}};
    std::string points;
    for (const ChartPoint& point : ChartPoints({"S", {prices}}))
        points += FormatNumber(point.day) + " " + FormatNumber(point.close) + " " +
                  FormatNumber(point.volume) + "; ";
    EXPECT_EQ(points, "39451 4 0; 39452 5 7; ");
}

// The closing line: how many pieces it has, and whether all of it is inside the picture.
TEST(Charts, StayInThePictureAndLeaveGapsOfYears) {
    const struct {
        std::vector<ChartPoint> points;
        int pieces;
    } cases[] = {
        {{{39449, 80, 0}, {39450, 110, 0}, {39453, 95, 0}}, 1},
        {{{39449, -37.63, 1}, {39449, 18.27, 1e12}}, 1},
        {{{39449, 1e-9, 0.5}, {39450, 1e300, 1e300}}, 1},
        {{{39449, 5, 0}, {39450, 6, 0}, {39451, 7, 0}, {40249, 5, 0}, {40250, 6, 0}}, 2},
    };
    for (const auto& [points, pieces] : cases) {
        const std::string svg = ChartOf("A<&>\n\"B\"", points);
        EXPECT_NE(svg.find("<title>A&lt;&amp;&gt; \"B\"</title>"), std::string::npos);
        EXPECT_EQ(svg.find("nan"), std::string::npos) << svg;
        const std::string start = "<path class=\"close\" d=\"";
        const std::size_t at = svg.find(start) + start.size();
        std::string line = svg.substr(at, svg.find('"', at) - at);
        EXPECT_EQ(std::ranges::count(line, 'M'), pieces) << line;
        std::ranges::replace_if(
            line, [](char c) { return c == 'M' || c == 'L'; }, ' ');
        std::istringstream in(line);
        std::size_t count = 0;
        for (double x = 0, y = 0; in >> x >> y; ++count)
            EXPECT_TRUE(x > 0 && x < 960 && y > 0 && y < 540) << x << ' ' << y;
        EXPECT_EQ(count, points.size());
    }
}

}  // namespace
}  // namespace vtdl::host
