// Prices as a picture.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Values.h"

namespace vtdl::host {

struct ChartPoint {
    double day;  ///< of an automation date
    double close;
    double volume;  ///< 0 where it is not known
};

/// The rows that have a DATE and a CLOSE, oldest first, from the first block with such columns;
/// empty when no block has them.
std::vector<ChartPoint> ChartPoints(const Result& result);

/// An SVG document: the closing prices as a line above the volumes as bars, which are left out when
/// none is known. There must be points.
std::string ChartOf(const std::string& title, const std::vector<ChartPoint>& points);

/// Steps of 1, 2 or 5 times a power of ten that cut the range into at most so many parts.
double RoundStep(double range, int parts);

/// The days that are labelled on an axis, at most so many, with their labels: single days, first
/// days of months, or first days of years.
struct DayLabel {
    double day;
    std::string text;
    bool operator==(const DayLabel&) const = default;
};
std::vector<DayLabel> DayLabels(double first, double last, std::size_t most);

}  // namespace vtdl::host
