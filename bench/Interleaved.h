// SPDX-License-Identifier: MIT

// Two ways of doing the same thing, timed in turns within one run.
//
// What a machine is busy with besides changes by the second, so a ratio of two times means
// something only when both were taken at the same moment. A round times both sides in short
// alternating blocks and compares the medians of their calls; the result is the median of the
// rounds, whose neighbours scatter.
//
// Threads: one. Lifetime: plain values.

#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace bench {

struct Rounds {
    int rounds;         // odd, so that the median is one of them
    int blocks;         // of each side, a round
    int callsPerBlock;  // enough to find caches and branch predictors warm after the other side
};

struct Comparison {
    double ours;      // microseconds, as a rule a call's: the median of the rounds' medians
    double baseline;  // the same
    double ratio;     // ours to baseline: the median of the rounds' ratios
    double lowest;    // ratio of all rounds
    double highest;
};

// REQUIRES: `values` is not empty.
inline double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <class Call>
void MeasureBlock(int calls, Call&& call, std::vector<double>& figures) {
    for (int done = 0; done < calls; ++done) figures.push_back(call());
}

// Calls `ours` and `baseline`, functions without arguments that return what they have measured, as
// `plan` says.
template <class Ours, class Baseline>
Comparison CompareFigures(const Rounds& plan, Ours&& ours, Baseline&& baseline) {
    std::vector<double> oursMedians, baselineMedians, ratios;
    for (int round = 0; round < plan.rounds; ++round) {
        std::vector<double> oursFigures, baselineFigures;
        for (int block = 0; block < plan.blocks; ++block) {
            // Neither side always comes right after the other.
            const bool oursFirst = (round + block) % 2 == 0;
            if (oursFirst) MeasureBlock(plan.callsPerBlock, ours, oursFigures);
            MeasureBlock(plan.callsPerBlock, baseline, baselineFigures);
            if (!oursFirst) MeasureBlock(plan.callsPerBlock, ours, oursFigures);
        }
        oursMedians.push_back(Median(oursFigures));
        baselineMedians.push_back(Median(baselineFigures));
        ratios.push_back(oursMedians.back() / baselineMedians.back());
    }
    const auto extremes = std::minmax_element(ratios.begin(), ratios.end());
    return {Median(oursMedians), Median(baselineMedians), Median(ratios), *extremes.first,
            *extremes.second};
}

template <class Call>
double TimeOf(Call&& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
        .count();
}

// The same for functions whose calls are timed.
template <class Ours, class Baseline>
Comparison Compare(const Rounds& plan, Ours&& ours, Baseline&& baseline) {
    return CompareFigures(
        plan, [&] { return TimeOf(ours); }, [&] { return TimeOf(baseline); });
}

// The table of results. A ratio over its target is marked, and fails nothing: on a busy machine
// even interleaved rounds scatter.
void PrintTableHead(const Rounds& plan, const char* figures = "calls, in microseconds a call");
void PrintTableLine(const char* what, const Comparison& comparison, double target);
// The same for what is shown for comparison only.
void PrintTableLine(const char* what, const Comparison& comparison);

}  // namespace bench
