// SPDX-License-Identifier: MIT

#include "Interleaved.h"

#include <cstdio>

namespace bench {

namespace {

void PrintFigures(const char* what, const Comparison& comparison) {
    std::printf("%-34s %10.2f %10.2f %7.3f   (%.3f-%.3f)", what, comparison.ours,
                comparison.baseline, comparison.ratio, comparison.lowest, comparison.highest);
}

}  // namespace

void PrintTableHead(const Rounds& plan, const char* figures) {
    std::printf("\nMedians of %d interleaved rounds of 2 x %d %s\n", plan.rounds,
                plan.blocks * plan.callsPerBlock, figures);
    std::printf("%-34s %10s %10s %7s %15s %7s\n", "", "ours", "baseline", "ratio", "(rounds)",
                "target");
}

void PrintTableLine(const char* what, const Comparison& comparison, double target) {
    PrintFigures(what, comparison);
    std::printf(" %7.2f  %s\n", target, comparison.ratio <= target ? "PASS" : "over target");
    std::fflush(stdout);
}

void PrintTableLine(const char* what, const Comparison& comparison) {
    PrintFigures(what, comparison);
    std::printf("\n");
    std::fflush(stdout);
}

}  // namespace bench
