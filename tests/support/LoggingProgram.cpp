// SPDX-License-Identifier: MIT

#include "support/LoggingProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "support/JournalStandIn.h"
#include "support/TestFd.h"

namespace {

// What the program gets; the journal's end stays with the test.
struct Streams {
    TestFd in;
    TestFd out;
    TestFd errors;
    TestFd journal;
};

std::string StreamOf(int fd) {
    struct stat status;
    if (fstat(fd, &status) != 0) return "";
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

TestFd PipeWithoutReader() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
    close(ends[0]);
    return TestFd(ends[1]);
}

TestFd DatagramSocket() {
    return TestFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

std::string ReceiveEntry(int journal) {
    struct pollfd ready = {journal, POLLIN, 0};
    if (poll(&ready, 1, 0) != 1) return "";
    char entry[65536];
    const ssize_t length = recv(journal, entry, sizeof(entry), 0);
    return length < 0 ? "" : std::string(entry, static_cast<std::size_t>(length));
}

bool HasJournal(Stderr kind) {
    return kind == Stderr::Journal || kind == Stderr::JournalThatHasEnded;
}

void SetEnvironment(const std::map<std::string, std::string>& environment) {
    for (const char* name : {"APPLIST_LOG", "JOURNAL_STREAM"}) unsetenv(name);
    for (const auto& entry : environment) setenv(entry.first.c_str(), entry.second.c_str(), 1);
}

void SetStreams(const Streams& streams) {
    dup2(streams.in.Get(), STDIN_FILENO);
    dup2(streams.out.Get(), STDOUT_FILENO);
    dup2(streams.errors.Get(), STDERR_FILENO);
}

[[noreturn]] void Execute(const std::vector<std::string>& command) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    execv(words[0], words.data());
    _exit(127);
}

// In the child.
[[noreturn]] void Run(const std::vector<std::string>& command, Stderr kind, const Streams& streams,
                      const std::map<std::string, std::string>& environment) {
    alarm(60);  // whatever happens, it ends
    const TestFd ended = DatagramSocket();
    const TestFd& journal = kind == Stderr::Journal ? streams.journal : ended;
    if (HasJournal(kind) && !EnterNamespaceWithJournal(journal.Get())) _exit(126);
    SetEnvironment(environment);
    if (HasJournal(kind)) setenv("JOURNAL_STREAM", StreamOf(streams.errors.Get()).c_str(), 1);
    SetStreams(streams);
    Execute(command);
}

}  // namespace

Written RunLogging(const std::vector<std::string>& command, Stderr kind, const std::string& input,
                   const std::map<std::string, std::string>& environment) {
    const bool isRead = kind != Stderr::PipeWithoutReader;
    const Streams streams = {MemfdOf(input, 0), MemfdOf("", 0),
                             isRead ? MemfdOf("", 0) : PipeWithoutReader(), DatagramSocket()};
    EXPECT_EQ(0, lseek(streams.in.Get(), 0, SEEK_SET));
    const pid_t child = fork();
    if (child == 0) Run(command, kind, streams, environment);
    Written written = {"", "", 0, "", {}};
    EXPECT_EQ(child, waitpid(child, &written.status, 0));
    if (isRead) written.errors = ContentOf(streams.errors.Get());
    written.result = ContentOf(streams.out.Get());
    written.journal = ReceiveEntry(streams.journal.Get());
    for (std::string entry; !(entry = ReceiveEntry(streams.journal.Get())).empty();) {
        written.more.push_back(entry);
    }
    return written;
}

std::map<std::string, std::string> FieldsOf(const std::string& entry) {
    std::map<std::string, std::string> fields;
    for (std::size_t at = 0; at < entry.size();) {
        const std::size_t end = std::min(entry.find('\n', at), entry.size());
        const std::string line = entry.substr(at, end - at);
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos) fields[line.substr(0, equals)] = line.substr(equals + 1);
        at = end + 1;
    }
    return fields;
}
