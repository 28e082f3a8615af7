// SPDX-License-Identifier: MIT

// The real service and the real partner, over the real bus library, in one process and in virtual
// time, on a simulated bus.
//
//   sim basics                     whether the simulation works at all
//   sim run SEED ROUNDS [OPTION…]  rounds SEED, SEED + 1, …; `run SEED 1` repeats a single one
//     history=FILE                 write down what happens
//     only=FAULT                   with this kind of fault alone (see Weather.cpp); only=events for
//                                  many events, one in a hundred of which is lost
//     all                          go on after a round that failed
//
// Exits with 0 when nothing is wrong, 1 when something is, 2 on bad usage, 3 when the code under
// test has killed the program.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bus/BusSelection.h"
#include "sim/Basics.h"
#include "sim/Simulation.h"

namespace {

int Usage() {
    std::fprintf(stderr,
                 "usage: sim basics\n"
                 "       sim run SEED ROUNDS [history=FILE] [only=FAULT] [all]\n");
    return 2;
}

int Tell(const std::string& failure) {
    if (failure.empty()) return 0;
    std::fprintf(stderr, "sim: %s\n", failure.c_str());
    return 1;
}

bool ReadOption(const std::string& option, sim::Plan& plan) {
    const std::string history = "history=";
    const std::string only = "only=";
    if (option == "all") {
        plan.goesOnAfterFailure = true;
    } else if (option.compare(0, only.size(), only) == 0) {
        plan.only = option.substr(only.size());
    } else if (option.compare(0, history.size(), history) == 0) {
        plan.history = std::fopen(option.c_str() + history.size(), "w");
        return plan.history != nullptr;
    } else {
        return false;
    }
    return true;
}

int Run(int count, char** arguments) {
    if (count < 2) return Usage();
    sim::Plan plan;
    plan.seed = std::strtoull(arguments[0], nullptr, 10);
    plan.rounds = std::strtoull(arguments[1], nullptr, 10);
    for (int at = 2; at < count; ++at) {
        if (!ReadOption(arguments[at], plan)) return Usage();
    }
    const int failures = sim::Simulate(plan);
    if (plan.history != nullptr) std::fclose(plan.history);
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string verb = count > 1 ? arguments[1] : "";
    applist::SelectBusAddress("unix:path=/run/simulated-bus");
    if (const std::string failure = sim::WhyNotSimulated(); !failure.empty()) return Tell(failure);
    if (verb == "basics") return Tell(sim::WhyNoBasics());
    return verb == "run" ? Run(count - 2, arguments + 2) : Usage();
}
