// SPDX-License-Identifier: MIT

#include "platform/LogSinks.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/AppListLog.h"
#include "common/Joined.h"
#include "common/PrintableText.h"
#include "platform/WithoutWaiting.h"

namespace applist {
namespace {

// The rest of a line of which stderr took only the beginning; it is written before anything else.
// Never destroyed, as whatever is destroyed later may still log.
std::string& Unfinished() {
    static std::string& end = *new std::string;
    return end;
}

unsigned SyslogPriorityOf(int priority) {
    if (priority >= logging::kError) return LOG_ERR;
    return priority >= logging::kInfo ? LOG_INFO : LOG_DEBUG;
}

// $JOURNAL_STREAM names the stream that the service manager connected to stderr. Programs inherit
// it even when their stderr was redirected since, so it is compared with the stderr that we have.
bool StderrIsTheJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status;
    if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) return false;
    char ours[64];  // memory may be short when the first line is to be written
    std::snprintf(ours, sizeof(ours), "%ju:%ju", std::uintmax_t{status.st_dev},
                  std::uintmax_t{status.st_ino});
    return std::strcmp(stream, ours) == 0;
}

// In the journal's native protocol, by hand: the library's functions wait while the journal does
// not read. No value may hold a line feed, which would end it and let a partner's name add fields;
// PrintableText has escaped them.
int WriteToJournal(const LogLine& line, const std::string& text) {
    static int journal = -1;
    if (journal < 0) journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const struct sockaddr_un address = {AF_UNIX, "/run/systemd/journal/socket"};
    const std::string fields =
        Joined({"MESSAGE=", text, "\nPRIORITY=", Decimal(SyslogPriorityOf(line.priority)),
                "\nSYSLOG_IDENTIFIER=", PrintableText(program_invocation_short_name),
                "\nTAG=", PrintableText(line.tag), "\nCODE_FILE=", line.file, "\nCODE_LINE=",
                Decimal(static_cast<unsigned>(line.number)), "\nCODE_FUNC=", line.function, "\n"});
    const ssize_t sent =
        sendto(journal, fields.data(), fields.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
               reinterpret_cast<const struct sockaddr*>(&address), sizeof(address));
    return sent < 0 ? -errno : static_cast<int>(text.size());
}

// When the reader of stderr has left, the kernel sends the writer a SIGPIPE, which ends a program
// that is not prepared for it. That one signal is taken back here; how the program treats SIGPIPE
// otherwise stays as it is.
ssize_t WriteWithoutSigpipe(const std::string& text) {
    const struct timespec now = {0, 0};
    sigset_t sigpipe;
    sigset_t before;
    sigset_t pending;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &sigpipe, &before);
    sigpending(&pending);
    const ssize_t result = WriteWithoutWaiting(STDERR_FILENO, text);
    if (result == -EPIPE && sigismember(&pending, SIGPIPE) == 0) {
        sigtimedwait(&sigpipe, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return result;
}

int FinishLine() {
    std::string& unfinished = Unfinished();
    if (unfinished.empty()) return 0;
    const ssize_t written = WriteWithoutSigpipe(unfinished);
    if (written < 0) return static_cast<int>(written);
    unfinished.erase(0, static_cast<std::size_t>(written));
    return unfinished.empty() ? 0 : -EAGAIN;
}

// One write, so that lines of several programs on one terminal do not mix.
int WriteToStderr(const LogLine& line, const std::string& text) {
    const int finished = FinishLine();
    if (finished < 0) return finished;
    std::string whole = Joined({line.tag, "[", LogPriorityName(line.priority), "]: ", text, "\n"});
    const std::size_t length = whole.size();
    const ssize_t written = WriteWithoutSigpipe(whole);
    if (written < 0) return static_cast<int>(written);
    whole.erase(0, static_cast<std::size_t>(written));
    Unfinished().swap(whole);
    return static_cast<int>(length);
}

}  // namespace

const char* LogPriorityName(int priority) {
    if (priority >= logging::kError) return "error";
    return priority >= logging::kInfo ? "info" : "debug";
}

bool LogGoesToTheJournal() {
    static const bool does = StderrIsTheJournal();
    return does;
}

int WriteLogLine(const LogLine& line, const std::string& text) {
    return LogGoesToTheJournal() ? WriteToJournal(line, text) : WriteToStderr(line, text);
}

}  // namespace applist
