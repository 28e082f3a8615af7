// SPDX-License-Identifier: MIT

#include "common/ItemTextWriter.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "common/ItemText.h"
#include "support/RecordingAllocator.h"

using applist::ItemText;
using applist::ItemTextWriter;
using std::string;

namespace {

string Taken(ItemTextWriter& writer) {
    const std::vector<char> text = std::move(writer).Take();
    return string(text.begin(), text.end());
}

string Written(const string& name, const string& id) {
    ItemTextWriter writer(0);
    writer.Append(name, id);
    return Taken(writer);
}

// What the item's own operator writes.
string Inserted(const string& name, const string& id) {
    std::ostringstream out;
    out << RemoteAppListItem(name, id);
    return out.str();
}

// Lengths at which blocks of bytes begin, end and overlap.
constexpr std::size_t kLongest = 50;

}  // namespace

TEST(AnItemTextWriter, WritesWhatTheItemsOperatorWrites) {
    for (std::size_t length = 0; length <= kLongest; ++length) {
        const string plain(length, 'x');
        EXPECT_EQ(plain + "\t" + plain + "\n", Written(plain, plain));
        for (std::size_t at = 0; at < length; ++at) {
            for (const char special : {'\\', '\t', '\n'}) {
                string text = plain;
                text[at] = special;
                ASSERT_EQ(Inserted(text, plain), Written(text, plain)) << length << ", " << at;
                ASSERT_EQ(Inserted(plain, text), Written(plain, text)) << length << ", " << at;
            }
        }
    }
}

TEST(AnItemTextWriter, LeavesEveryByteButThreeAsItIs) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if (c == '\\' || c == '\t' || c == '\n') continue;
        for (const std::size_t length : {1u, 7u, 8u, 15u, 16u, 40u}) {
            const string text(length, c);
            ASSERT_EQ(text + "\t" + text + "\n", Written(text, text)) << "byte " << byte;
        }
    }
}

TEST(AnItemTextWriter, WritesAsMuchAsIsToldBefore) {
    for (const string& name : {string(), string("plain"), string("\t\\"), string(100, '\n')}) {
        EXPECT_EQ(Written(name, "id").size(), ItemText::SizeOf(name, "id"));
        EXPECT_EQ(Written("name", name).size(), ItemText::SizeOf("name", name));
    }
}

TEST(AnItemTextWriter, MakesNoMoreRoomThanItWasAskedFor) {
    const string name(100, 'n');
    ItemTextWriter writer(2 * ItemText::SizeOf(name, "\t") + 4);
    writer.Append(name, "\t");
    writer.Append(name, "\t");

    const std::vector<char> text = std::move(writer).Take();

    EXPECT_EQ(2 * ItemText::SizeOf(name, "\t"), text.size());
    EXPECT_EQ(text.size() + 4, text.capacity());
}

TEST(AnItemTextWriter, MakesRoomAsItIsNeeded) {
    ItemTextWriter writer(1);
    string expected;
    for (int item = 0; item < 1000; ++item) {
        writer.Append(std::to_string(item), "a\tb");
        expected += std::to_string(item) + "\ta\\tb\n";
    }

    EXPECT_EQ(expected, Taken(writer));
}

// Every way in which an item can lie across the end of the room and the beginning of the next
// piece.
TEST(AnItemTextWriter, SplitsAnItemWhereTheRoomEnds) {
    for (const string& name : {string("plain name"), string("\\a\tb\nc"), string()}) {
        const string item = Written(name, "i\\d");
        for (std::size_t room = 0; room <= 2 * item.size(); ++room) {
            ItemTextWriter writer(room);
            for (int time = 0; time < 3; ++time) writer.Append(name, "i\\d");
            ASSERT_EQ(item + item + item, Taken(writer)) << "room for " << room;
        }
    }
}

TEST(AnItemTextWriter, JoinsPiecesOfItemsThatAreLargerThanAPiece) {
    const string huge(70000, 'h');
    ItemTextWriter writer(10);
    string expected;
    for (int time = 0; time < 3; ++time) {
        writer.Append("short", "id");
        writer.Append(huge, "\n" + huge);
        expected += Written("short", "id") + huge + "\t\\n" + huge + "\n";
    }

    EXPECT_EQ(expected, Taken(writer));
}

TEST(AnItemTextWriter, HasNoRoomToSpareForATextThatOutgrewIt) {
    ItemTextWriter writer(100);
    for (int time = 0; time < 100; ++time) writer.Append("name", "id");

    const std::vector<char> text = std::move(writer).Take();

    EXPECT_EQ(text.size(), text.capacity());
}

TEST(AnItemTextWriter, NeverHoldsHalfAnItem) {
    const string plain(100, 'p');
    for (const string& name : {plain, plain + "\n"}) {
        ItemTextWriter writer(ItemText::SizeOf("A", "a") + 101);
        writer.Append("A", "a");
        {
            const recording::FailingAllocation outOfMemory(1);
            EXPECT_THROW(writer.Append(name, plain), std::bad_alloc);
        }
        writer.Append("B", "b");

        EXPECT_EQ("A\ta\nB\tb\n", Taken(writer));
    }
}
