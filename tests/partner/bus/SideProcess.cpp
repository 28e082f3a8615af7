// SPDX-License-Identifier: MIT

#include "partner/bus/SideProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "support/TestLoop.h"

namespace {

std::runtime_error Failure(const std::string& what) {
    return std::runtime_error(what + ": " + std::strerror(errno));
}

bool Become(uid_t user) {
    return setgroups(0, nullptr) == 0 && setgid(user) == 0 && setuid(user) == 0;
}

}  // namespace

SideProcess::SideProcess(const std::string& which, const std::string& address,
                         std::optional<uid_t> user) {
    Start(which, address, user);
    const std::string first = Hear();
    if (first != "ready") throw std::runtime_error(which + " says: " + first);
}

void SideProcess::Start(const std::string& which, const std::string& address,
                        std::optional<uid_t> user) {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw Failure("pipe");
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid == 0) {
        // Opened before, as the other user may not reach the folder that it is in; and it stays
        // open, as a script that starts an emulator is read once it runs.
        const int program = open(PARTNER_TEST_SIDE, O_RDONLY);
        if (user && !Become(*user)) _exit(127);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(127);
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        const char* const words[] = {"side", which.c_str(), address.c_str(), nullptr};
        fexecve(program, const_cast<char* const*>(words), environ);
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    m_toIt = in[1];
    m_fromIt = out[0];
    if (m_pid < 0) throw Failure("fork");
}

void SideProcess::Tell(const std::string& line) {
    const std::string text = line + "\n";
    if (write(m_toIt, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw Failure("telling it " + line);
    }
}

std::string SideProcess::Hear() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + kTestDeadline;
    while (m_heard.find('\n') == std::string::npos) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        struct pollfd readable = {m_fromIt, POLLIN, 0};
        if (left.count() <= 0) throw std::runtime_error("the other process says nothing");
        if (poll(&readable, 1, static_cast<int>(left.count())) <= 0) continue;
        char bytes[4096];
        const ssize_t size = read(m_fromIt, bytes, sizeof(bytes));
        if (size <= 0) throw std::runtime_error("the other process has ended");
        m_heard.append(bytes, static_cast<std::size_t>(size));
    }
    const std::size_t end = m_heard.find('\n');
    const std::string line = m_heard.substr(0, end);
    m_heard.erase(0, end + 1);
    return line;
}

std::string SideProcess::Ask(const std::string& line) {
    Tell(line);
    return Hear();
}

// Returns when it stands.
void SideProcess::Stop() const {
    int status = 0;
    if (kill(m_pid, SIGSTOP) != 0 || waitpid(m_pid, &status, WUNTRACED) != m_pid ||
        !WIFSTOPPED(status)) {
        throw Failure("stopping it");
    }
}

void SideProcess::Continue() const {
    if (kill(m_pid, SIGCONT) != 0) throw Failure("SIGCONT");
}

void SideProcess::Kill() {
    if (m_pid < 0) return;
    kill(m_pid, SIGKILL);
    while (waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) continue;
    Close();
}

int SideProcess::End() {
    close(std::exchange(m_toIt, -1));
    int status = 0;
    while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) continue;
    Close();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void SideProcess::Close() {
    m_pid = -1;
    for (int* fd : {&m_toIt, &m_fromIt}) {
        if (*fd >= 0) close(std::exchange(*fd, -1));
    }
}
