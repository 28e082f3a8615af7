// SPDX-License-Identifier: MIT

#include "support/ProcessState.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <ostream>
#include <stdexcept>

#include "support/TestLoop.h"

namespace {

// Returns what each descriptor is, without the numbers that the kernel gives to sockets and pipes.
std::map<int, std::string> OpenDescriptors() {
    DIR* const folder = opendir("/proc/self/fd");
    if (folder == nullptr) throw std::runtime_error("/proc/self/fd");
    std::map<int, std::string> open;
    while (const struct dirent* entry = readdir(folder)) {
        char target[256];
        const ssize_t length = readlinkat(dirfd(folder), entry->d_name, target, sizeof(target));
        if (length < 0 || atoi(entry->d_name) == dirfd(folder)) continue;
        const std::string name(target, static_cast<std::size_t>(length));
        open[atoi(entry->d_name)] = name.compare(0, 7, "socket:") == 0 ? "socket" : name;
    }
    closedir(folder);
    return open;
}

// How many lines of the kernel's account of descriptor `fd` start with `start`.
std::size_t LinesOf(int fd, const std::string& start, const std::string& butNot) {
    std::ifstream file("/proc/self/fdinfo/" + std::to_string(fd));
    std::size_t count = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, start.size(), start) == 0 && line != butNot) ++count;
    }
    return count;
}

// The loop keeps the descriptor of its clock for good once it has had a timer. That is no leak.
void GiveTheLoopItsClock() {
    const auto never = [](sd_event_source*, std::uint64_t, void*) { return 0; };
    sd_event_source* timer = nullptr;
    if (sd_event_add_time(TestLoop(), &timer, CLOCK_MONOTONIC, UINT64_MAX, 0, never, nullptr) < 0) {
        throw std::runtime_error("no timer");
    }
    sd_event_source_disable_unref(timer);
}

}  // namespace

ProcessState ProcessState::Now() {
    GiveTheLoopItsClock();
    ProcessState state;
    state.watched = LinesOf(sd_event_get_fd(TestLoop()), "tfd:", "");
    for (const auto& entry : OpenDescriptors()) state.descriptors.push_back(entry.second);
    std::sort(state.descriptors.begin(), state.descriptors.end());
    return state;
}

bool ProcessState::operator==(const ProcessState& other) const {
    return descriptors == other.descriptors && watched == other.watched;
}

std::ostream& operator<<(std::ostream& out, const ProcessState& state) {
    out << state.watched << " watched by the loop; open:";
    for (const std::string& descriptor : state.descriptors) out << "\n  " << descriptor;
    return out;
}

std::size_t ArmedTimers() {
    std::size_t armed = 0;
    for (const auto& entry : OpenDescriptors()) {
        if (entry.second != "anon_inode:[timerfd]") continue;
        armed += LinesOf(entry.first, "it_value:", "it_value: (0, 0)");
    }
    return armed;
}

bool RunUntilNoTimerIsSet() {
    return RunUntil([] {
        RunWhatIsReady();  // the loop sets its timers when it looks for something to do
        return ArmedTimers() == 0;
    });
}
