// SPDX-License-Identifier: MIT

// What benchmarks say of many measurements: percentiles, and how they stand to a target.
//
// Threads: any. Lifetime: plain values.

#pragma once

#include <vector>

namespace bench {

// Returns the value that `percent` percent of `values` do not exceed. REQUIRES: not empty.
double Percentile(std::vector<double> values, double percent);

// Prints `value` beside its target. One over its target is marked, and fails nothing: the machine
// may be busy with something else.
void Judge(const char* what, double value, double target);

// Prints how busy the machine is.
void PrintLoad(const char* when);

}  // namespace bench
