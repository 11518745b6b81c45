#pragma once
// Times of repeated runs.

#include <algorithm>
#include <chrono>
#include <vector>

namespace vtdl::bench {

/// The median duration, in seconds, of the runs of a body; one run before them warms up.
template <class Body>
double MedianSeconds(int runs, const Body& body) {
    body();
    std::vector<double> seconds;
    for (int run = 0; run < runs; ++run) {
        const auto start = std::chrono::steady_clock::now();
        body();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        seconds.push_back(taken.count());
    }
    const auto middle = seconds.begin() + runs / 2;
    std::nth_element(seconds.begin(), middle, seconds.end());
    return *middle;
}

}  // namespace vtdl::bench
