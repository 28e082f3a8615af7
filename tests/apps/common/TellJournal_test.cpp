// SPDX-License-Identifier: MIT

// What ends applistd and applistctl, as the journal hears of it.

#include "apps/common/TellJournal.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>

#include "support/LoggingProgram.h"

namespace {

// To applistd the argument is as fatal as it is to applistctl that there is no bus.
Written Fail(const char* program, Stderr kind) {
    return RunLogging({program, "list", "--address=unix:path=/nonexistent/bus"}, kind, "", {});
}

}  // namespace

class AProgramThatFails : public ::testing::TestWithParam<const char*> {
protected:
    static std::string Name() {
        const std::string path = GetParam();
        return path.substr(path.rfind('/') + 1);
    }
};

TEST_P(AProgramThatFails, TellsTheJournalAnErrorOfItsOwn) {
    const Written written = Fail(GetParam(), Stderr::Journal);

    ASSERT_TRUE(WIFEXITED(written.status)) << written.status;
    EXPECT_NE(0, WEXITSTATUS(written.status));
    auto fields = FieldsOf(written.journal);
    EXPECT_NE("", fields["MESSAGE"]);
    EXPECT_EQ("3", fields["PRIORITY"]);
    EXPECT_EQ(Name(), fields["SYSLOG_IDENTIFIER"]);
    EXPECT_EQ("", written.errors) << "it must not be there twice";
    EXPECT_TRUE(written.more.empty()) << written.more[0];
}

TEST_P(AProgramThatFails, SaysTheSameOnAnyOtherStderr) {
    const std::string message = FieldsOf(Fail(GetParam(), Stderr::Journal).journal)["MESSAGE"];

    EXPECT_EQ(Name() + ": " + message + "\n", Fail(GetParam(), Stderr::File).errors);
}

TEST_P(AProgramThatFails, SaysItOnStderrWhenTheJournalHasEnded) {
    EXPECT_EQ(Fail(GetParam(), Stderr::File).errors,
              Fail(GetParam(), Stderr::JournalThatHasEnded).errors);
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, AProgramThatFails, ::testing::Values(APPLISTD, APPLISTCTL),
                         [](const auto& kind) { return kind.index == 0 ? "Daemon" : "Tool"; });
