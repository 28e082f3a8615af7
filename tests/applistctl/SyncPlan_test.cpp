// SPDX-License-Identifier: MIT

#include "apps/applistctl/SyncPlan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace applist::ctl;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// "a" is an item with that id and that name, "a=b" one with the id a and the name b.
Entry ItemOf(const std::string& text) {
    const std::size_t sign = text.find('=');
    return {text.substr(sign == std::string::npos ? 0 : sign + 1), text.substr(0, sign)};
}

std::vector<Entry> ItemsOf(const std::vector<std::string>& texts) {
    std::vector<Entry> items(texts.size());
    std::transform(texts.begin(), texts.end(), items.begin(), ItemOf);
    return items;
}

std::vector<std::string> TextsOf(const std::vector<Entry>& items) {
    std::vector<std::string> texts;
    texts.reserve(items.size());
    for (const Entry& item : items) {
        texts.push_back(item.id == item.name ? item.id : item.id + "=" + item.name);
    }
    return texts;
}

using Texts = std::vector<std::string>;

// A service that keeps `own` and does with the rest what partners ask.
struct Service {
    std::vector<Entry> own;
    std::vector<Entry> added;
    std::size_t removals = 0;  // that did something
    std::size_t additions = 0;

    std::vector<Entry> List() const {
        std::vector<Entry> list = own;
        list.insert(list.end(), added.begin(), added.end());
        return list;
    }

    bool Remove(const std::string& id) {
        const auto found = std::find_if(added.begin(), added.end(),
                                        [&](const Entry& entry) { return entry.id == id; });
        if (found == added.end()) return false;
        added.erase(found);
        ++removals;
        return true;
    }

    void Add(const std::vector<Entry>& items) {
        added.insert(added.end(), items.begin(), items.end());
        additions += items.size();
    }

    // Returns after how many rounds the plan had nothing more to remove.
    int Follow(SyncPlan& plan) {
        int rounds = 0;
        for (auto items = plan.ToRemove(List()); !items.empty(); items = plan.ToRemove(List())) {
            std::set<std::string> gone;
            for (const Entry& item : items) {
                if (Remove(item.id)) gone.insert(item.id);
            }
            for (const Entry& item : items) {
                if (gone.count(item.id) == 0) plan.Keeps(item.id);
            }
            ++rounds;
        }
        Add(plan.ToAdd(List()));
        return rounds;
    }
};

Texts Synchronized(const Texts& own, const Texts& added, const Texts& wanted) {
    Service service = {ItemsOf(own), ItemsOf(added)};
    SyncPlan plan(ItemsOf(wanted));
    service.Follow(plan);
    return TextsOf(service.List());
}

}  // namespace

TEST(ASyncPlan, ForTheListAsItIsDoesNothing) {
    Service service = {ItemsOf({"a", "b"}), ItemsOf({"p", "q"})};
    SyncPlan plan(ItemsOf({"a", "b", "p", "q"}));

    EXPECT_EQ(service.Follow(plan), 0);
    EXPECT_EQ(service.additions, 0U);
}

TEST(ASyncPlan, AddsWhatIsMissingInTheFilesOrder) {
    EXPECT_THAT(Synchronized({"a"}, {}, {"a", "q", "p"}), ElementsAre("a", "q", "p"));
}

TEST(ASyncPlan, RemovesWhatPartnersAddedAndTheFileLacks) {
    EXPECT_THAT(Synchronized({"a"}, {"p", "q", "r"}, {"a", "q"}), ElementsAre("a", "q"));
}

TEST(ASyncPlan, LeavesWhatIsTheServicesOwn) {
    EXPECT_THAT(Synchronized({"a", "b"}, {"p"}, {"b", "p"}), ElementsAre("a", "b", "p"));
}

TEST(ASyncPlan, BringsBackAnOrder) {
    EXPECT_THAT(Synchronized({"a"}, {"q", "r", "p"}, {"a", "p", "q", "r"}),
                ElementsAre("a", "p", "q", "r"));
}

TEST(ASyncPlan, RenamesInPlaceByMovingWhatFollows) {
    Service service = {ItemsOf({"a"}), ItemsOf({"p", "q", "r"})};
    SyncPlan plan(ItemsOf({"a", "p", "q=new", "r"}));
    service.Follow(plan);

    EXPECT_THAT(TextsOf(service.List()), ElementsAre("a", "p", "q=new", "r"));
    EXPECT_EQ(service.removals, 2U) << "p stands where it is to stand";
}

TEST(ASyncPlan, MovesNothingForAnItemOfTheServicesOwnThatIsElsewhereOrHasAnotherName) {
    Service service = {ItemsOf({"a", "b=Service's", "c"}), ItemsOf({"p", "q"})};
    SyncPlan plan(ItemsOf({"c", "b=File's", "a", "p", "q"}));
    service.Follow(plan);

    EXPECT_THAT(TextsOf(service.List()), ElementsAre("a", "b=Service's", "c", "p", "q"));
    EXPECT_EQ(service.removals + service.additions, 0U);
    EXPECT_EQ(plan.SurplusOf(service.List()).renamed, 1U);
    EXPECT_EQ(plan.SurplusOf(service.List()).kept, 0U);
}

TEST(ASyncPlan, TellsWhatTheServiceKeepsFromWhatCameMeanwhile) {
    Service service = {ItemsOf({"a", "b=Service's", "b", "c"}), ItemsOf({"p"})};
    SyncPlan plan(ItemsOf({"b=File's", "c"}));
    service.Follow(plan);
    service.Add(ItemsOf({"q", "r"}));

    const SyncPlan::Surplus surplus = plan.SurplusOf(service.List());
    EXPECT_EQ(surplus.kept, 2U) << "a, and the second b";
    EXPECT_EQ(surplus.renamed, 1U);
    EXPECT_EQ(surplus.others, 2U);
}

TEST(ASyncPlan, AddsWhatTheServiceHasNoMore) {
    EXPECT_THAT(Synchronized({"a", "c"}, {"p"}, {"a", "b", "c", "p"}),
                ElementsAre("a", "c", "b", "p"));
}

TEST(ASyncPlan, AddsAnIdAsOftenAsTheFileHasIt) {
    EXPECT_THAT(Synchronized({"a"}, {"p"}, {"a", "p", "p", "a=second"}),
                ElementsAre("a", "p", "p", "a=second"));
}

TEST(ASyncPlan, RemovesTheRightOneOfSeveralWithAnIdInTheEnd) {
    EXPECT_THAT(Synchronized({}, {"p=1", "p=2", "p=3"}, {"p=1", "p=3"}), ElementsAre("p=1", "p=3"));
    EXPECT_THAT(Synchronized({"p=1"}, {"p=2", "p=3"}, {"p=1", "p=3"}), ElementsAre("p=1", "p=3"));
}

TEST(ASyncPlan, RemovesAllForAnEmptyFile) {
    EXPECT_THAT(Synchronized({"a"}, {"p", "p", "q"}, {}), ElementsAre("a"));
}

TEST(ASyncPlan, KnowsWhatTheFileHolds) {
    const SyncPlan plan(ItemsOf({"a=b"}));

    EXPECT_TRUE(plan.Wants(ItemOf("a=b")));
    EXPECT_FALSE(plan.Wants(ItemOf("a")));
}

// Whatever the list and the file are: it ends, what partners may do is done, and a second time
// nothing is.
TEST(ASyncPlan, IsDoneOnceForAnyListAndFile) {
    std::mt19937 random(1);
    const auto some = [&] {
        std::vector<Entry> items(random() % 6);
        for (Entry& item : items) item = {std::string(1, "NM"[random() % 8 == 0]), {}};
        for (Entry& item : items) item.id = std::string(1, static_cast<char>('a' + random() % 7));
        return items;
    };
    for (int round = 0; round < 3000; ++round) {
        Service service = {some(), some()};
        const std::vector<Entry> wanted = some();
        SyncPlan plan(wanted);
        ASSERT_LT(service.Follow(plan), 16);
        for (const Entry& entry : service.added) EXPECT_TRUE(plan.Wants(entry));
        EXPECT_THAT(plan.ToAdd(service.List()), IsEmpty());
        const Texts after = TextsOf(service.List());

        SyncPlan again(wanted);
        ASSERT_LT(service.Follow(again), 16);
        ASSERT_EQ(TextsOf(service.List()), after) << "in round " << round;
    }
}
