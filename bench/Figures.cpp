// SPDX-License-Identifier: MIT

#include "Figures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace bench {

double Percentile(std::vector<double> values, double percent) {
    const double rank = std::ceil(static_cast<double>(values.size()) * percent / 100) - 1;
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(std::max(rank, 0.0));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

void Judge(const char* what, double value, double target) {
    std::printf("%16s %-44s %8.2f, target %8.2f  %s\n", "", what, value, target,
                value <= target ? "PASS" : "over target");
}

void PrintLoad(const char* when) {
    double load = 0;
    if (getloadavg(&load, 1) == 1) std::printf("Load of the machine %s: %.2f\n", when, load);
}

}  // namespace bench
