// SPDX-License-Identifier: MIT

#include "sim/Simulation.h"

#include <dirent.h>
#include <execinfo.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstring>
#include <ctime>

#include "platform/PlatformLog.h"
#include "sim/Memory.h"
#include "sim/Round.h"

namespace sim {

namespace {

Round* theRound = nullptr;
std::uint64_t theSeed = 0;

// A program that dies says in which round.
void OnDeath(int signal) {
    std::fprintf(stderr, "FAILED: seed %llu: killed by signal %d\n",
                 static_cast<unsigned long long>(theSeed), signal);
    void* frames[40];
    backtrace_symbols_fd(frames, backtrace(frames, 40), STDERR_FILENO);
    _exit(3);
}

volatile std::sig_atomic_t isInterrupted = 0;

// Ends after the round under way, and says what came out so far.
void OnInterrupt(int) {
    isInterrupted = 1;
}

int OpenDescriptors() {
    int count = 0;
    DIR* const folder = opendir("/proc/self/fd");
    if (folder == nullptr) return 0;
    while (readdir(folder) != nullptr) ++count;
    closedir(folder);
    return count;
}

double RealSeconds() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

class Totals {
public:
    void Add(const Round& round) {
        const History& past = round.TheWorld().Past();
        m_lines += past.Lines();
        m_hash = m_hash * 31 + past.Hash();
        m_virtualHours += static_cast<double>(round.TheWorld().Now() - kBeginning) / 3.6e9;
        m_messages += round.TheBus().Messages();
        m_broadcasts += round.TheBus().Broadcasts();
        m_overChannels += round.Calls().OverChannels();
        m_synchronized += round.Synchronized();
        for (const auto& [name, count] : past.Faults()) m_faults[name] += count;
    }

    void Print(std::uint64_t rounds, int failures, double seconds) const {
        std::uint64_t faults = 0;
        for (const auto& [name, count] : m_faults) {
            std::printf("  %-20s %12llu\n", name.c_str(), Long(count));
            faults += count;
        }
        std::printf(
            "%llu rounds, %d failed, in %.1f s: %llu faults, %.1f virtual hours, "
            "%llu messages, %llu of them to everyone, %llu calls over channels, "
            "%llu times synchronized\n",
            Long(rounds), failures, seconds, Long(faults), m_virtualHours, Long(m_messages),
            Long(m_broadcasts), Long(m_overChannels), Long(m_synchronized));
        if (m_lines == 0) return;
        std::printf("history: %llu lines, hash %016llx\n", Long(m_lines), Long(m_hash));
    }

private:
    static unsigned long long Long(std::uint64_t number) { return number; }

    std::map<std::string, std::uint64_t> m_faults;
    std::uint64_t m_lines = 0;
    std::uint64_t m_hash = 0;
    std::uint64_t m_messages = 0;
    std::uint64_t m_broadcasts = 0;
    std::uint64_t m_overChannels = 0;
    std::uint64_t m_synchronized = 0;
    double m_virtualHours = 0;
};

std::string RunOne(const Plan& plan, std::uint64_t seed, Totals& totals) {
    theSeed = seed;
    const int before = OpenDescriptors();
    std::string verdict;
    {
        Round round(seed, plan.history, plan.only);
        theRound = &round;
        verdict = round.Run();
        theRound = nullptr;
        totals.Add(round);
    }
    if (verdict.empty() && OpenDescriptors() != before) verdict = "a descriptor is left open";
    return verdict;
}

}  // namespace

int Simulate(const Plan& plan) {
    std::signal(SIGABRT, OnDeath);
    std::signal(SIGSEGV, OnDeath);
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    Totals totals;
    const double start = RealSeconds();
    int failures = 0;
    std::uint64_t done = 0;
    const auto goesOn = [&] { return failures == 0 || plan.goesOnAfterFailure; };
    while (done < plan.rounds && goesOn() && isInterrupted == 0) {
        const std::uint64_t seed = plan.seed + done;
        const std::string verdict = RunOne(plan, seed, totals);
        ++done;
        if (verdict.empty()) continue;
        ++failures;
        std::printf("FAILED: seed %llu (round %llu, after %.1f s): %s\n",
                    static_cast<unsigned long long>(seed), static_cast<unsigned long long>(done),
                    RealSeconds() - start, verdict.c_str());
    }
    totals.Print(done, failures, RealSeconds() - start);
    return failures;
}

}  // namespace sim

// The log of all simulated processes: part of the history.
int PlatformLogPrint(int, int priority, const char*, const char* format, ...) {
    const sim::MemoryLasts lasts;
    char text[400];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (const std::size_t size = std::strlen(text); size > 0 && text[size - 1] == '\n') {
        text[size - 1] = '\0';
    }
    if (sim::theRound != nullptr) sim::theRound->Log(priority, text);
    return length;
}
