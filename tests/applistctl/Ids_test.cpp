// SPDX-License-Identifier: MIT

#include "apps/applistctl/Ids.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "apps/applistctl/Failure.h"

using namespace applist::ctl;

namespace {

// What is said when `id` is asked for in a list of `items`; empty when it is there.
std::string Complaint(const std::vector<Entry>& items, const std::string& id) {
    ListState list;
    list.items = items;
    try {
        RequireId(list, id, [](const std::string& meant) { return "do " + meant; });
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Status(), kNotDone);
        return failure.what();
    }
    return std::string();
}

}  // namespace

TEST(AnId, ThatIsThereIsFine) {
    EXPECT_EQ(Complaint({{"Maps", "maps"}}, "maps"), "");
}

TEST(AnId, ThatIsNowhereIsLookedUpInTheList) {
    EXPECT_EQ(Complaint({{"Maps", "maps"}}, "mail"),
              "no item has the id mail; applistctl list shows the ids");
}

TEST(AnId, ThatIsANameIsAnsweredWithTheId) {
    EXPECT_EQ(Complaint({{"Maps", "maps"}, {"Mail", "mail"}}, "Maps"),
              "no item has the id Maps; Maps is the name of maps: use do maps");
}

TEST(AnId, ThatIsTheNameOfThreeIsAnsweredWithThreeIds) {
    EXPECT_EQ(Complaint({{"A", "1"}, {"A", "2"}, {"A", "2"}, {"A", "3"}}, "A"),
              "no item has the id A; A is the name of 1, 2 and 3: use do 1, do 2, or do 3");
}

TEST(AnId, ThatIsTheNameOfMoreIsLookedUpInTheList) {
    EXPECT_EQ(Complaint({{"A", "1"}, {"A", "2"}, {"A", "3"}, {"A", "4"}}, "A"),
              "no item has the id A; A is the name of 4 items; applistctl list shows their ids");
}

TEST(AnId, ThatIsEmptyIsNobodysName) {
    EXPECT_EQ(Complaint({{"", "1"}}, ""), "no item has the id \"\"; applistctl list shows the ids");
}

TEST(ACommandLine, IsWhatAShellTakes) {
    EXPECT_EQ(CommandLine("select", {"org.tessel.Maps"}), "select org.tessel.Maps");
    EXPECT_EQ(CommandLine("select", {"my maps"}), "select 'my maps'");
    EXPECT_EQ(CommandLine("select", {"it's"}), "select 'it'\\''s'");
    EXPECT_EQ(CommandLine("add", {"", "$x"}), "add '' '$x'");
    EXPECT_EQ(CommandLine("remove", {"-x"}), "remove -- -x");
}
