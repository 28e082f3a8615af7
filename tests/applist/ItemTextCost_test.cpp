// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "applist/RemoteAppListItem.h"
#include "support/RecordingAllocator.h"

using recording::Allocations;
using recording::AllocationsSoFar;
using std::string;

namespace {

Allocations CostOfReading(std::istream& in, RemoteAppListItem& item) {
    const Allocations before = AllocationsSoFar();
    in >> item;
    const Allocations after = AllocationsSoFar();
    return {after.blocks - before.blocks, after.bytes - before.bytes};
}

string Line(std::size_t nameLength, std::size_t idLength) {
    return string(nameLength, 'n') + "\t" + string(idLength, 'i') + "\n";
}

}  // namespace

TEST(TheCostOfReading, IsTheLineAndTheTwoStringsAtMost) {
    for (const std::size_t length : {0u, 20u, 1000u, 1000000u}) {
        std::istringstream in(Line(length, length));
        RemoteAppListItem item;

        const Allocations cost = CostOfReading(in, item);

        EXPECT_EQ(length, item.GetUnigueId().size());
        EXPECT_LE(cost.blocks, 3u) << "two strings of " << length << " bytes";
        EXPECT_LE(cost.bytes, 4 * length + 64) << "two strings of " << length << " bytes";
    }
}

TEST(TheCostOfReading, IsTheSameWithEscapes) {
    string name;
    for (int time = 0; time < 10000; ++time) name += "\\t\\\\";
    std::istringstream in(name + "\t" + name + "\n");
    RemoteAppListItem item;

    const Allocations cost = CostOfReading(in, item);

    EXPECT_EQ(20000u, item.GetVisibleName().size());
    EXPECT_LE(cost.blocks, 3u);
    EXPECT_LE(cost.bytes, 2 * (name.size() * 2 + 2));
}

TEST(TheCostOfReading, OfAnItemIsNotThatOfWhatFollowsIt) {
    std::istringstream in(Line(20, 20) + string(1000000, 'x'));
    RemoteAppListItem item;

    EXPECT_LE(CostOfReading(in, item).bytes, 200u);
}

TEST(TheCostOfReading, OfARefusedLineIsThatLineAlone) {
    for (const string& line :
         {string(1000, '\t') + "\n", string(1000, 'n') + "\n", string(999, 'n') + "\\\t\n"}) {
        std::istringstream in(line);
        RemoteAppListItem item;

        const Allocations cost = CostOfReading(in, item);

        EXPECT_TRUE(in.fail());
        EXPECT_LE(cost.blocks, 1u);
        EXPECT_LE(cost.bytes, 2 * line.size());
    }
}

TEST(TheCostOfReading, GrowsWithTheNumberOfItemsAndNoFaster) {
    const auto costOf = [](int items) {
        string text;
        for (int item = 0; item < items; ++item) text += Line(30, 20);
        std::istringstream in(text);
        RemoteAppListItem item;
        const Allocations before = AllocationsSoFar();
        while (in >> item) {
        }
        return AllocationsSoFar().bytes - before.bytes;
    };

    EXPECT_LE(costOf(2000), 2 * costOf(1000));
}

TEST(TheCostOfWriting, IsThatOfTheStreamAlone) {
    const RemoteAppListItem item(string(1000, 'n'), string(1000, '\\'));
    std::ostringstream out;
    out << string(4096, ' ');
    out.seekp(0);
    const std::size_t before = AllocationsSoFar().blocks;

    out << item;

    EXPECT_EQ(before, AllocationsSoFar().blocks);
}
