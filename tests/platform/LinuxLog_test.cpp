#include "platform/LinuxLog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "common/AppListLog.h"
#include "support/JournalStandIn.h"
#include "support/TestFd.h"

using applist::SetMinimumLogPriority;

namespace {

enum class Stderr { File, Journal, PipeWithoutReader };

// What came of one line.
struct Written {
    std::string errors;             // what arrived on stderr
    std::string result;             // what the log returned
    int status;                     // of the process that wrote it
    std::string journal;            // the first entry that the journal got
    std::vector<std::string> more;  // the others
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

std::string ReceiveEntry(int journal) {
    struct pollfd ready = {journal, POLLIN, 0};
    if (poll(&ready, 1, 0) != 1) return "";
    char entry[65536];
    const ssize_t length = recv(journal, entry, sizeof(entry), 0);
    return length < 0 ? "" : std::string(entry, static_cast<std::size_t>(length));
}

// The fields of a journal entry none of whose values holds a line feed.
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

}  // namespace

// Where the lines go is found out once in a program: each is written by a program of its own.
class TheLinuxLog : public ::testing::Test {
protected:
    Written Write(const std::string& message, int priority = applist::logging::kError,
                  const char* kind = "prefixed") {
        const TestFd in = MemfdOf(message, 0);
        const TestFd out = MemfdOf("", 0);
        const TestFd errors =
            m_stderr == Stderr::PipeWithoutReader ? PipeWithoutReader() : MemfdOf("", 0);
        const TestFd journal(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(0, lseek(in.Get(), 0, SEEK_SET));
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);  // whatever happens, it ends
            if (m_stderr == Stderr::Journal && !EnterNamespaceWithJournal(journal.Get()))
                _exit(126);
            for (const auto& entry : m_environment) {
                setenv(entry.first.c_str(), entry.second.c_str(), 1);
            }
            if (m_stderr == Stderr::Journal) {
                setenv("JOURNAL_STREAM", StreamOf(errors.Get()).c_str(), 1);
            }
            dup2(in.Get(), STDIN_FILENO);
            dup2(out.Get(), STDOUT_FILENO);
            dup2(errors.Get(), STDERR_FILENO);
            execl(LOG_WRITER, LOG_WRITER, std::to_string(m_minimum).c_str(),
                  std::to_string(priority).c_str(), kind, std::to_string(m_times).c_str(),
                  std::to_string(m_turns).c_str(), nullptr);
            _exit(127);
        }
        Written written = {"", "", 0, "", {}};
        EXPECT_EQ(child, waitpid(child, &written.status, 0));
        if (m_stderr != Stderr::PipeWithoutReader) written.errors = ContentOf(errors.Get());
        written.result = ContentOf(out.Get());
        written.journal = ReceiveEntry(journal.Get());
        for (std::string entry; !(entry = ReceiveEntry(journal.Get())).empty();) {
            written.more.push_back(entry);
        }
        return written;
    }

    // The message of a line on stderr: what follows the common prefix.
    static std::string MessageOf(const std::string& line) {
        const std::size_t prefix = line.find("] ");
        if (prefix == std::string::npos || line.empty() || line.back() != '\n') return "?" + line;
        return line.substr(prefix + 2, line.size() - prefix - 3);
    }

    Stderr m_stderr = Stderr::File;
    int m_minimum = 0;  // as it is without a call
    int m_times = 1;    // that the line is written
    int m_turns = 1;    // how many lines take turns
    std::map<std::string, std::string> m_environment;
};

TEST_F(TheLinuxLog, WritesALineToStderrWithItsTagItsPriorityAndItsPlace) {
    const Written written = Write("hello");

    const std::string start = "applist[error]: LogWriter.cpp: main(";
    EXPECT_EQ(start, written.errors.substr(0, start.size()));
    EXPECT_EQ("hello", MessageOf(written.errors));
    EXPECT_EQ(std::to_string(written.errors.size()), written.result);
}

TEST_F(TheLinuxLog, NamesEachPriority) {
    m_minimum = applist::logging::kDebug;

    EXPECT_EQ("another[debug]: x\n", Write("x", applist::logging::kDebug, "plain").errors);
    EXPECT_EQ("another[info]: x\n", Write("x", applist::logging::kInfo, "plain").errors);
    EXPECT_EQ("another[error]: x\n", Write("x", applist::logging::kError, "plain").errors);
}

TEST_F(TheLinuxLog, LeavesDebugLinesOutUntilTheyAreAskedFor) {
    const Written written = Write("x", applist::logging::kDebug);

    EXPECT_EQ("", written.errors);
    EXPECT_EQ("0", written.result);
    EXPECT_NE("", Write("x", applist::logging::kInfo).errors);
}

TEST_F(TheLinuxLog, LeavesOutWhatIsBelowTheMinimum) {
    m_minimum = applist::logging::kError;

    EXPECT_EQ("", Write("x", applist::logging::kInfo).errors);
    EXPECT_NE("", Write("x", applist::logging::kError).errors);
}

TEST_F(TheLinuxLog, ShowsControlBytesInsteadOfSendingThemToATerminal) {
    EXPECT_EQ("\\x1b[2J\\x07a\\x0ab\\x9b \xc3\xbc",
              MessageOf(Write("\x1b[2J\aa\nb\x9b \xc3\xbc").errors));
}

TEST_F(TheLinuxLog, ShowsMarksThatTurnTheDirectionOfText) {
    EXPECT_EQ("a\\xe2\\x80\\xae!", MessageOf(Write("a\u202E!").errors));
}

TEST_F(TheLinuxLog, WritesALineThatJustFits) {
    const std::string message(4094, 'x');

    EXPECT_EQ("another[error]: " + message + "\n", Write(message, 6, "plain").errors);
}

TEST_F(TheLinuxLog, CutsALineThatIsLongerAndSaysSo) {
    EXPECT_EQ("another[error]: " + std::string(4095, 'x') + "...\n",
              Write(std::string(4096, 'x'), 6, "plain").errors);
    EXPECT_EQ("another[error]: " + std::string(4095, 'x') + "...\n",
              Write(std::string(1 << 20, 'x'), 6, "plain").errors);
}

TEST_F(TheLinuxLog, WritesAnEmptyLine) {
    EXPECT_EQ("another[error]: \n", Write("", 6, "plain").errors);
}

// The application goes on when whoever read its stderr has left.
TEST_F(TheLinuxLog, LosesALineThatNobodyReadsAndNothingElse) {
    m_stderr = Stderr::PipeWithoutReader;

    const Written written = Write("hello");

    EXPECT_EQ(0, written.status) << "the writer was ended by signal " << WTERMSIG(written.status);
    EXPECT_EQ("-" + std::to_string(EPIPE), written.result);
}

// ---- The journal --------------------------------------------------------------------------------

TEST_F(TheLinuxLog, WritesToTheJournalWithItsFieldsWhenStderrIsTheJournal) {
    m_stderr = Stderr::Journal;

    const Written written = Write("hello");

    auto fields = FieldsOf(written.journal);
    EXPECT_EQ("hello", MessageOf(fields["MESSAGE"] + "\n"));
    EXPECT_EQ("3", fields["PRIORITY"]);
    EXPECT_EQ("applist", fields["SYSLOG_IDENTIFIER"]);
    EXPECT_EQ("LogWriter.cpp", fields["CODE_FILE"]);
    EXPECT_EQ("main", fields["CODE_FUNC"]);
    EXPECT_LT(0, std::atoi(fields["CODE_LINE"].c_str()));
    EXPECT_EQ("", written.errors) << "it must not be there twice";
    EXPECT_EQ(std::to_string(fields["MESSAGE"].size()), written.result);
}

TEST_F(TheLinuxLog, TellsTheJournalThePriorityInItsOwnNumbers) {
    m_stderr = Stderr::Journal;
    m_minimum = applist::logging::kDebug;

    EXPECT_EQ("7", FieldsOf(Write("x", applist::logging::kDebug).journal)["PRIORITY"]);
    EXPECT_EQ("6", FieldsOf(Write("x", applist::logging::kInfo).journal)["PRIORITY"]);
    EXPECT_EQ("3", FieldsOf(Write("x", applist::logging::kError).journal)["PRIORITY"]);
}

TEST_F(TheLinuxLog, ShowsControlBytesInTheJournalToo) {
    m_stderr = Stderr::Journal;

    auto fields = FieldsOf(Write("a\nPRIORITY=0\x1b").journal);

    EXPECT_EQ("a\\x0aPRIORITY=0\\x1b", MessageOf(fields["MESSAGE"] + "\n"));
    EXPECT_EQ("3", fields["PRIORITY"]) << "a name forged a field";
}

TEST_F(TheLinuxLog, TakesALineWithoutAPlaceToTheJournalAsWell) {
    m_stderr = Stderr::Journal;

    auto fields = FieldsOf(Write("hello", 6, "plain").journal);

    EXPECT_EQ("hello", fields["MESSAGE"]);
    EXPECT_EQ("another", fields["SYSLOG_IDENTIFIER"]);
}

// A journal takes some hundred lines that it has not read.
TEST_F(TheLinuxLog, DoesNotWaitForAJournalThatDoesNotRead) {
    m_stderr = Stderr::Journal;
    m_times = m_turns = 10000;

    const Written written = Write("hello");

    EXPECT_EQ(0, written.status) << "the writer was ended by signal " << WTERMSIG(written.status);
    EXPECT_EQ("-" + std::to_string(EAGAIN), written.result);
    EXPECT_EQ("hello0", MessageOf(FieldsOf(written.journal)["MESSAGE"] + "\n"));
}

TEST_F(TheLinuxLog, SendsNothingBelowTheMinimumToTheJournal) {
    m_stderr = Stderr::Journal;

    EXPECT_EQ("", Write("x", applist::logging::kDebug).journal);
}

// The variable is inherited by programs whose stderr has long been sent elsewhere.
TEST_F(TheLinuxLog, WritesToStderrWhenTheJournalIsOnlyInTheEnvironment) {
    m_environment["JOURNAL_STREAM"] = "8:12345";

    EXPECT_EQ("hello", MessageOf(Write("hello").errors));
}

TEST_F(TheLinuxLog, WritesToStderrWhenTheVariableIsNonsense) {
    m_environment["JOURNAL_STREAM"] = "nonsense";

    EXPECT_EQ("hello", MessageOf(Write("hello").errors));
}

// ---- Repeats ------------------------------------------------------------------------------------

namespace {

// How many lines stand for `message` in `text`: itself, or the number of its repeats.
std::size_t Told(const std::string& text, const std::string& message) {
    static const std::regex repeats("(\\d+) times? more(, the last \\d+ s ago)?: ");
    std::istringstream lines(text);
    std::size_t told = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.size() < message.size() ||
            line.compare(line.size() - message.size(), message.size(), message) != 0) {
            continue;
        }
        std::smatch found;
        told += std::regex_search(line, found, repeats) ? std::stoul(found[1]) : 1;
    }
    return told;
}

}  // namespace

TEST_F(TheLinuxLog, WritesOneOfManyEqualLinesAndTheNumberOfTheOthers) {
    m_times = 10000;

    const Written written = Write("hello");

    EXPECT_EQ("hello", MessageOf(written.errors.substr(0, written.errors.find('\n') + 1)));
    EXPECT_EQ(10000u, Told(written.errors, "hello"));
    EXPECT_GT(10000u, written.errors.size()) << "nothing was folded";
    EXPECT_NE("-", written.result.substr(0, 1));
}

TEST_F(TheLinuxLog, FoldsLinesThatTakeTurns) {
    m_times = 10000;
    m_turns = 4;

    const Written written = Write("hello", 6, "plain");

    for (const char* message : {"hello0", "hello1", "hello2", "hello3"}) {
        EXPECT_EQ(2500u, Told(written.errors, message)) << written.errors;
    }
    EXPECT_GT(10000u, written.errors.size()) << "nothing was folded";
}

TEST_F(TheLinuxLog, ReturnsForALineThatIsFoldedWhatItReturnedForTheFirst) {
    const Written once = Write("hello");
    m_times = 2;

    EXPECT_EQ(once.result, Write("hello").result);
}

TEST_F(TheLinuxLog, TellsTheJournalTheNumberWithTheFieldsOfTheLine) {
    m_stderr = Stderr::Journal;
    m_times = 2;

    const Written written = Write("hello", applist::logging::kInfo);

    ASSERT_EQ(1u, written.more.size());
    auto first = FieldsOf(written.journal);
    auto second = FieldsOf(written.more[0]);
    EXPECT_EQ("1 time more: " + first["MESSAGE"], second["MESSAGE"]);
    first.erase("MESSAGE");
    second.erase("MESSAGE");
    EXPECT_EQ(first, second);
}

TEST_F(TheLinuxLog, LosesNoCountOfLinesThatNobodyReads) {
    m_stderr = Stderr::PipeWithoutReader;
    m_times = 3;

    const Written written = Write("hello");

    EXPECT_EQ(0, written.status) << "the writer was ended by signal " << WTERMSIG(written.status);
    EXPECT_EQ("-" + std::to_string(EPIPE), written.result) << "a line that was lost is remembered";
}

// ---- What is not written costs nothing ----------------------------------------------------------

// The argument points nowhere: whoever formats it crashes.
TEST(ALogLineBelowTheMinimum, IsNotFormatted) {
    const char* const nowhere = reinterpret_cast<const char*>(1);

    EXPECT_EQ(0, PlatformLogPrint(0, applist::logging::kDebug, "applist", "%s\n", nowhere));
}

TEST(ALogLineBelowTheMinimum, IsFormattedOnceTheMinimumIsLower) {
    const char* const nowhere = reinterpret_cast<const char*>(1);
    SetMinimumLogPriority(applist::logging::kDebug);

    EXPECT_DEATH(PlatformLogPrint(0, applist::logging::kDebug, "applist", "%s\n", nowhere), "");
    SetMinimumLogPriority(applist::logging::kInfo);
}
