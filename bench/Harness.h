// A small timing harness shared by the native and the Windows build (Google
// Benchmark does not cross-build here). Each run prepares untimed, then times
// one call; the median of the runs is what gets quoted.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace vt::bench {

// Seconds of each run, in run order. Prepare() runs before each timed Body()
// and is not counted; what it returns is handed to Body.
template <class Prepare, class Body>
std::vector<double> TimeRuns(int runs, Prepare&& prepare, Body&& body) {
    std::vector<double> seconds;
    for (int i = 0; i < runs; ++i) {
        auto state = prepare();
        const auto start = std::chrono::steady_clock::now();
        body(state);
        const auto stop = std::chrono::steady_clock::now();
        seconds.push_back(std::chrono::duration<double>(stop - start).count());
    }
    return seconds;
}

// The median (the mean of the middle two for an even count); 0 when empty.
inline double Median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const std::size_t mid = values.size() / 2;
    return values.size() % 2 ? values[mid] : (values[mid - 1] + values[mid]) / 2;
}

inline double Min(const std::vector<double>& values) {
    return values.empty() ? 0 : *std::min_element(values.begin(), values.end());
}

inline double Max(const std::vector<double>& values) {
    return values.empty() ? 0 : *std::max_element(values.begin(), values.end());
}

}  // namespace vt::bench
