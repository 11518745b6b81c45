#pragma once
// Times of repeated runs; our own, because what is compared takes turns and runs through COM,
// servers and message loops, which a library of benchmarks would run one after the other.

#include <algorithm>
#include <array>
#include <chrono>
#include <vector>

namespace vtdl::bench {

template <class Body>
double Seconds(const Body& body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    return taken.count();
}

/// The median durations, in seconds, of bodies that take turns, so that whatever else the machine
/// does meets all of them; one run of each before warms up.
template <class... Bodies>
std::array<double, sizeof...(Bodies)> MedianSecondsInTurns(int runs, const Bodies&... bodies) {
    std::array<std::vector<double>, sizeof...(Bodies)> seconds;
    (bodies(), ...);
    for (int run = 0; run < runs; ++run) {
        std::size_t turn = 0;
        (seconds[turn++].push_back(Seconds(bodies)), ...);
    }
    std::array<double, sizeof...(Bodies)> medians;
    for (std::size_t i = 0; i < medians.size(); ++i) {
        const auto middle = seconds[i].begin() + runs / 2;
        std::nth_element(seconds[i].begin(), middle, seconds[i].end());
        medians[i] = *middle;
    }
    return medians;
}

/// The median duration, in seconds, of the runs of one body.
template <class Body>
double MedianSeconds(int runs, const Body& body) {
    return MedianSecondsInTurns(runs, body)[0];
}

}  // namespace vtdl::bench
