// SPDX-License-Identifier: MIT

// A replica that is short of memory, gets what no service sends, or is made to do much for little.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <new>

#include "partner/ReplicaTest.h"
#include "support/RecordingAllocator.h"

using applist::RowChange;
using namespace replica;

// ---- Memory -------------------------------------------------------------------------------------

TEST_P(AReplica, GivesBackTheMemoryOfThousandsOfItemsWhenOneOfThemStays) {
    constexpr std::size_t kLittle = 8192;
    std::string text;
    for (int count = 0; count < 40000; ++count) text += "\t" + std::to_string(count) + "\n";
    Take("a", "a");
    const std::size_t before = recording::BytesInUse();
    TakeText(text, "\t5000\n");
    ASSERT_GT(recording::BytesInUse(), before + 100 * kLittle);

    TakeText("\t5000\n", "\t5000\n");

    EXPECT_EQ("/5000 (/5000)", Content());
    EXPECT_LT(recording::BytesInUse(), before + kLittle);
}

class AReplicaWithoutMemory : public ::testing::Test {
protected:
    struct Reply {
        std::string list;
        std::string selection;
    };

    // Returns false when it needs fewer than `nth` allocations.
    static bool RunsOut(Replica& replica, const Reply& reply, std::size_t nth) {
        std::vector<char> list = Bytes(reply.list);
        const std::vector<char> selection = Bytes(reply.selection);
        bool isTaken = false;
        const recording::FailingAllocation outOfMemory(nth);
        try {
            isTaken = replica.Update(std::move(list), selection).has_value();
        } catch (const std::bad_alloc&) {
            return true;
        }
        EXPECT_TRUE(isTaken) << "allocation " << nth << " made a good reply look bad";
        EXPECT_FALSE(outOfMemory.HasFailed()) << "nobody heard of allocation " << nth;
        return false;
    }

    static void FailEachAllocation(const Reply& from, const Reply& to, bool findsRows) {
        for (std::size_t nth = 1;; ++nth) {
            Replica replica;
            replica.FindRows(findsRows);
            replica.Update(Bytes(from.list), Bytes(from.selection));
            const Sight before(replica);
            if (!RunsOut(replica, to, nth)) break;
            ASSERT_EQ(before.content, Sight(replica).content) << "allocation " << nth;
            ASSERT_TRUE(before == Sight(replica)) << "other objects after allocation " << nth;
        }
    }
};

TEST_F(AReplicaWithoutMemory, StaysAsItWas) {
    // Names that are too long for a string to hold without memory of its own.
    const std::string name(40, 'n');
    const std::string other = name + "\\n\t" + name + "\\t\n";
    const std::vector<Reply> replies = {
        {"", "\t\n"},
        {ListOf("a b c d"), ListOf("b")},
        {ListOf("x c y b"), ListOf("y")},
        {name + "\ta\n" + other + ListOf("d"), other},
        {ListOf("d") + other, name + "\t" + name + "\n"},
        {Joined(CrowdedLines(40)) + ListOf("a"), other},
        {ListOf("b") + Joined(CrowdedLines(60)), ListOf("b")},
        {Joined(NamesOfOneId(40)) + ListOf("a"), ListOf("a")},
        {ListOf("a") + Joined(NamesOfOneId(50)), ListOf("a")},
    };
    for (const Reply& from : replies) {
        for (const Reply& to : replies) {
            FailEachAllocation(from, to, false);
            FailEachAllocation(from, to, true);
        }
    }
}

TEST_F(AReplicaWithoutMemory, IsClearedAllTheSame) {
    const Reply outside{ListOf("a b c"), "Outside\toutside\n"};
    const Reply inside{ListOf("a b c"), ListOf("b")};
    const Reply unselected{ListOf("a"), "\t\n"};
    for (const Reply& reply : {outside, inside, unselected}) {
        Replica replica;
        replica.FindRows(true);
        replica.Update(Bytes(reply.list), Bytes(reply.selection));
        const std::size_t count = replica.Count();

        const recording::FailingAllocation outOfMemory(1);
        const Replica::Change change = replica.Clear();
        const Replica::Change again = replica.Clear();
        EXPECT_FALSE(outOfMemory.HasFailed());

        const recording::ExemptFromFailing exempt;
        EXPECT_EQ("(/)", Sight(replica).content);
        EXPECT_TRUE(change.items);
        EXPECT_EQ((std::vector<RowChange>{{RowChange::Kind::Removed, 0, count}}), change.rows);
        EXPECT_EQ(reply.selection != "\t\n", change.selection);
        EXPECT_FALSE(again.items || again.selection || !again.rows.empty());
    }
}

// ---- What no service sends ----------------------------------------------------------------------

class AReplicaWithItems : public AReplica {
protected:
    AReplicaWithItems() { Take("a b", "b"); }
};

TEST_P(AReplicaWithItems, RefusesHalfAnItem) {
    EXPECT_TRUE(Refuses("A\ta\nB\t", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\ta\nB", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\ta", "A\ta\n"));
}

TEST_P(AReplicaWithItems, RefusesTextThatIsNoItem) {
    EXPECT_TRUE(Refuses("no tab\n", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\ta\n\n", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\ta\tmore\n", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\\x\ta\n", "A\ta\n"));
    EXPECT_TRUE(Refuses(std::string(3, '\0'), "A\ta\n"));
}

TEST_P(AReplicaWithItems, RefusesASelectionThatIsNotOneItem) {
    EXPECT_TRUE(Refuses("A\ta\n", ""));
    EXPECT_TRUE(Refuses("A\ta\n", "A\ta"));
    EXPECT_TRUE(Refuses("A\ta\n", "A\ta\nB\tb\n"));
}

TEST_P(AReplicaWithItems, TakesBytesThatAreNoText) {
    TakeText(std::string("\0\xff\t\x80\n", 5), std::string("\0\xff\t\x80\n", 5));

    EXPECT_EQ(std::string("\0\xff/\x80 (\0\xff/\x80)", 11), Content());
}

TEST_P(AReplicaWithItems, RefusesOneItemTooMany) {
    std::string text;
    for (std::size_t count = 0; count <= Replica::kMaxItems; ++count) text += "\t\n";

    EXPECT_TRUE(Refuses(text, "A\ta\n"));
}

class AReplicaOfManyItems : public AReplica {
protected:
    static constexpr std::size_t kCount = 100000;

    // Returns the processor's time that it takes: that of the clock depends on what else runs.
    std::clock_t CostOfTaking(const std::string& list, std::size_t gone) {
        const std::clock_t before = std::clock();
        const Replica::Change change = TakeText(list, "A\ta\n");
        const std::clock_t cost = std::clock() - before;
        EXPECT_EQ(gone, change.gone.size());
        return cost;
    }

    // What as many items cost that are as different as they can be, all replaced.
    std::clock_t OrdinaryCost() {
        TakeText(Numbered("before "), "A\ta\n");
        return CostOfTaking(Numbered("after "), kCount);
    }

private:
    static std::string Numbered(const std::string& name) {
        std::string text;
        for (std::size_t at = 0; at < kCount; ++at) text += name + "\t" + std::to_string(at) + "\n";
        return text;
    }
};

// A list whose items are all equal, and whose ends change, is cheap for a hostile service to send:
// comparing every item with every other would stop the partner for minutes.
TEST_P(AReplicaOfManyItems, ComparesEqualOnesInTimeThatGrowsWithTheirNumber) {
    std::string same;
    for (std::size_t at = 0; at < kCount; ++at) same += "A\ta\n";
    const std::clock_t ordinary = OrdinaryCost();
    TakeText("X\tx\n" + same + "X\tx\n", "A\ta\n");

    EXPECT_LT(CostOfTaking("Y\ty\n" + same + "Y\ty\n", 2), 30 * ordinary);
}

#if defined(__GLIBCXX__)  // whose hash the next test knows

namespace {

// What the library's hash does with each word of a text, which is as long as a std::size_t. All of
// it can be undone.
class HashBlocks {
public:
    using Word = std::size_t;

    static Word Start(std::size_t size) { return static_cast<Word>(0xc70f6907) ^ Seed(size); }

    static Word Add(Word hash, Word block) {
        if constexpr (kIsWide) return (hash ^ Mixed(block)) * kFactor;
        return (hash * kFactor) ^ Mixed(block);
    }

    // Returns the block that brings `hash` to `wanted`.
    static Word Between(Word hash, Word wanted) {
        if constexpr (kIsWide) return Unmixed((wanted * Inverse()) ^ hash);
        return Unmixed(wanted ^ (hash * kFactor));
    }

private:
    static constexpr bool kIsWide = sizeof(Word) == 8;
    static constexpr Word kFactor = static_cast<Word>(kIsWide ? 0xc6a4a7935bd1e995 : 0x5bd1e995);
    static constexpr int kShift = kIsWide ? 47 : 24;

    static Word Seed(std::size_t size) { return kIsWide ? size * kFactor : size; }

    // Undone by itself, as it shifts by more than half a word.
    static Word Fold(Word value) { return value ^ (value >> kShift); }
    static Word Mixed(Word block) { return Fold(block * kFactor) * kFactor; }
    static Word Unmixed(Word mixed) { return Fold(mixed * Inverse()) * Inverse(); }

    // Each round doubles the number of low bits that are right.
    static Word Inverse() {
        Word inverse = kFactor;
        for (int round = 0; round < 5; ++round) inverse *= 2 - kFactor * inverse;
        return inverse;
    }
};

// Items of sixteen bytes with one hash, others for another first `number` of seven digits.
Texts CollidingLines(std::size_t count, int number) {
    Texts lines;
    for (; lines.size() < count; ++number) {
        std::string line = std::to_string(number) + "\t";
        HashBlocks::Word hash = HashBlocks::Start(16);
        HashBlocks::Word block = 0;
        // Filled up with what any id may be, until one word is left.
        line.append(16 - sizeof(block) - line.size(), 'i');
        for (std::size_t at = 0; at < line.size(); at += sizeof(block)) {
            std::memcpy(&block, line.data() + at, sizeof(block));
            hash = HashBlocks::Add(hash, block);
        }
        block = HashBlocks::Between(hash, 1);
        line.append(reinterpret_cast<const char*>(&block), sizeof(block));
        const bool isPlain = line.find_first_of("\t\n\\", 16 - sizeof(block)) == std::string::npos;
        if (isPlain) lines.push_back(line + "\n");
    }
    return lines;
}

}  // namespace

// So are items that have one hash: a table that finds them by it has them all in one place.
TEST_P(AReplicaOfManyItems, ReplacesThoseWithOneHashInTimeThatHardlyGrowsFasterThanTheirNumber) {
    const Texts before = CollidingLines(kCount, 1000000);
    const Texts after = CollidingLines(kCount, 5000000);
    ASSERT_EQ(HashOf(before.front().substr(0, 16)), HashOf(after.back().substr(0, 16)));
    const std::clock_t ordinary = OrdinaryCost();
    TakeText(Joined(before), "A\ta\n");

    EXPECT_LT(CostOfTaking(Joined(after), kCount), 30 * ordinary);
}

#endif

INSTANTIATE_TEST_SUITE_P(OfEachKind, AReplicaWithItems, ::testing::Bool(), WithOrWithoutRows);
INSTANTIATE_TEST_SUITE_P(OfEachKind, AReplicaOfManyItems, ::testing::Bool(), WithOrWithoutRows);
