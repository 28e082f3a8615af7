// SPDX-License-Identifier: MIT

// Waiting: the loops of the bus library and its blocking calls. Where a process would sleep,
// another one runs.

#include <poll.h>
#include <sys/epoll.h>
#include <systemd/sd-event.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "sim/Libc.h"

using sim::File;
using sim::FileOf;
using sim::IsInside;
using sim::MemoryLasts;
using sim::Usec;
using sim::World;

namespace {

Usec Deadline(Usec timeout) {
    return timeout == sim::kNever ? sim::kNever : World::Current()->Now() + timeout;
}

bool IsInterrupted(const char* fault) {
    World& world = *World::Current();
    return world.Strikes(world.m_faults.interrupted, fault);
}

// ---- epoll --------------------------------------------------------------------------------------

int Change(File& epoll, int operation, int fd, struct epoll_event* event) {
    const auto found = std::find_if(epoll.watches.begin(), epoll.watches.end(),
                                    [fd](const sim::Watch& watch) { return watch.fd == fd; });
    if (operation == EPOLL_CTL_ADD) {
        if (found != epoll.watches.end()) return sim::FailWith(EEXIST);
        if (FileOf(fd) == nullptr) return sim::FailWith(EPERM);
        epoll.watches.push_back({fd, event->events, event->data});
        return 0;
    }
    if (found == epoll.watches.end()) return sim::FailWith(ENOENT);
    if (operation == EPOLL_CTL_DEL) {
        epoll.watches.erase(found);
    } else {
        *found = {fd, event->events, event->data};
    }
    return 0;
}

bool IsForEdges(const sim::Watch& watch, const File& file) {
    return (watch.events & EPOLLET) != 0 && file.socket != nullptr;
}

// Returns how many descriptors are ready, `most` at most, and writes them to `events` unless null.
int Collect(const File& epoll, struct epoll_event* events, int most, Usec& next) {
    int count = 0;
    for (const sim::Watch& watch : epoll.watches) {
        const File* const file = FileOf(watch.fd);
        if (file == nullptr || watch.events == 0 || count == most) continue;
        const bool isForEdges = IsForEdges(watch, *file);
        if (isForEdges && watch.told == file->socket->Unread()) continue;
        const std::uint32_t ready = sim::ReadyOf(*file, watch.events, next);
        if (ready == 0) continue;
        if (events != nullptr) {
            events[count].events = ready;
            events[count].data = watch.data;
            if (isForEdges) watch.told = file->socket->Unread();
        }
        ++count;
    }
    return count;
}

// Returns when a process that waits at `epoll` until `deadline` has something to do.
Usec WakeAt(const File& epoll, const sim::Process& process, Usec deadline) {
    if (!process.tasks.empty()) return 0;
    Usec at = deadline;
    return Collect(epoll, nullptr, 1, at) > 0 ? 0 : at;
}

int WaitAt(const File& epoll, struct epoll_event* events, int most, Usec timeout) {
    World& world = *World::Current();
    Usec next = sim::kNever;
    if (timeout == 0) return Collect(epoll, events, most, next);
    if (IsInterrupted("EINTR of epoll_wait")) return sim::FailWith(EINTR);
    // Also a process that has something to do lets the others have their turn. Otherwise one that
    // is busy without end would hang the simulator, instead of being found by it.
    const bool isReady = Collect(epoll, nullptr, 1, next) > 0;
    const Usec deadline = isReady ? 0 : Deadline(timeout);
    const sim::Process& self = *world.Running();
    world.Wait([&epoll, &self, deadline] { return WakeAt(epoll, self, deadline); });
    return Collect(epoll, events, most, next);
}

// ---- poll ---------------------------------------------------------------------------------------

// Returns how many descriptors are ready.
int Look(struct pollfd* fds, nfds_t number, Usec& next) {
    int count = 0;
    for (nfds_t at = 0; at < number; ++at) {
        const File* const file = FileOf(fds[at].fd);
        const auto events = static_cast<std::uint32_t>(fds[at].events);
        const std::uint32_t ready = file == nullptr ? 0 : sim::ReadyOf(*file, events, next);
        fds[at].revents = static_cast<short>(ready);
        if (ready != 0) ++count;
    }
    return count;
}

int WaitFor(struct pollfd* fds, nfds_t number, Usec timeout) {
    if (IsInterrupted("EINTR of poll")) return sim::FailWith(EINTR);
    const Usec deadline = Deadline(timeout);
    Usec next = sim::kNever;
    const int count = Look(fds, number, next);
    if (count > 0 || timeout == 0) return count;
    World::Current()->Wait([fds, number, deadline] {
        Usec at = deadline;
        return Look(fds, number, at) > 0 ? 0 : at;
    });
    return Look(fds, number, next);
}

bool IsSimulated(const struct pollfd* fds, nfds_t number) {
    return IsInside() && number > 0 && FileOf(fds[0].fd) != nullptr;
}

Usec UsecOf(int milliseconds) {
    return milliseconds < 0 ? sim::kNever : static_cast<Usec>(milliseconds) * sim::kMillisecond;
}

Usec UsecOf(const struct timespec* time) {
    if (time == nullptr) return sim::kNever;
    return static_cast<Usec>(time->tv_sec) * sim::kSecond +
           static_cast<Usec>((time->tv_nsec + 999) / 1000);
}

}  // namespace

extern "C" {

// The thread's default loop is the running process's.
int sd_event_default(sd_event** event) {
    if (!IsInside()) return sd_event_new(event);
    *event = sd_event_ref(World::Current()->Running()->loop);
    return 0;
}

int epoll_create1(int flags) noexcept {
    const MemoryLasts lasts;
    const int fd = APPLIST_SIM_REAL(epoll_create1)(flags);
    if (IsInside() && fd >= 0) sim::Install(fd, File::Kind::Epoll);
    return fd;
}

int epoll_ctl(int poll, int operation, int fd, struct epoll_event* event) noexcept {
    const MemoryLasts lasts;
    File* const epoll = FileOf(poll);
    if (epoll == nullptr) return APPLIST_SIM_REAL(epoll_ctl)(poll, operation, fd, event);
    return Change(*epoll, operation, fd, event);
}

int epoll_wait(int fd, struct epoll_event* events, int most, int timeout) {
    const MemoryLasts lasts;
    const File* const epoll = FileOf(fd);
    if (epoll == nullptr) return APPLIST_SIM_REAL(epoll_wait)(fd, events, most, timeout);
    return WaitAt(*epoll, events, most, UsecOf(timeout));
}

// What newer versions of the bus library call instead.
int epoll_pwait2(int fd, struct epoll_event* events, int most, const struct timespec* timeout,
                 const sigset_t* signals) {
    const MemoryLasts lasts;
    const File* const epoll = FileOf(fd);
    if (epoll == nullptr) {
        return APPLIST_SIM_REAL(epoll_pwait2)(fd, events, most, timeout, signals);
    }
    return WaitAt(*epoll, events, most, UsecOf(timeout));
}

int poll(struct pollfd* fds, nfds_t number, int timeout) {
    const MemoryLasts lasts;
    if (!IsSimulated(fds, number)) return APPLIST_SIM_REAL(poll)(fds, number, timeout);
    return WaitFor(fds, number, UsecOf(timeout));
}

int ppoll(struct pollfd* fds, nfds_t number, const struct timespec* timeout,
          const sigset_t* signals) {
    const MemoryLasts lasts;
    if (!IsSimulated(fds, number)) return APPLIST_SIM_REAL(ppoll)(fds, number, timeout, signals);
    return WaitFor(fds, number, UsecOf(timeout));
}

}  // extern "C"
