// SPDX-License-Identifier: MIT

// Clocks, and what must not differ between two runs.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>

#include "sim/Libc.h"

using sim::FileOf;
using sim::IsInside;
using sim::MemoryLasts;
using sim::Usec;
using sim::World;

namespace sim {

void* RealFunction(const char* name) {
    void* const found = dlsym(RTLD_NEXT, name);
    if (found != nullptr) return found;
    std::fprintf(stderr, "sim: the system has no %s\n", name);
    std::abort();
}

}  // namespace sim

namespace {

Usec UsecOf(const struct timespec& time) {
    return static_cast<Usec>(time.tv_sec) * sim::kSecond +
           static_cast<Usec>((time.tv_nsec + 999) / 1000);
}

bool IsRealtime(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_ALARM ||
           clock == CLOCK_REALTIME_COARSE;
}

bool IsBootId(const char* path) {
    return std::strcmp(path, "/proc/sys/kernel/random/boot_id") == 0;
}

// A file that says which boot this is: always the same one.
int OpenBootId() {
    const int fd = APPLIST_SIM_REAL(memfd_create)("boot_id", MFD_CLOEXEC);
    if (fd < 0 || write(fd, sim::kBootId, sizeof(sim::kBootId) - 1) < 0) return -1;
    lseek(fd, 0, SEEK_SET);
    return fd;
}

// Of a file that is opened: there is one only when it may be created.
mode_t ModeOf(int flags, std::va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, struct timespec* now) noexcept {
    if (!IsInside()) return APPLIST_SIM_REAL(clock_gettime)(clock, now);
    World& world = *World::Current();
    world.Tick();
    Usec time = world.Now();
    if (IsRealtime(clock)) time += static_cast<Usec>(world.m_realtimeOffset);
    now->tv_sec = static_cast<time_t>(time / sim::kSecond);
    now->tv_nsec = static_cast<long>(time % sim::kSecond * 1000);
    return 0;
}

// The same bytes for ever: the bus library keeps hash keys beyond a round.
ssize_t getrandom(void* buffer, size_t size, unsigned flags) {
    if (World::Current() == nullptr) return APPLIST_SIM_REAL(getrandom)(buffer, size, flags);
    std::memset(buffer, 0x5A, size);
    return static_cast<ssize_t>(size);
}

// sd-event shifts its timers by a number that is made of the boot's id.
int open64(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    if (IsInside() && IsBootId(path)) return OpenBootId();
    return APPLIST_SIM_REAL(open64)(path, flags, mode);
}

// What newer versions of the bus library call instead.
int openat64(int directory, const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    if (IsInside() && IsBootId(path)) return OpenBootId();
    return APPLIST_SIM_REAL(openat64)(directory, path, flags, mode);
}

int timerfd_create(int clock, int flags) noexcept {
    const MemoryLasts lasts;
    const int fd = APPLIST_SIM_REAL(timerfd_create)(clock, flags);
    if (IsInside() && fd >= 0) sim::Install(fd, sim::File::Kind::Timer);
    return fd;
}

int timerfd_settime(int fd, int flags, const struct itimerspec* value,
                    struct itimerspec* before) noexcept {
    sim::File* const timer = FileOf(fd);
    if (timer == nullptr) return APPLIST_SIM_REAL(timerfd_settime)(fd, flags, value, before);
    const Usec time = UsecOf(value->it_value);
    const bool isAbsolute = (flags & TFD_TIMER_ABSTIME) != 0;
    timer->armed = isAbsolute ? time : World::Current()->Now() + time;
    if (time == 0) timer->armed = sim::kNever;
    return 0;
}

ssize_t read(int fd, void* buffer, size_t size) {
    sim::File* const timer = FileOf(fd);
    if (timer == nullptr || timer->kind != sim::File::Kind::Timer) {
        return APPLIST_SIM_REAL(read)(fd, buffer, size);
    }
    if (timer->armed > World::Current()->Now()) return sim::FailWith(EAGAIN);
    timer->armed = sim::kNever;
    const std::uint64_t once = 1;
    std::memcpy(buffer, &once, sizeof(once));
    return sizeof(once);
}

}  // extern "C"

// The random numbers of the C++ library come from the processor; in a round they are its seed's.
std::random_device::result_type std::random_device::_M_getval() {
    if (World::Current() == nullptr) return 0;
    return static_cast<result_type>(World::Current()->m_random.Next());
}
