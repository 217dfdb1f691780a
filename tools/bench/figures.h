// How every benchmark of the project times and prints a figure: each figure
// is measured in several runs and printed as one line
//
//   name: MEDIAN  (min A / median B / max C of N runs; floor: F; load L)
//
// so that scripts still read "name: value" (the median), and a reader sees the
// spread, what a ratio is divided by, and how busy the machine was (the
// one-minute load average when the figure was taken).
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace quelvari::bench {

// At least five runs stand behind every figure.
inline constexpr int kMinRuns = 5;

inline double LoadAverage() {
    double load[1] = {0};
    return ::getloadavg(load, 1) == 1 ? load[0] : -1;
}

// Wall time of one call of `work`, in milliseconds.
inline double TimeMs(const std::function<void()>& work) {
    const auto t0 = std::chrono::steady_clock::now();
    work();
    const auto t1 = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::milli>(t1 - t0).count();
}

// The runs of one figure.
struct Runs {
    std::vector<double> values;

    double min() const { return *std::min_element(values.begin(), values.end()); }
    double max() const { return *std::max_element(values.begin(), values.end()); }
    double median() const {
        std::vector<double> v = values;
        std::sort(v.begin(), v.end());
        const std::size_t n = v.size();
        return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
    }
    void add(double v) { values.push_back(v); }
};

// Run i of the result is cost[i] / floor[i]: a cost and its floor measured
// side by side, so that both see the same state of the machine.
inline Runs Ratios(const Runs& cost, const Runs& floor) {
    Runs r;
    for (std::size_t i = 0; i < cost.values.size() && i < floor.values.size(); ++i)
        r.add(cost.values[i] / floor.values[i]);
    return r;
}

// Prints one figure; `floor` names what a ratio is divided by (empty for a
// figure that is not a ratio).
inline void Report(const std::string& name, const Runs& runs, const std::string& floor = {}) {
    if (runs.values.empty())
        return;
    std::printf("%s: %.4g  (min %.4g / median %.4g / max %.4g of %zu runs", name.c_str(),
                runs.median(), runs.min(), runs.median(), runs.max(), runs.values.size());
    if (!floor.empty())
        std::printf("; floor: %s", floor.c_str());
    std::printf("; load %.2f)\n", LoadAverage());
    std::fflush(stdout);
}

// A figure that is a count, not a measurement.
inline void ReportCount(const std::string& name, double value) {
    std::printf("%s: %.4g\n", name.c_str(), value);
    std::fflush(stdout);
}

}  // namespace quelvari::bench
