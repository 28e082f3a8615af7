// SPDX-License-Identifier: MIT

#include "platform/LinuxLog.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "common/AppListLog.h"
#include "support/LoggingProgram.h"

using applist::SetMinimumLogPriority;

// Where the lines go is found out once in a program: each is written by a program of its own.
class TheLinuxLog : public ::testing::Test {
protected:
    Written Write(const std::string& message, int priority = applist::logging::kError,
                  const char* kind = "prefixed") {
        return RunLogging({LOG_WRITER, std::to_string(m_minimum), std::to_string(priority), kind,
                           std::to_string(m_times), std::to_string(m_turns)},
                          m_stderr, message, m_environment);
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

TEST_F(TheLinuxLog, WritesErrorsOnlyWhereNoJournalReads) {
    const Written written = Write("x", applist::logging::kInfo);

    EXPECT_EQ("", written.errors);
    EXPECT_EQ("0", written.result);
    EXPECT_NE("", Write("x", applist::logging::kError).errors);
}

TEST_F(TheLinuxLog, WritesWhatTheEnvironmentAsksFor) {
    m_environment["APPLIST_LOG"] = "debug";
    EXPECT_EQ("x", MessageOf(Write("x", applist::logging::kDebug).errors));

    m_environment["APPLIST_LOG"] = "info";
    EXPECT_EQ("x", MessageOf(Write("x", applist::logging::kInfo).errors));
    EXPECT_EQ("", Write("x", applist::logging::kDebug).errors);

    m_environment["APPLIST_LOG"] = "error";
    EXPECT_EQ("", Write("x", applist::logging::kInfo).errors);
}

TEST_F(TheLinuxLog, WritesWhatTheProgramAsksForWhateverTheEnvironmentSays) {
    m_environment["APPLIST_LOG"] = "debug";
    m_minimum = applist::logging::kError;

    EXPECT_EQ("", Write("x", applist::logging::kInfo).errors);
}

TEST_F(TheLinuxLog, SaysOnceThatTheEnvironmentAsksForNoPriorityThatThereIs) {
    for (const char* wrong : {"loud", "DEBUG", "7", "debug "}) {
        m_environment["APPLIST_LOG"] = wrong;

        const std::string errors = Write("x", applist::logging::kInfo).errors;

        EXPECT_EQ("APPLIST_LOG is \"" + std::string(wrong) +
                      "\", but must be debug, info or error; error is used",
                  MessageOf(errors));
    }
    m_times = m_turns = 2;
    const std::string errors = Write("x").errors;
    EXPECT_EQ(3, std::count(errors.begin(), errors.end(), '\n')) << errors;
}

TEST_F(TheLinuxLog, TakesAnEmptyVariableForOneThatIsNotSet) {
    m_environment["APPLIST_LOG"] = "";

    EXPECT_EQ("", Write("x", applist::logging::kInfo).errors);
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
    EXPECT_EQ("log_writer", fields["SYSLOG_IDENTIFIER"]) << "the program's own name";
    EXPECT_EQ("applist", fields["TAG"]);
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
    EXPECT_EQ("another", fields["TAG"]);
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
    EXPECT_NE("", Write("x", applist::logging::kInfo).journal);
}

TEST_F(TheLinuxLog, SendsTheJournalWhatTheEnvironmentAsksFor) {
    m_stderr = Stderr::Journal;
    m_environment["APPLIST_LOG"] = "debug";
    EXPECT_NE("", Write("x", applist::logging::kDebug).journal);

    m_environment["APPLIST_LOG"] = "error";
    EXPECT_EQ("", Write("x", applist::logging::kInfo).journal);
}

TEST_F(TheLinuxLog, TellsTheJournalThatTheEnvironmentAsksForNoPriorityThatThereIs) {
    m_stderr = Stderr::Journal;
    m_environment["APPLIST_LOG"] = "loud";

    auto fields = FieldsOf(Write("x", applist::logging::kDebug).journal);

    EXPECT_EQ("APPLIST_LOG is \"loud\", but must be debug, info or error; info is used",
              MessageOf(fields["MESSAGE"] + "\n"));
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
