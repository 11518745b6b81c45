#include "Chart.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <initializer_list>
#include <string_view>

#include "Parameters.h"

namespace vtdl::host {
namespace {

using namespace std::chrono;

double DayNumber(year_month_day date) {
    return static_cast<double>((sys_days{date} - dayZero).count());
}

// The first days of every so many months, counted from a January, as 2008-01 or, by whole years,
// as 2008.
std::vector<DayLabel> MonthLabels(double first, double last, int months) {
    const year_month_day start{dayZero + days{static_cast<int>(std::ceil(first))}};
    const int startMonth = static_cast<int>(start.year()) * 12 +
                           static_cast<int>(static_cast<unsigned>(start.month())) - 1;
    std::vector<DayLabel> labels;
    for (int month = startMonth - startMonth % months;; month += months) {
        const year_month_day date{year{month / 12}, std::chrono::month(unsigned(month % 12) + 1),
                                  day{1}};
        const double number = DayNumber(date);
        if (number > last) return labels;
        if (number >= first)
            labels.push_back({number, FormatDate({number}).substr(0, months % 12 == 0 ? 4 : 7)});
    }
}

// Every so many days; weeks begin on Mondays, as day 2 did.
std::vector<DayLabel> StepLabels(double first, double last, int step) {
    std::vector<DayLabel> labels;
    const double origin = step % 7 == 0 ? 2 : 0;
    for (double number = origin + std::ceil((first - origin) / step) * step; number <= last;
         number += step)
        labels.push_back({number, FormatDate({number})});
    return labels;
}

constexpr double width = 960, height = 540;
constexpr double left = 80, right = 930, top = 70, bottom = 490;
constexpr double volumeShare = 0.24, gap = 24;

constexpr const char* style =
    "text{font:13px Arial,Helvetica,DejaVu "
    "Sans,sans-serif;fill:#444}.title{font-size:20px;fill:#111}"
    ".grid{stroke:#e2e2e2}.axis{stroke:#888}.close{fill:none;stroke:#1f5fa8;stroke-width:1.5;"
    "stroke-linecap:round}"
    ".volume{fill:none;stroke:#9bb3cc}";

// Picture coordinates, in hundredths.
std::string Number(double value, int decimals = 2) {
    char text[400];  // the largest double, too
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    return {text, end};
}

std::string Escaped(const std::string& text) {
    std::string xml;
    for (const char c : text) {
        switch (c) {
            case '&':
                xml += "&amp;";
                break;
            case '<':
                xml += "&lt;";
                break;
            case '>':
                xml += "&gt;";
                break;
            default:
                // What XML has no characters for.
                xml += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
        }
    }
    return xml;
}

const Column* Find(const Block& block, const char* name) {
    const auto found = std::ranges::find_if(
        block.columns, [&](const Column& column) { return SameName(column.name, name); });
    return found == block.columns.end() ? nullptr : &*found;
}

// One direction of the picture; a range of a single value lies in the middle.
struct Scale {
    double first, last, from, to;

    double operator()(double value) const {
        return last > first ? from + (value - first) / (last - first) * (to - from)
                            : (from + to) / 2;
    }
};

std::string Concatenated(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) text += part;
    return text;
}

std::string Text(double x, double y, const char* anchor, const std::string& text,
                 const char* more = "") {
    return Concatenated({"<text x=\"", Number(x), "\" y=\"", Number(y), "\" text-anchor=\"", anchor,
                         "\"", more, ">", Escaped(text), "</text>\n"});
}

std::string Line(double x1, double y1, double x2, double y2, const char* kind) {
    return Concatenated({"<path class=\"", kind, "\" d=\"M", Number(x1), " ", Number(y1), "L",
                         Number(x2), " ", Number(y2), "\"/>\n"});
}

// 1500000 as 1.5M, so that volumes fit beside the axis.
std::string ShortNumber(double value) {
    static constexpr std::pair<double, const char*> units[] = {{1e9, "B"}, {1e6, "M"}, {1e3, "K"}};
    for (const auto& [unit, letter] : units)
        if (value >= unit) return FormatNumber(value / unit) + letter;
    return FormatNumber(value);
}

template <typename Label>
std::string ValueAxis(const Scale& scale, double step, Label label) {
    std::string svg;
    const auto steps = static_cast<int>(std::lround((scale.last - scale.first) / step));
    for (int i = 0; i <= steps; ++i) {
        const double value = scale.first + i * step, y = scale(value);
        svg += Line(left, y, right, y, i == 0 ? "axis" : "grid");
        svg += Text(left - 8, y + 4, "end", label(value));
    }
    return svg;
}

// Where the line stops: what lies apart by more than a year, and by far more than points usually
// do, has no known prices between.
double GapOf(const std::vector<ChartPoint>& points) {
    constexpr double year = 366;
    std::vector<double> distances;
    for (std::size_t i = 1; i < points.size(); ++i)
        distances.push_back(points[i].day - points[i - 1].day);
    if (distances.empty()) return year;
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>((distances.size() - 1) / 2);
    std::ranges::nth_element(distances, middle);
    return std::max(year, *middle * 3);
}

std::string Prices(const std::vector<ChartPoint>& points, const Scale& days, double lower) {
    const auto [least, most] = std::ranges::minmax(points, {}, &ChartPoint::close);
    const double range = most.close - least.close;
    // Equal prices still need an axis.
    const double step = RoundStep(range > 0 ? range : std::max(std::abs(most.close) / 10, 0.01), 6);
    const double first = std::floor(least.close / step) * step;
    double last = std::ceil(most.close / step) * step;
    if (last <= first) last = first + step;
    const Scale prices{first, last, lower, top};
    const int decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));

    std::string svg =
        ValueAxis(prices, step, [&](double value) { return Number(value, decimals); });
    svg += "<path class=\"close\" d=\"";
    const double longest = GapOf(points);
    const auto begins = [&](std::size_t i) {
        return i == 0 || i == points.size() || points[i].day - points[i - 1].day > longest;
    };
    for (std::size_t i = 0; i < points.size(); ++i) {
        svg += Concatenated({begins(i) ? "M" : "L", Number(days(points[i].day)), " ",
                             Number(prices(points[i].close))});
        if (begins(i) && begins(i + 1)) svg += "h0";  // a single point is a dot
    }
    if (points.size() == 1) svg += "\" style=\"stroke-width:6";
    return svg + "\"/>\n";
}

// As wide as the closest two days allow.
double BarWidth(const std::vector<ChartPoint>& points, const Scale& days) {
    double closest = right - left;
    for (std::size_t i = 1; i < points.size(); ++i)
        if (points[i].day > points[i - 1].day)
            closest = std::min(closest, days(points[i].day) - days(points[i - 1].day));
    return std::clamp(closest * 0.7, 0.3, 30.0);
}

std::string Volumes(const std::vector<ChartPoint>& points, const Scale& days, double upper) {
    const double most = std::ranges::max(points, {}, &ChartPoint::volume).volume;
    const double step = RoundStep(most, 3);
    const Scale volumes{0, std::ceil(most / step) * step, bottom, upper};
    std::string svg = ValueAxis(volumes, step, ShortNumber);
    svg += Concatenated(
        {"<path class=\"volume\" stroke-width=\"", Number(BarWidth(points, days)), "\" d=\""});
    for (const ChartPoint& point : points)
        if (point.volume > 0)
            svg += Concatenated({"M", Number(days(point.day)), " ", Number(bottom), "V",
                                 Number(volumes(point.volume))});
    return svg + "\"/>\n";
}

std::string DayAxis(const Scale& days) {
    std::string svg;
    for (const DayLabel& label : DayLabels(days.first, days.last, 9)) {
        const double x = days(label.day);
        svg += Line(x, top, x, bottom, "grid");
        svg += Line(x, bottom, x, bottom + 5, "axis");
        svg += Text(x, bottom + 22, "middle", label.text);
    }
    return svg;
}

}  // namespace

double RoundStep(double range, int parts) {
    const double least = range / parts;
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (factor * power >= least * (1 - 1e-9)) return factor * power;
    return 10 * power;
}

std::vector<DayLabel> DayLabels(double first, double last, std::size_t most) {
    // Steps that are too short for sure are not tried: they would make very many labels.
    const double shortest = (last - first) / static_cast<double>(most + 1);
    for (const int step : {1, 2, 7, 14}) {
        if (step < shortest) continue;
        if (auto labels = StepLabels(first, last, step); labels.size() <= most) return labels;
    }
    for (const int months : {1, 3, 6, 12, 24, 60, 120, 240, 600, 1200, 2400, 6000, 12000}) {
        if (months * 31 < shortest) continue;
        if (auto labels = MonthLabels(first, last, months); labels.size() <= most) return labels;
    }
    return {};
}

std::vector<ChartPoint> ChartPoints(const Result& result) {
    for (const Block& block : result.blocks) {
        const Column* dates = Find(block, "DATE");
        const Column* closes = Find(block, "CLOSE");
        const Column* volumes = Find(block, "VOLUME");
        if (!dates || !closes) continue;
        std::vector<ChartPoint> points;
        for (std::size_t row = 0; row < block.Rows(); ++row) {
            const Date* date = std::get_if<Date>(&dates->at(row));
            const double* close = std::get_if<double>(&closes->at(row));
            const double* volume = volumes ? std::get_if<double>(&volumes->at(row)) : nullptr;
            if (date && close && IsInCalendar(*date) && std::isfinite(*close))
                points.push_back(
                    {date->days, *close, volume && std::isfinite(*volume) ? *volume : 0});
        }
        std::ranges::stable_sort(points, {}, &ChartPoint::day);
        return points;
    }
    return {};
}

std::string ChartOf(const std::string& title, const std::vector<ChartPoint>& points) {
    const bool hasVolumes =
        std::ranges::any_of(points, [](const ChartPoint& point) { return point.volume > 0; });
    const double lower =
        hasVolumes ? bottom - volumeShare * (bottom - top) - gap : bottom;  // of the prices
    const Scale days{points.front().day, points.back().day, left + 20, right - 20};
    constexpr const char* head =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 ";
    std::string svg = Concatenated(
        {head, Number(width, 0), " ", Number(height, 0), "\" width=\"", Number(width, 0),
         "\" height=\"", Number(height, 0), "\">\n<title>", Escaped(title), "</title>\n<style>",
         style, "</style>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n"});
    svg += Text(left, 32, "start", title, " class=\"title\"");
    svg += Text(left, 54, "start",
                Concatenated({hasVolumes ? "Close and volume, " : "Close, ",
                              FormatDate({std::floor(days.first)}), " to ",
                              FormatDate({std::floor(days.last)})}));
    svg += DayAxis(days);
    if (hasVolumes) svg += Volumes(points, days, lower + gap);
    svg += Prices(points, days, lower);
    return svg + "</svg>\n";
}

}  // namespace vtdl::host
