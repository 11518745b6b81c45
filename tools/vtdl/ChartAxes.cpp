#include <array>
#include <chrono>
#include <cmath>

#include "Chart.h"

namespace vtdl::host {
namespace {

using namespace std::chrono;

constexpr sys_days dayZero = year{1899} / December / 30;

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

}  // namespace vtdl::host
