// SPDX-License-Identifier: MIT

#include "Staleness.h"

namespace bench {

namespace {

constexpr std::int64_t kSamplePeriod = 1000000;
// A little under the golden section of the period. Samples that stood on whole milliseconds would
// keep step with the schedule, and always meet a change at the same age.
constexpr std::int64_t kSampleShift = 618034;

double Milliseconds(std::int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e6;
}

void SampleStaleness(const FreshCase& plan, const FreshLog& log, Freshness& result) {
    const std::int64_t end = log.start + plan.Duration();
    int made = 0;
    int seen = 0;
    int version = 0;
    std::int64_t shift = 0;
    for (std::int64_t slot = log.start; slot < end; slot += kSamplePeriod) {
        const std::int64_t now = slot + shift;
        shift = (shift + kSampleShift) % kSamplePeriod;
        while (made < log.made && log.madeAt[made + 1] <= now) ++made;
        while (seen < log.shown && log.shownAt[seen] <= now) version = log.shownVersion[seen++];
        const bool isStale = version < made;
        result.staleness.push_back(isStale ? Milliseconds(now - log.madeAt[version + 1]) : 0);
    }
}

void CollectDelays(const FreshLog& log, Freshness& result) {
    int version = 0;
    for (int seen = 0; seen < log.shown; ++seen) {
        while (version < log.shownVersion[seen]) {
            ++version;
            result.delays.push_back(Milliseconds(log.shownAt[seen] - log.madeAt[version]));
        }
    }
    result.isLastShown = version == log.made;
}

std::int64_t Used(const CpuOfProcess& cpu) {
    return cpu.atEnd - cpu.atStart;
}

}  // namespace

Freshness FreshnessOf(const FreshCase& plan, const FreshLog& log) {
    Freshness result;
    result.changes = plan.changes;
    result.made = log.made;
    result.shown = log.shown;
    result.listReads = log.listReads;
    result.selectionReads = log.selectionReads;
    result.cpuSeconds = Milliseconds(Used(log.serviceCpu) + Used(log.followerCpu)) / 1000;
    result.seconds = Milliseconds(plan.Duration()) / 1000;
    SampleStaleness(plan, log, result);
    CollectDelays(log, result);
    return result;
}

void Freshness::Add(const Freshness& more) {
    changes += more.changes;
    made += more.made;
    shown += more.shown;
    isLastShown = isLastShown && more.isLastShown;
    staleness.insert(staleness.end(), more.staleness.begin(), more.staleness.end());
    delays.insert(delays.end(), more.delays.begin(), more.delays.end());
    listReads += more.listReads;
    selectionReads += more.selectionReads;
    cpuSeconds += more.cpuSeconds;
    seconds += more.seconds;
}

}  // namespace bench
