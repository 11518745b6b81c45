#include "Chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

namespace vtdl::host {
namespace {

double DayOf(const char* text) { return ParseDate(text)->days; }

std::string Texts(const std::vector<DayLabel>& labels) {
    std::string texts;
    for (const DayLabel& label : labels) {
        EXPECT_EQ(FormatDate({label.day}).substr(0, label.text.size()), label.text);
        texts.append(texts.empty() ? "" : " ").append(label.text);
    }
    return texts;
}

std::string Labels(const char* first, const char* last) {
    return Texts(DayLabels(DayOf(first), DayOf(last), 9));
}

TEST(ChartAxes, LabelDaysThatPeopleKnow) {
    EXPECT_EQ(Labels("2008-09-16", "2008-10-14"), "2008-09-22 2008-09-29 2008-10-06 2008-10-13");
    EXPECT_EQ(Labels("2006-12-02", "2008-06-30"),
              "2007-01 2007-04 2007-07 2007-10 2008-01 2008-04");
    EXPECT_EQ(Labels("1984-09-07", "2008-10-14"), "1985 1990 1995 2000 2005");
}

TEST(ChartAxes, AreNeverCrowded) {
    for (double range = 0; range < 1'000'000; range = range * 1.3 + 1) {
        const std::vector<DayLabel> labels = DayLabels(39449, 39449 + range, 9);
        EXPECT_LE(labels.size(), 9U) << range;
        EXPECT_GE(labels.size(), range < 5 ? 1U : 2U) << range;
    }
}

const double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Charts, TakeTheRowsThatCanBeDrawnOldestFirst) {
    const Block quote{"TICKER", {{"DATE", {Date{1}}}, {"PRICE", {1.0}}}, true};
    const Block prices{
        "HISTORICAL",
        {{"Date", {Date{39452}, Date{39451}, Date{39450}, Date{39449}, Date{1e300}, {}}},
         {"VOLUME", {7.0, {}, nan}},
         {"CLOSE", {5.0, 4.0, nan, std::string("-"), 3.0, 2.0}}}};
    const std::vector<ChartPoint> points = ChartPoints({"S", {quote, prices}});
    ASSERT_EQ(points.size(), 2U);
    EXPECT_EQ(points[0].day, 39451);
    EXPECT_EQ(points[0].close, 4);
    EXPECT_EQ(points[0].volume, 0);
    EXPECT_EQ(points[1].volume, 7);
    EXPECT_TRUE(ChartPoints({"S", {quote}}).empty());
}

struct Point {
    double x, y;
};

// The points of the closing line.
std::vector<Point> LineOf(const std::string& svg) {
    const std::string start = "<path class=\"close\" d=\"";
    const std::size_t at = svg.find(start) + start.size();
    std::string path = svg.substr(at, svg.find('"', at) - at);
    std::ranges::replace_if(
        path, [](char c) { return c == 'M' || c == 'L'; }, ' ');
    std::istringstream in(path);
    std::vector<Point> points;
    for (Point point{}; in >> point.x >> point.y;) points.push_back(point);
    return points;
}

TEST(Charts, DrawPricesToScale) {
    const std::string svg =
        ChartOf("A<&>\n\"B\"", {{39449, 80, 0}, {39450, 110, 0}, {39453, 95, 0}});
    EXPECT_NE(svg.find("<title>A&lt;&amp;&gt; \"B\"</title>"), std::string::npos);
    EXPECT_EQ(svg.find("volume\" stroke"), std::string::npos);
    for (const char* label : {">80<", ">110<", ">2008-01-02<", ">2008-01-06<"})
        EXPECT_NE(svg.find(label), std::string::npos) << label;
    const std::vector<Point> line = LineOf(svg);
    ASSERT_EQ(line.size(), 3U);
    EXPECT_NEAR((line[1].x - line[0].x) * 3, line[2].x - line[1].x, 0.05);
    EXPECT_GT(line[0].y, line[2].y);
    EXPECT_NEAR(line[2].y - line[1].y, line[0].y - line[2].y, 0.05);
}

// Days apart, and how many pieces the line has.
TEST(Charts, LeaveAGapOfYears) {
    const struct {
        std::vector<double> days;
        std::ptrdiff_t pieces;
    } cases[] = {
        {{0, 1, 2, 360, 361}, 1}, {{0, 1, 2, 800, 801}, 2}, {{0, 1, 800, 1600, 1601}, 3},
        {{0, 400, 800, 1200}, 1}, {{0, 365, 730, 2500}, 2},
    };
    for (const auto& test : cases) {
        std::vector<ChartPoint> points;
        for (const double day : test.days) points.push_back({39449 + day, 5 + day, 0});
        const std::string svg = ChartOf("T", points);
        const std::size_t at = svg.find("<path class=\"close\"");
        const std::string line = svg.substr(at, svg.find('>', at) - at);
        EXPECT_EQ(std::ranges::count(line, 'M'), test.pieces) << line;
    }
}

TEST(Charts, StayInThePicture) {
    const std::vector<std::vector<ChartPoint>> oddities = {
        {{39449, 5, 3}},
        {{39449, 0, 0}, {39450, 0, 0}},
        {{39449, -37.63, 1}, {39449, 18.27, 1e12}},
        {{39449, 1e-9, 0.5}, {39450, 1e300, 1e300}},
        {{-657000, 1, 0}, {2958000, 2, 0}},
    };
    for (const auto& points : oddities) {
        const std::string svg = ChartOf("T", points);
        EXPECT_EQ(svg.find("nan"), std::string::npos) << svg;
        EXPECT_EQ(svg.find("inf"), std::string::npos) << svg;
        const std::vector<Point> line = LineOf(svg);
        ASSERT_FALSE(line.empty()) << svg;
        for (const Point& point : line) {
            EXPECT_TRUE(point.x > 0 && point.x < 960 && point.y > 0 && point.y < 540)
                << point.x << ' ' << point.y;
        }
        EXPECT_LT(svg.size(), 10'000U);
    }
}

}  // namespace
}  // namespace vtdl::host
