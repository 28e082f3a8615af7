// SPDX-License-Identifier: MIT

#include "common/AppListLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/RecordingLog.h"

using recording::LogRecord;
using recording::LogRecords;
using std::string;

class ALogLine : public ::testing::Test {
protected:
    ALogLine() { recording::RestartLog(); }

    static const LogRecord& Newest() { return LogRecords().back(); }
};

TEST_F(ALogLine, NamesFileFunctionAndLineTwice) {
    const int line = __LINE__ + 1;
    APPLIST_LOG(applist::logging::kDebug, "hello");

    const string where = std::to_string(line);
    EXPECT_EQ("AppListLog_test.cpp: TestBody(" + where + ") > [TestBody:" + where + "] hello\n",
              Newest().text);
}

TEST_F(ALogLine, HasOneFormatForAll) {
    APPLIST_LOG(applist::logging::kDebug, "%d items", 3);

    EXPECT_STREQ("%s: %s(%d) > [%s:%d] %d items\n", Newest().format);
    EXPECT_EQ("3 items", Newest().Message());
}

TEST_F(ALogLine, TakesUpToSevenArguments) {
    std::vector<string> messages;
    const auto note = [&messages] { messages.push_back(Newest().Message()); };
    APPLIST_LOG(applist::logging::kDebug, "none"), note();
    APPLIST_LOG(applist::logging::kDebug, "%d", 1), note();
    APPLIST_LOG(applist::logging::kDebug, "%d %s", 1, "b"), note();
    APPLIST_LOG(applist::logging::kDebug, "%d %s %d", 1, "b", 3), note();
    APPLIST_LOG(applist::logging::kDebug, "%d %s %d %d", 1, "b", 3, 4), note();
    APPLIST_LOG(applist::logging::kDebug, "%d %s %d %d %s", 1, "b", 3, 4, "e"), note();
    APPLIST_LOG(applist::logging::kDebug, "%d %s %d %d %s %d", 1, "b", 3, 4, "e", 6), note();
    APPLIST_LOG(applist::logging::kDebug, "%d %s %d %d %s %d %d", 1, "b", 3, 4, "e", 6, 7), note();

    const std::vector<string> expected = {"none",    "1",         "1 b",         "1 b 3",
                                          "1 b 3 4", "1 b 3 4 e", "1 b 3 4 e 6", "1 b 3 4 e 6 7"};
    EXPECT_EQ(expected, messages);
}

TEST_F(ALogLine, GoesToTheMainBufferUnderItsTag) {
    APPLIST_LOG(applist::logging::kInfo, "hello");

    EXPECT_EQ(0, Newest().bufferId);
    EXPECT_STREQ("applist", Newest().tag);
}

TEST_F(ALogLine, ShowsTwoBlanksBeforeADashThatFollowsABlank) {
    APPLIST_LOG(applist::logging::kDebug, " - RemoteAppListItem");

    EXPECT_NE(string::npos, Newest().text.find("]  - RemoteAppListItem\n")) << Newest().text;
}

TEST(TheLogPriorities, AreThePlatforms) {
    EXPECT_EQ(3, applist::logging::kDebug);
    EXPECT_EQ(4, applist::logging::kInfo);
    EXPECT_EQ(6, applist::logging::kError);
}

TEST(ABaseName, IsWhatFollowsTheLastSlash) {
    EXPECT_STREQ("file.h", applist::logging::BaseName("/a/b/file.h"));
    EXPECT_STREQ("file.h", applist::logging::BaseName("b/file.h"));
    EXPECT_STREQ("file.h", applist::logging::BaseName("file.h"));
    EXPECT_STREQ("", applist::logging::BaseName("b/"));
    EXPECT_STREQ("", applist::logging::BaseName(""));
}
