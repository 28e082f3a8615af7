// SPDX-License-Identifier: MIT

#include "ChildProcess.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>

namespace bench {

namespace {

constexpr int kReadyTimeoutMs = 30000;  // a list of a million items on a busy machine

[[noreturn]] void RunChild(const std::function<void(int)>& body, int readyFd, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);  // it ended before the line above
    try {
        body(readyFd);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    _exit(1);  // the parent's objects are the parent's to destroy
}

// A child that ends closes its end, which reads as nothing.
bool IsReady(int fd) {
    struct pollfd readable = {fd, POLLIN, 0};
    char byte;
    return poll(&readable, 1, kReadyTimeoutMs) == 1 && read(fd, &byte, 1) == 1;
}

// Nothing that a child holds outlives it, so it need not be asked.
void End(pid_t pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

}  // namespace

ChildProcess::ChildProcess(const std::function<void(int readyFd)>& body) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid == 0) RunChild(body, ends[1], parent);
    close(ends[1]);
    const bool ready = m_pid > 0 && IsReady(ends[0]);
    close(ends[0]);
    if (ready) return;
    if (m_pid > 0) End(m_pid);
    throw std::runtime_error("a process that the benchmark needs did not come up");
}

ChildProcess::~ChildProcess() {
    End(m_pid);
}

double ChildProcess::UsedCpu() const {
    clockid_t clock;
    struct timespec used;
    if (clock_getcpuclockid(m_pid, &clock) != 0 || clock_gettime(clock, &used) != 0) {
        throw std::runtime_error("a process that the benchmark needs has ended");
    }
    return 1e6 * static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e3;
}

}  // namespace bench
