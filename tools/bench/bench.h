// Helpers shared by the benchmark groups of quelvari-bench.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "model/record.h"

namespace quelvari::bench {

// Median wall time of `runs` calls of `work`, in milliseconds.
double medianMs(int runs, const std::function<void()>& work);
// Prints "name: value".
void print(const char* name, double value);
// A plausible record for step `step`.
ComponentRecord sampleRecord(std::uint16_t step);

// Further groups (syntax test, ...) run after the file figures, each with a
// scratch directory of its own.
using BenchGroup = std::function<void(const std::string& scratchDir)>;
std::vector<BenchGroup> extraGroups();

}  // namespace quelvari::bench
