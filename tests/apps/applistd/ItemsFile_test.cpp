#include "apps/applistd/ItemsFile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bus/SdBus.h"

using applist::daemon::ItemsFile;

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
    AFileOfItems() {
        char name[] = "/tmp/applist-items-XXXXXX";
        m_folder = mkdtemp(name);
        sd_event* loop = nullptr;
        EXPECT_LE(0, sd_event_default(&loop));
        m_loop.reset(loop);
    }
    ~AFileOfItems() override {
        isInotifyRefused = false;
        std::filesystem::remove_all(m_folder);
    }

    std::string Path() const { return m_folder + "/items"; }
    void Write(const std::string& text) const { std::ofstream(Path()) << text; }

    // The ids of the next report, or a complaint when there is none in time.
    std::vector<std::string> NextReport() {
        using Clock = std::chrono::steady_clock;
        const auto deadline = Clock::now() + std::chrono::seconds(30);
        const std::uint64_t second = 1000000;
        while (m_reports.empty() && Clock::now() < deadline) sd_event_run(m_loop.get(), second);
        if (m_reports.empty()) return {"no report"};
        const std::vector<std::string> ids = m_reports.front();
        m_reports.erase(m_reports.begin());
        return ids;
    }

    void Take(const std::vector<RemoteAppListItem>& all) {
        m_reports.emplace_back();
        for (RemoteAppListItem item : all) m_reports.back().push_back(item.GetUnigueId());
    }

    std::string m_folder;
    applist::UniqueEvent m_loop;
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

TEST_F(AFileOfItems, IsReportedOnceAfterChangesThatWereReadBeforeTheyWereQuiet) {
    ItemsFile items(Path(), [this](const auto& all) { Take(all); });
    Write("Maps\tmaps\n");
    while (sd_event_run(m_loop.get(), 0) > 0) {
    }

    items.ReadAgain();

    EXPECT_EQ(std::vector<std::string>{"maps"}, NextReport());
    Write("Music\tmusic\n");
    EXPECT_EQ(std::vector<std::string>{"music"}, NextReport());
}
