// A log line must never bring its writer down: nothing is thrown from here, and a line that cannot
// be written is lost.

#include "platform/LinuxLog.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

// The fields say where the caller is, not where this file is.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/AppListLog.h"
#include "common/PrintableText.h"
#include "platform/PlatformLog.h"

namespace applist {
namespace {

// Longest line, in bytes. Names come from a partner and may be megabytes; a log line need not.
constexpr std::size_t kMaxLine = 4096;

int minimumPriority = logging::kInfo;

struct Place {
    const char* file;
    const char* function;
    int line;
};

const char* NameOf(int priority) {
    if (priority >= logging::kError) return "error";
    return priority >= logging::kInfo ? "info" : "debug";
}

int SyslogPriorityOf(int priority) {
    if (priority >= logging::kError) return LOG_ERR;
    return priority >= logging::kInfo ? LOG_INFO : LOG_DEBUG;
}

// $JOURNAL_STREAM names the stream that the service manager connected to stderr; it is inherited
// by programs whose stderr has long been sent elsewhere, so the stream is compared.
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

int WriteToJournal(int priority, const char* tag, const Place& place, const std::string& line) {
    const std::string fields[] = {
        "MESSAGE=" + line,
        "PRIORITY=" + std::to_string(SyslogPriorityOf(priority)),
        "SYSLOG_IDENTIFIER=" + std::string(tag),
        "CODE_FILE=" + std::string(place.file),
        "CODE_LINE=" + std::to_string(place.line),
        "CODE_FUNC=" + std::string(place.function),
    };
    std::vector<struct iovec> parts;
    for (const std::string& field : fields) {
        parts.push_back({const_cast<char*>(field.data()), field.size()});
    }
    const int sent = sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));
    return sent < 0 ? sent : static_cast<int>(line.size());
}

// When the reader of stderr has left, the kernel sends the writer a SIGPIPE, which ends a program
// that did not think of it. That one is taken back; whatever else the program does about SIGPIPE
// stays as it is.
int WriteWithoutSigpipe(const std::string& text) {
    const struct timespec now = {0, 0};
    sigset_t sigpipe;
    sigset_t before;
    sigset_t pending;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &sigpipe, &before);
    sigpending(&pending);
    const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    const int result = written < 0 ? -errno : static_cast<int>(written);
    if (result == -EPIPE && sigismember(&pending, SIGPIPE) == 0) {
        sigtimedwait(&sigpipe, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return result;
}

// One write, so that lines of several programs on one terminal do not mix.
int WriteToStderr(int priority, const char* tag, const std::string& line) {
    return WriteWithoutSigpipe(std::string(tag) + "[" + NameOf(priority) + "]: " + line + "\n");
}

// The common prefix of a line carries where it comes from. A line without it comes from here.
Place PlaceOf(const char* format, va_list arguments) {
    Place place = {"unknown", "unknown", 0};
    if (std::strncmp(format, APPLIST_LOG_PREFIX, sizeof(APPLIST_LOG_PREFIX) - 1) != 0) return place;
    place.file = va_arg(arguments, const char*);
    place.function = va_arg(arguments, const char*);
    place.line = va_arg(arguments, int);
    return place;
}

int Print(int priority, const char* tag, const char* format, va_list arguments) {
    static const bool toJournal = StderrIsTheJournal();
    va_list again;
    va_copy(again, arguments);
    int result;
    try {
        const Place place = PlaceOf(format, again);
        const std::string line = FormatLine(format, arguments);
        result = toJournal ? WriteToJournal(priority, tag, place, line)
                           : WriteToStderr(priority, tag, line);
    } catch (...) {
        result = -ENOMEM;
    }
    va_end(again);
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
