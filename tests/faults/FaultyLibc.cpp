// SPDX-License-Identifier: MIT

// A library to be preloaded into a program, in which one occurrence of one call of libc then fails:
// the n-th epoll_ctl with ENOMEM, the n-th allocation with none. It catches what the program calls
// and what libsystemd and GLib call, but not what libc calls by itself.
//
// The file that APPLIST_FAULTS names is shared with whoever drives the program. It counts the
// calls, says which one is to fail, and records that it really did; Faults.py reads and writes it.
//
// Threads: any. Lifetime: the process's. Without that variable every call passes.

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Variants of one call, such as fstat and fstat64, count as that call.
enum Call : int {
    kMalloc,
    kBind,
    kClose,
    kConnect,
    kDup,
    kEpollCreate1,
    kEpollCtl,
    kEpollWait,
    kEventfd,
    kFcntl,
    kFstat,
    kFtruncate,
    kGetrandom,
    kGetsockname,
    kGetsockopt,
    kInotifyAddWatch,
    kInotifyInit1,
    kIoctl,
    kMemfdCreate,
    kMmap,
    kOpen,
    kPipe2,
    kPoll,
    kPread,
    kPrctl,
    kPthreadSigmask,
    kRead,
    kReadv,
    kRecv,
    kRecvmsg,
    kSend,
    kSendmsg,
    kSetsockopt,
    kSignalfd,
    kSocket,
    kSocketpair,
    kStat,
    kTimerfdCreate,
    kTimerfdSettime,
    kWrite,
    kWritev,
    kCalls
};
const char* const kNames[] = {"malloc",
                              "bind",
                              "close",
                              "connect",
                              "dup",
                              "epoll_create1",
                              "epoll_ctl",
                              "epoll_wait",
                              "eventfd",
                              "fcntl",
                              "fstat",
                              "ftruncate",
                              "getrandom",
                              "getsockname",
                              "getsockopt",
                              "inotify_add_watch",
                              "inotify_init1",
                              "ioctl",
                              "memfd_create",
                              "mmap",
                              "open",
                              "pipe2",
                              "poll",
                              "pread",
                              "prctl",
                              "pthread_sigmask",
                              "read",
                              "readv",
                              "recv",
                              "recvmsg",
                              "send",
                              "sendmsg",
                              "setsockopt",
                              "signalfd",
                              "socket",
                              "socketpair",
                              "stat",
                              "timerfd_create",
                              "timerfd_settime",
                              "write",
                              "writev"};
static_assert(sizeof(kNames) / sizeof(*kNames) == kCalls, "one name for each call");

struct Row {
    char name[24];
    std::uint64_t count;  // since the process began
};

struct Shared {
    std::int32_t call;    // the row of the one that is to fail; -1: none
    std::int32_t error;   // with this errno
    std::uint64_t first;  // from this count
    std::uint64_t last;   // to this one
    std::uint64_t failed;
    std::int64_t rows;
    Row row[kCalls];
};

Shared* g_shared = nullptr;
bool g_isInMain = false;

// Real functions, looked up once. dlsym may allocate, but does not while it finds what it looks
// for.
template <class Function>
Function* Next(Function*& known, const char* name) {
    if (known == nullptr) known = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    return known;
}

bool Fails(Call call) {
    if (g_shared == nullptr || !g_isInMain) return false;
    const std::uint64_t count = __atomic_add_fetch(&g_shared->row[call].count, 1, __ATOMIC_SEQ_CST);
    if (__atomic_load_n(&g_shared->call, __ATOMIC_SEQ_CST) != call || count < g_shared->first ||
        count > g_shared->last) {
        return false;
    }
    __atomic_add_fetch(&g_shared->failed, 1, __ATOMIC_SEQ_CST);
    errno = g_shared->error;
    return true;
}

__attribute__((constructor)) void Begin() {
    const char* const path = std::getenv("APPLIST_FAULTS");
    if (path == nullptr) return;
    // Not through the functions below, which would count them.
    static int (*realOpen)(const char*, int, ...) = nullptr;
    static int (*realClose)(int) = nullptr;
    static void* (*realMap)(void*, std::size_t, int, int, int, off_t) = nullptr;
    const int fd = Next(realOpen, "open")(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) std::abort();
    void* const shared =
        Next(realMap, "mmap")(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (shared == MAP_FAILED) std::abort();
    Next(realClose, "close")(fd);
    g_shared = static_cast<Shared*>(shared);
    g_shared->rows = kCalls;
    for (int call = 0; call < kCalls; ++call) {
        std::strncpy(g_shared->row[call].name, kNames[call], sizeof(g_shared->row[call].name) - 1);
    }
}

}  // namespace

// What runs before main, such as the constructors of global objects, cannot tell anybody what
// fails.
using Main = int(int, char**, char**);
Main* g_main = nullptr;

static int CountedMain(int argc, char** argv, char** environment) {
    g_isInMain = true;
    return g_main(argc, argv, environment);
}

extern "C" int faulty_start(Main* main, int argc, char** argv, Main* init, void (*fini)(),
                            void (*loader)(), void* stack) __asm__("__libc_start_main");
extern "C" int faulty_start(Main* main, int argc, char** argv, Main* init, void (*fini)(),
                            void (*loader)(), void* stack) {
    static int (*next)(Main*, int, char**, Main*, void (*)(), void (*)(), void*) = nullptr;
    g_main = main;
    return Next(next, "__libc_start_main")(CountedMain, argc, argv, init, fini, loader, stack);
}

// Defined under names of our own, since libc's headers declare theirs with attributes and inline
// variants that differ between versions; the linker sees libc's.
#define FAULTY(call, result, symbol, parameters, arguments)        \
    extern "C" result faulty_##symbol parameters __asm__(#symbol); \
    extern "C" result faulty_##symbol parameters {                 \
        static result(*next) parameters = nullptr;                 \
        if (Fails(call)) return -1;                                \
        return Next(next, #symbol) arguments;                      \
    }

// With one more argument that may not be there; passing it on does no harm.
#define FAULTY_OPTIONAL(call, symbol, parameters, arguments, last, type) \
    extern "C" int faulty_##symbol parameters __asm__(#symbol);          \
    extern "C" int faulty_##symbol parameters {                          \
        static int(*next) parameters = nullptr;                          \
        std::va_list list;                                               \
        va_start(list, last);                                            \
        const type optional = va_arg(list, type);                        \
        va_end(list);                                                    \
        if (Fails(call)) return -1;                                      \
        return Next(next, #symbol) arguments;                            \
    }

FAULTY(kBind, int, bind, (int fd, const void* address, socklen_t size), (fd, address, size))
FAULTY(kConnect, int, connect, (int fd, const void* address, socklen_t size), (fd, address, size))
FAULTY(kDup, int, dup, (int fd), (fd))
FAULTY(kDup, int, dup2, (int fd, int to), (fd, to))
FAULTY(kEpollCreate1, int, epoll_create1, (int flags), (flags))

// Watching one thing less takes no memory, so the kernel never refuses it. libsystemd counts on
// that: what happens later would go to an owner that is gone, and it ends the program.
extern "C" int faulty_epoll_ctl(int epoll, int what, int fd,
                                struct epoll_event* event) __asm__("epoll_ctl");
extern "C" int faulty_epoll_ctl(int epoll, int what, int fd, struct epoll_event* event) {
    static int (*next)(int, int, int, struct epoll_event*) = nullptr;
    if (what != EPOLL_CTL_DEL && Fails(kEpollCtl)) return -1;
    return Next(next, "epoll_ctl")(epoll, what, fd, event);
}

FAULTY(kEpollWait, int, epoll_wait, (int epoll, struct epoll_event* events, int size, int time),
       (epoll, events, size, time))
FAULTY(kEventfd, int, eventfd, (unsigned count, int flags), (count, flags))
FAULTY(kFstat, int, fstat, (int fd, void* status), (fd, status))
FAULTY(kFstat, int, fstat64, (int fd, void* status), (fd, status))
FAULTY(kFtruncate, int, ftruncate64, (int fd, std::int64_t size), (fd, size))
FAULTY(kGetrandom, ssize_t, getrandom, (void* bytes, std::size_t size, unsigned flags),
       (bytes, size, flags))
FAULTY(kGetrandom, int, getentropy, (void* bytes, std::size_t size), (bytes, size))
FAULTY(kGetsockname, int, getsockname, (int fd, void* name, socklen_t* size), (fd, name, size))
FAULTY(kGetsockopt, int, getsockopt, (int fd, int level, int name, void* value, socklen_t* size),
       (fd, level, name, value, size))
FAULTY(kInotifyAddWatch, int, inotify_add_watch, (int fd, const char* path, std::uint32_t mask),
       (fd, path, mask))
FAULTY(kInotifyInit1, int, inotify_init1, (int flags), (flags))
FAULTY(kMemfdCreate, int, memfd_create, (const char* name, unsigned flags), (name, flags))
FAULTY(kPipe2, int, pipe2, (int* ends, int flags), (ends, flags))
FAULTY(kPoll, int, poll, (struct pollfd * fds, nfds_t count, int time), (fds, count, time))
FAULTY(kPoll, int, ppoll,
       (struct pollfd * fds, nfds_t count, const struct timespec* time, const void* mask),
       (fds, count, time, mask))
FAULTY(kPrctl, int, prctl, (int what, long a, long b, long c, long d), (what, a, b, c, d))
FAULTY(kPread, ssize_t, pread, (int fd, void* bytes, std::size_t size, off_t at),
       (fd, bytes, size, at))
FAULTY(kPread, ssize_t, pread64, (int fd, void* bytes, std::size_t size, std::int64_t at),
       (fd, bytes, size, at))
FAULTY(kRead, ssize_t, read, (int fd, void* bytes, std::size_t size), (fd, bytes, size))
FAULTY(kReadv, ssize_t, readv, (int fd, const struct iovec* parts, int count), (fd, parts, count))
FAULTY(kRecv, ssize_t, recv, (int fd, void* bytes, std::size_t size, int flags),
       (fd, bytes, size, flags))
FAULTY(kRecvmsg, ssize_t, recvmsg, (int fd, struct msghdr* message, int flags),
       (fd, message, flags))
FAULTY(kSend, ssize_t, send, (int fd, const void* bytes, std::size_t size, int flags),
       (fd, bytes, size, flags))
FAULTY(kSendmsg, ssize_t, sendmsg, (int fd, const struct msghdr* message, int flags),
       (fd, message, flags))
FAULTY(kSignalfd, int, signalfd, (int fd, const void* mask, int flags), (fd, mask, flags))
FAULTY(kSocket, int, socket, (int domain, int type, int protocol), (domain, type, protocol))
FAULTY(kSocketpair, int, socketpair, (int domain, int type, int protocol, int* ends),
       (domain, type, protocol, ends))
FAULTY(kStat, int, stat, (const char* path, void* status), (path, status))
FAULTY(kStat, int, stat64, (const char* path, void* status), (path, status))
FAULTY(kStat, int, fstatat64, (int folder, const char* path, void* status, int flags),
       (folder, path, status, flags))
FAULTY(kTimerfdCreate, int, timerfd_create, (int clock, int flags), (clock, flags))
FAULTY(kTimerfdSettime, int, timerfd_settime,
       (int fd, int flags, const struct itimerspec* time, struct itimerspec* before),
       (fd, flags, time, before))
FAULTY(kWrite, ssize_t, write, (int fd, const void* bytes, std::size_t size), (fd, bytes, size))
FAULTY(kWritev, ssize_t, writev, (int fd, const struct iovec* parts, int count), (fd, parts, count))

FAULTY_OPTIONAL(kFcntl, fcntl, (int fd, int what, ...), (fd, what, optional), what, long)
FAULTY_OPTIONAL(kFcntl, fcntl64, (int fd, int what, ...), (fd, what, optional), what, long)
FAULTY_OPTIONAL(kIoctl, ioctl, (int fd, unsigned long what, ...), (fd, what, optional), what, long)
FAULTY_OPTIONAL(kOpen, open, (const char* path, int flags, ...), (path, flags, optional), flags,
                unsigned)
FAULTY_OPTIONAL(kOpen, open64, (const char* path, int flags, ...), (path, flags, optional), flags,
                unsigned)
FAULTY_OPTIONAL(kOpen, openat64, (int folder, const char* path, int flags, ...),
                (folder, path, flags, optional), flags, unsigned)

// A signal mask's error is what is returned.
extern "C" int faulty_sigmask(int how, const void* mask, void* before) __asm__("pthread_sigmask");
extern "C" int faulty_sigmask(int how, const void* mask, void* before) {
    static int (*next)(int, const void*, void*) = nullptr;
    return Fails(kPthreadSigmask) ? errno : Next(next, "pthread_sigmask")(how, mask, before);
}

// Where the environment says so, a socket keeps the room that it was made with: libsystemd asks for
// more than a test could fill.
extern "C" int faulty_setsockopt(int fd, int level, int name, const void* value,
                                 socklen_t size) __asm__("setsockopt");
extern "C" int faulty_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
    static int (*next)(int, int, int, const void*, socklen_t) = nullptr;
    if (Fails(kSetsockopt)) return -1;
    const bool isRoom = level == SOL_SOCKET && (name == SO_SNDBUF || name == SO_SNDBUFFORCE);
    if (isRoom && std::getenv("APPLIST_SMALL_BUFFERS") != nullptr) return 0;
    return Next(next, "setsockopt")(fd, level, name, value, size);
}

// A failed close has closed all the same.
extern "C" int faulty_close(int fd) __asm__("close");
extern "C" int faulty_close(int fd) {
    static int (*next)(int) = nullptr;
    const bool fails = Fails(kClose);
    const int error = errno;
    const int result = Next(next, "close")(fd);
    if (!fails) return result;
    errno = error;
    return -1;
}

extern "C" void* faulty_mmap(void* at, std::size_t size, int may, int flags, int fd,
                             std::int64_t from) __asm__("mmap64");
extern "C" void* faulty_mmap(void* at, std::size_t size, int may, int flags, int fd,
                             std::int64_t from) {
    static void* (*next)(void*, std::size_t, int, int, int, std::int64_t) = nullptr;
    return Fails(kMmap) ? MAP_FAILED : Next(next, "mmap64")(at, size, may, flags, fd, from);
}

// ---- Memory -------------------------------------------------------------------------------------

#define FAULTY_ALLOCATION(symbol, parameters, arguments)          \
    extern "C" void* faulty_##symbol parameters __asm__(#symbol); \
    extern "C" void* faulty_##symbol parameters {                 \
        static void*(*next)parameters = nullptr;                  \
        if (Fails(kMalloc)) return nullptr;                       \
        return Next(next, #symbol) arguments;                     \
    }

FAULTY_ALLOCATION(malloc, (std::size_t size), (size))
FAULTY_ALLOCATION(calloc, (std::size_t count, std::size_t size), (count, size))
FAULTY_ALLOCATION(realloc, (void* old, std::size_t size), (old, size))
FAULTY_ALLOCATION(reallocarray, (void* old, std::size_t count, std::size_t size),
                  (old, count, size))
FAULTY_ALLOCATION(aligned_alloc, (std::size_t alignment, std::size_t size), (alignment, size))

// Those of the sanitizers do not call malloc.
void* operator new(std::size_t size) {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* operator new[](std::size_t size) {
    return operator new(size);
}
