// A log line must never bring its writer down, nor stop it: nothing is thrown from here, nothing
// waits for a reader, and a line that cannot be written is lost and counted.

#include "platform/LinuxLog.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "common/AppListLog.h"
#include "common/PrintableText.h"
#include "platform/FoldedLines.h"
#include "platform/PlatformLog.h"
#include "platform/WithoutWaiting.h"

namespace applist {
namespace {

// Longest line, in bytes. Names come from a partner and may be megabytes; a log line need not.
constexpr std::size_t kMaxLine = 4096;

int minimumPriority = logging::kInfo;

// Lines that could not be written since one could.
std::size_t lostLines = 0;

// The rest of a line of which stderr took only the beginning; it is written before anything else.
// Never destroyed, as whatever is destroyed later may still log.
std::string& Unfinished() {
    static std::string& end = *new std::string;
    return end;
}

// Never destroyed either.
FoldedLines& Folded() {
    static FoldedLines& lines = *new FoldedLines;
    return lines;
}

// From here on nothing is counted, because nobody would tell the count.
bool isLeaving = false;

FoldedLines::Time Now() {
    return std::chrono::duration_cast<FoldedLines::Time>(
        std::chrono::steady_clock::now().time_since_epoch());
}

const char* NameOf(int priority) {
    if (priority >= logging::kError) return "error";
    return priority >= logging::kInfo ? "info" : "debug";
}

int SyslogPriorityOf(int priority) {
    if (priority >= logging::kError) return LOG_ERR;
    return priority >= logging::kInfo ? LOG_INFO : LOG_DEBUG;
}

// $JOURNAL_STREAM names the stream that the service manager connected to stderr. Programs inherit
// it even when their stderr was redirected since, so it is compared with the stderr that we have.
bool StderrIsTheJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status;
    if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) return false;
    return std::string(stream) ==
           std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

std::string FormatLine(const char* format, va_list arguments) {
    std::vector<char> line(kMaxLine);
    const int length = vsnprintf(line.data(), line.size(), format, arguments);
    if (length < 0) return std::string();
    std::string text(line.data(), std::min(static_cast<std::size_t>(length), kMaxLine - 1));
    if (static_cast<std::size_t>(length) >= kMaxLine) text += "...";
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return PrintableText(text);
}

// In the journal's native protocol, by hand: the library's functions wait while the journal does
// not read. No value may hold a line feed, which would end it and let a partner's name add fields;
// PrintableText has escaped them.
int WriteToJournal(const LogLine& line, const std::string& text) {
    static int journal = -1;
    if (journal < 0) journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const struct sockaddr_un address = {AF_UNIX, "/run/systemd/journal/socket"};
    const std::string fields =
        "MESSAGE=" + text + "\nPRIORITY=" + std::to_string(SyslogPriorityOf(line.priority)) +
        "\nSYSLOG_IDENTIFIER=" + PrintableText(line.tag) + "\nCODE_FILE=" + line.file +
        "\nCODE_LINE=" + std::to_string(line.number) + "\nCODE_FUNC=" + line.function + "\n";
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
    std::string whole = line.tag + "[" + NameOf(line.priority) + "]: " + text + "\n";
    const std::size_t length = whole.size();
    const ssize_t written = WriteWithoutSigpipe(whole);
    if (written < 0) return static_cast<int>(written);
    whole.erase(0, static_cast<std::size_t>(written));
    Unfinished().swap(whole);
    return static_cast<int>(length);
}

// Writes `text` with everything else that belongs to `line`.
int WriteLine(const LogLine& line, const std::string& text) {
    static const bool toJournal = StderrIsTheJournal();
    return toJournal ? WriteToJournal(line, text) : WriteToStderr(line, text);
}

// Before the first line that can be written again, where the lost ones would have been.
int TellLosses() {
    if (lostLines == 0) return 0;
    const std::string text =
        lostLines == 1 ? "1 line was lost: it could not be written"
                       : std::to_string(lostLines) + " lines were lost: they could not be written";
    const int result =
        WriteLine({logging::kError, "applist", text, "LinuxLog.cpp", __func__, __LINE__}, text);
    if (result >= 0) lostLines = 0;
    return result;
}

int TellCount(FoldedLines::Repeated& repeated, FoldedLines::Time now) {
    const int result = WriteLine(repeated.line, TextOf(repeated, now));
    if (result >= 0) FoldedLines::Told(repeated, now);
    return result;
}

int TellDueCounts(FoldedLines::Time now) {
    int result = 0;
    while (FoldedLines::Repeated* due = Folded().Due(now)) {
        result = TellCount(*due, now);
        if (result < 0) break;
    }
    return result;
}

int MakeRoom(FoldedLines::Time now) {
    FoldedLines::Repeated* const inTheWay = Folded().InTheWay();
    return inTheWay == nullptr ? 0 : TellCount(*inTheWay, now);
}

// At the end of the program.
void TellEveryCount() {
    isLeaving = true;
    try {
        while (FoldedLines::Repeated* counted = Folded().AnyCounted()) {
            if (TellCount(*counted, Now()) < 0) return;
        }
    } catch (...) {  // no memory; there is nothing left to do about it
    }
}

// Lines of our own begin with a common prefix whose arguments say where they come from. A line
// without it was written by somebody else, and nothing is known of its arguments.
void SetPlace(LogLine& line, const char* format, va_list arguments) {
    line.file = line.function = "unknown";
    if (std::strncmp(format, APPLIST_LOG_PREFIX, sizeof(APPLIST_LOG_PREFIX) - 1) != 0) return;
    line.file = va_arg(arguments, const char*);
    line.function = va_arg(arguments, const char*);
    line.number = va_arg(arguments, int);
}

int WriteNew(LogLine line, FoldedLines::Time now) {
    const int room = MakeRoom(now);
    if (room < 0) return room;
    const int result = WriteLine(line, line.text);
    if (result >= 0 && !isLeaving) Folded().Written(std::move(line), result, now);
    return result;
}

int WriteOrCount(LogLine line) {
    static const int registered = std::atexit(TellEveryCount);
    if (registered != 0) isLeaving = true;  // then nothing is counted that would not be told
    const FoldedLines::Time now = Now();
    const FoldedLines::Repeated* const same = isLeaving ? nullptr : Folded().Count(line, now);
    int result = TellLosses();
    if (result >= 0) result = TellDueCounts(now);
    // A count that could not be told is told later.
    if (same != nullptr) return same->result;
    return result < 0 ? result : WriteNew(std::move(line), now);
}

int Print(int priority, const char* tag, const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    int result;
    try {
        LogLine line;
        line.priority = priority;
        line.tag = tag;
        SetPlace(line, format, again);
        line.text = FormatLine(format, arguments);
        result = WriteOrCount(std::move(line));
    } catch (...) {
        result = -ENOMEM;
    }
    va_end(again);
    if (result < 0) ++lostLines;
    return result;
}

}  // namespace

void SetMinimumLogPriority(int priority) {
    minimumPriority = priority;
}

}  // namespace applist

int PlatformLogPrint(int, int priority, const char* tag, const char* format, ...) {
    if (priority < applist::minimumPriority) return 0;
    va_list arguments;
    va_start(arguments, format);
    const int result = applist::Print(priority, tag, format, arguments);
    va_end(arguments);
    return result;
}
