// SPDX-License-Identifier: MIT

#include "apps/applistd/ItemsFile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "apps/applistd/QuietTime.h"
#include "support/ScratchFolder.h"
#include "support/TestLoop.h"

using applist::daemon::ItemsFile;
using applist::daemon::QuietTime;

namespace {

bool isInotifyRefused = false;

}  // namespace

// The linker leads the daemon's calls here.
extern "C" int __real_inotify_init1(int flags);
extern "C" int __wrap_inotify_init1(int flags) {
    if (!isInotifyRefused) return __real_inotify_init1(flags);
    errno = EMFILE;
    return -1;
}

class AFileOfItems : public ::testing::Test {
protected:
    ~AFileOfItems() override { isInotifyRefused = false; }

    std::string Path() const { return m_folder.In("items"); }
    void Write(const std::string& text) const { m_folder.Write("items", text); }

    // The ids of the next report, or a complaint when there is none in time.
    std::vector<std::string> NextReport() {
        if (!RunUntil([this] { return !m_reports.empty(); })) return {"no report"};
        const std::vector<std::string> ids = m_reports.front();
        m_reports.erase(m_reports.begin());
        return ids;
    }

    void Take(const std::vector<RemoteAppListItem>& all) {
        m_reports.emplace_back();
        for (RemoteAppListItem item : all) m_reports.back().push_back(item.GetUnigueId());
    }

    ScratchFolder m_folder;
    std::vector<std::vector<std::string>> m_reports;
};

TEST_F(AFileOfItems, IsReadWhenItCannotBeWatched) {
    Write("Maps\tmaps\n");
    isInotifyRefused = true;
    ItemsFile items(Path(), [this](const auto& all) { Take(all); });

    items.ReadAgain();

    EXPECT_EQ(std::vector<std::string>{"maps"}, NextReport());
}

TEST_F(AFileOfItems, IsFollowedByTheOldWatchWhenThereCanBeNoNewOne) {
    Write("Maps\tmaps\n");
    ItemsFile items(Path(), [this](const auto& all) { Take(all); });
    isInotifyRefused = true;
    items.ReadAgain();
    EXPECT_EQ(std::vector<std::string>{"maps"}, NextReport());

    Write("Music\tmusic\n");

    EXPECT_EQ(std::vector<std::string>{"music"}, NextReport());
}

TEST_F(AFileOfItems, IsReportedOnceWhenItWasReadBeforeItWasQuiet) {
    ItemsFile items(Path(), [this](const auto& all) { Take(all); });
    Write("Maps\tmaps\n");
    RunWhatIsReady();

    items.ReadAgain();

    bool isQuiet = false;
    QuietTime later([&isQuiet] { isQuiet = true; });
    later.Restart();
    EXPECT_TRUE(RunUntil([&isQuiet] { return isQuiet; }));
    EXPECT_EQ(1u, m_reports.size());
}
