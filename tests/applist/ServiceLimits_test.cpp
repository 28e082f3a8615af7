// SPDX-License-Identifier: MIT

#include "applist/ServiceLimits.h"

#include <new>
#include <stdexcept>
#include <string>

#include "support/PlainModel.h"
#include "support/RecordingAllocator.h"
#include "support/RecordingInside.h"
#include "support/RecordingService.h"

using applist::CurrentServiceLimits;
using applist::ServiceLimits;
using applist::SetServiceLimits;
using recording::Events;
using recording::FailingAllocation;
using recording::PlainModel;
using recording::RecordingService;
using recording::Text;
using std::string;

namespace {

// Sets limits before a service is built, and the ones by default after it.
class WithLimits {
protected:
    explicit WithLimits(const ServiceLimits& limits) { SetServiceLimits(limits); }
    ~WithLimits() { SetServiceLimits(ServiceLimits()); }
};

// Three items, of 30 bytes together.
const ServiceLimits kFew = {3, 30};

const char kReceived[] = "debug HandleMessage: IPC HandleMessage";

string Refused(const string& call, const string& present) {
    return "error HasRoomFor: " + call + " refused at a limit: partners have " + present;
}

}  // namespace

TEST(TheServiceLimits, AreGenerousByDefault) {
    EXPECT_EQ(1000000u, CurrentServiceLimits().items);
    EXPECT_EQ(256u << 20, CurrentServiceLimits().bytes);
}

TEST(TheServiceLimits, AreThoseThatWereSetLast) {
    SetServiceLimits({1, 2});
    EXPECT_EQ(1u, CurrentServiceLimits().items);
    EXPECT_EQ(2u, CurrentServiceLimits().bytes);
    SetServiceLimits(ServiceLimits());
}

class AServiceWithLimits : private WithLimits, public RecordingService {
protected:
    AServiceWithLimits() : WithLimits(kFew) {}

    string Add(const string& name, const string& id) {
        return Call(APPLIST_ADD_ITEM_AT_END_FNC, Text(name, id));
    }
    string Replace(const string& oldId, const string& name, const string& id) {
        return Call(APPLIST_MODIFY_ITEM_FNC, Text("", oldId) + Text(name, id));
    }
    void FillWithItems() {
        Call(APPLIST_ADD_ITEMS_FNC, Text("A", "a") + Text("B", "b") + Text("C", "c"));
        TakeEvents();
    }
    void FillWithBytes() {
        Add(string(10, 'n'), string(20, 'i'));
        TakeEvents();
    }

    void ExpectContent(const string& content) {
        EXPECT_EQ(content, m_model.Content());
        EXPECT_EQ(content, RegistryContent());
    }
};

TEST_F(AServiceWithLimits, TakesAsManyItemsAsTheyAllow) {
    Add("A", "a");
    Add("B", "b");
    Add("C", "c");

    ExpectContent("A/a B/b C/c");
}

TEST_F(AServiceWithLimits, DoesNothingForOneMoreAndSaysSo) {
    FillWithItems();

    EXPECT_EQ("", Add("D", "d"));

    EXPECT_EQ(Events({kReceived, "debug OnMessageReceive: Remote call: AddItemAtEnd",
                      Refused("AddItemAtEnd", "3 of 3 items, 6 of 30 bytes")}),
              TakeEvents());
    ExpectContent("A/a B/b C/c");
}

TEST_F(AServiceWithLimits, CountsAnEmptyItemToo) {
    FillWithItems();

    Call(APPLIST_ADD_ITEM_AT_END_FNC, "no item");

    ExpectContent("A/a B/b C/c");
}

TEST_F(AServiceWithLimits, TakesAsManyBytesAsTheyAllow) {
    Add(string(9, 'n'), string(20, 'i'));
    Add("1", "");

    EXPECT_EQ(2u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, DoesNothingForOneByteMore) {
    FillWithBytes();

    EXPECT_EQ("", Add("", "1"));
    EXPECT_NE(string::npos,
              TakeEvents().find(Refused("AddItemAtEnd", "1 of 3 items, 30 of 30 bytes")));

    EXPECT_EQ("", Add("", ""));
    EXPECT_EQ(2u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, CountsStringsAndNotTheirEscapes) {
    Add("\\t\\t\\t\\t\\t\\t\\t\\t\\t\\t", "\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\\");

    EXPECT_EQ(1u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, TakesABatchThatJustFits) {
    Add("A", "a");
    Call(APPLIST_ADD_ITEMS_FNC, Text("B", "b") + Text("C", string(25, 'c')));

    EXPECT_EQ(3u, m_model.Items().size());
    EXPECT_EQ(3u, recording::RegistryOf(*m_service).size());
}

// Which half of a batch was added is something that its sender could only find out by reading.
TEST_F(AServiceWithLimits, TakesABatchWhollyOrNotAtAll) {
    Add("A", "a");
    TakeEvents();

    EXPECT_EQ("", Call(APPLIST_ADD_ITEMS_FNC, Text("B", "b") + Text("C", "c") + Text("D", "d")));
    EXPECT_EQ(Events({kReceived, "debug OnMessageReceive: Remote call: AddItems",
                      Refused("AddItems", "1 of 3 items, 2 of 30 bytes")}),
              TakeEvents());

    Call(APPLIST_ADD_ITEMS_FNC, Text("B", "b") + Text("C", string(26, 'c')));
    ExpectContent("A/a");
}

TEST_F(AServiceWithLimits, TakesAnEmptyBatchWhenItIsFull) {
    FillWithItems();

    Call(APPLIST_ADD_ITEMS_FNC);

    EXPECT_NE(string::npos, TakeEvents().find("model AddItems\n"));
}

TEST_F(AServiceWithLimits, DoesNotCountTheApplicationsOwnItems) {
    for (int item = 0; item < 10; ++item) m_model.Own(string(100, 'o'), "own");

    Add("A", "a");

    EXPECT_EQ(11u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, HasRoomAgainAfterARemoval) {
    FillWithItems();
    Call(APPLIST_REMOVE_ITEM_FNC, Text("", "b"));

    Add("D", string(25, 'd'));

    EXPECT_EQ(3u, m_model.Items().size());
}

// The application may change a partner's item where it is.
TEST_F(AServiceWithLimits, HasTheSameRoomWhenAnItemHasGrownBeforeItsRemoval) {
    Add("A", "a");
    dynamic_cast<RemoteAppListItem&>(*m_model.Items().at(0)) =
        RemoteAppListItem(string(1000, 'A'), "a");
    Call(APPLIST_REMOVE_ITEM_FNC, Text("", "a"));

    Add("B", string(29, 'b'));
    Add("C", "c");

    EXPECT_EQ(1u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, HasTheSameRoomWhenAnItemHasShrunkBeforeItsRemoval) {
    Add("A", string(29, 'a'));
    dynamic_cast<RemoteAppListItem&>(*m_model.Items().at(0)) = RemoteAppListItem("", "a");
    Call(APPLIST_REMOVE_ITEM_FNC, Text("", "a"));

    Add("B", string(29, 'b'));

    EXPECT_EQ(1u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, HasAllItsRoomAgainAfterTheRemovalOfAll) {
    FillWithBytes();
    Call(APPLIST_REMOVE_ALL_ITEMS_FNC);

    FillWithBytes();

    EXPECT_EQ(1u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, ReplacesByAnItemOfTheSameLengthWhenItIsFull) {
    FillWithBytes();

    Replace(string(20, 'i'), string(20, 'N'), string(10, 'I'));

    ExpectContent(string(20, 'N') + "/" + string(10, 'I'));
}

TEST_F(AServiceWithLimits, DoesNotReplaceByAnItemThatIsTooLong) {
    FillWithBytes();

    EXPECT_EQ("", Replace(string(20, 'i'), string(20, 'N'), string(11, 'I')));

    EXPECT_EQ(Events({kReceived, "debug OnMessageReceive: Remote call: ModifyItem",
                      Refused("ModifyItem", "1 of 3 items, 30 of 30 bytes")}),
              TakeEvents());
    ExpectContent(string(10, 'n') + "/" + string(20, 'i'));
}

TEST_F(AServiceWithLimits, HasRoomAgainAfterAReplacementByAShorterItem) {
    FillWithBytes();
    Replace(string(20, 'i'), "N", "I");

    Add(string(14, 'n'), string(14, 'i'));

    EXPECT_EQ(2u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, TakesNoRoomForWhatTheModelRefused) {
    m_model.m_throwsFrom = "AddItemAtEnd";
    for (int time = 0; time < 4; ++time) {
        EXPECT_THROW(FillWithBytes(), std::runtime_error);
        delete m_model.m_newestItem;
    }
    m_model.m_throwsFrom.clear();

    FillWithBytes();

    EXPECT_EQ(1u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, TakesNoRoomForWhatThereWasNoMemoryFor) {
    for (std::size_t nth = 1; m_model.Items().empty(); ++nth) {
        std::vector<char> message =
            recording::Frame(Text(string(5, 'n'), string(20, 'i')) + Text("", string(5, 'i')),
                             APPLIST_ADD_ITEMS_FNC);
        const FailingAllocation outOfMemory(nth);
        try {
            TesselDbusLocal::Newest()->HandleMessage(message);
        } catch (const std::bad_alloc&) {
        }
        ASSERT_LT(nth, 1000u) << "there is never room";
    }
    EXPECT_EQ(2u, m_model.Items().size());
}

TEST_F(AServiceWithLimits, KeepsToThoseThatWereSetWhenItWasBuilt) {
    SetServiceLimits(ServiceLimits::None());
    FillWithItems();

    Add("D", "d");

    EXPECT_EQ(3u, m_model.Items().size());
}

class AServiceThatTakesNothing : private WithLimits, public RecordingService {
protected:
    AServiceThatTakesNothing() : WithLimits({0, 0}) {}
};

TEST_F(AServiceThatTakesNothing, RefusesAnEmptyItem) {
    Call(APPLIST_ADD_ITEM_AT_END_FNC, Text("", ""));

    EXPECT_TRUE(m_model.Items().empty());
}

class AServiceWithoutLimits : private WithLimits, public RecordingService {
protected:
    AServiceWithoutLimits() : WithLimits(ServiceLimits::None()) {}
};

TEST_F(AServiceWithoutLimits, TakesWhatThereIs) {
    for (int item = 0; item < 100; ++item) {
        Call(APPLIST_ADD_ITEM_AT_END_FNC, Text(string(1000, 'n'), "id"));
    }
    EXPECT_EQ(100u, m_model.Items().size());
}

// A list that runs out of memory in a replacement, with both items in it.
class AListOfBothItems : public PlainModel {
public:
    void ModifyItem(AppListItem*, AppListItem* newItem) override {
        AddItemAtEnd(newItem);
        throw std::bad_alloc();
    }
};

class AServiceBeyondItsLimits : private WithLimits, public ::testing::Test {
protected:
    AServiceBeyondItsLimits() : WithLimits(kFew) {
        m_list.m_watches = false;
        Call(APPLIST_ADD_ITEM_AT_END_FNC, Text(string(10, 'n'), "old"));
        const string replaced = Text("", "old") + Text(string(10, 'n'), string(10, 'i'));
        EXPECT_THROW(Call(APPLIST_MODIFY_ITEM_FNC, replaced), std::bad_alloc);
    }

    static void Call(int function, const string& payload) {
        std::vector<char> message = recording::Frame(payload, function);
        TesselDbusLocal::Newest()->HandleMessage(message);
    }

    AListOfBothItems m_list;
    LocalAppListModel m_service{&m_list};
};

TEST_F(AServiceBeyondItsLimits, TakesNoMoreBytes) {
    Call(APPLIST_ADD_ITEM_AT_END_FNC, Text("", "1"));

    EXPECT_EQ(2, m_list.GetItemsCount());
}
