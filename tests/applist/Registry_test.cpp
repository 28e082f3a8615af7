// SPDX-License-Identifier: MIT

#include <new>
#include <stdexcept>
#include <string>

#include "support/RecordingAllocator.h"
#include "support/RecordingInside.h"
#include "support/RecordingService.h"

using recording::AllocationsSoFar;
using recording::Events;
using recording::FailingAllocation;
using recording::RecordingService;
using recording::RegistryOf;
using recording::RemoveFromRegistry;
using recording::ReplaceInRegistry;
using recording::Text;
using std::string;

namespace {

string Two(const string& oldId, const string& newName, const string& newId) {
    return Text("whatever", oldId) + Text(newName, newId);
}

}  // namespace

class ARegistry : public RecordingService {
protected:
    string Remove(const string& id) { return Call(APPLIST_REMOVE_ITEM_FNC, Text("", id)); }
};

TEST_F(ARegistry, IsEmptyAtFirst) {
    EXPECT_EQ("", RegistryContent());
}

TEST_F(ARegistry, KeepsItemsInTheOrderOfTheirArrival) {
    AddReceived("B", "b");
    AddReceived("A", "a");
    Call(APPLIST_ADD_ITEMS_FNC, Text("D", "d") + Text("C", "c"));

    EXPECT_EQ("B/b A/a D/d C/c", RegistryContent());
}

TEST_F(ARegistry, HoldsTheVeryObjectsThatTheModelWasGiven) {
    AddReceived("A", "a");
    Call(APPLIST_ADD_ITEMS_FNC, Text("B", "b") + Text("C", "c"));

    ASSERT_EQ(3u, m_model.Items().size());
    for (std::size_t at = 0; at < 3; ++at) {
        EXPECT_EQ(m_model.Items()[at], RegistryOf(*m_service)[at]) << "at position " << at;
    }
}

TEST_F(ARegistry, DoesNotHoldTheApplicationsOwnItems) {
    m_model.Own("Own", "own");

    Remove("own");

    EXPECT_EQ("", RegistryContent());
    EXPECT_EQ("Own/own", m_model.Content());
}

TEST_F(ARegistry, LogsThenTellsTheModelThenDeletesThenErases) {
    AddReceived("Maps", "maps");
    AddReceived("Mail", "mail");

    Remove("maps");

    EXPECT_EQ(Events({"debug HandleMessage: IPC HandleMessage",
                      "debug OnMessageReceive: Remote call: RemoveItem",
                      "debug PrivateRemoveItem: Removing item name: Maps, uniqueId: maps",
                      "model RemoveItem #1 Maps/maps", "delete #1 of #1 #2"}),
              TakeEvents());
    EXPECT_EQ("#2", RegistryNumbers());
}

TEST_F(ARegistry, DoesNothingForAnIdThatItDoesNotHold) {
    AddReceived("Maps", "maps");

    Remove("mail");

    EXPECT_EQ(Events({"debug HandleMessage: IPC HandleMessage",
                      "debug OnMessageReceive: Remote call: RemoveItem"}),
              TakeEvents());
    EXPECT_EQ("#1", RegistryNumbers());
    EXPECT_EQ("Maps/maps", m_model.Content());
}

TEST_F(ARegistry, GivesTheModelThePointerThatItWasGivenAtTheAdd) {
    AddReceived("Maps", "maps");
    const AppListItem* const added = m_model.Items().front();

    m_model.m_throwsFrom = "RemoveItem";
    EXPECT_THROW(Remove("maps"), std::runtime_error);

    EXPECT_EQ(added, RegistryOf(*m_service).front());
    EXPECT_NE(string::npos, TakeEvents().find("model RemoveItem #1 Maps/maps\n"));
}

TEST_F(ARegistry, KeepsTheOrderOfTheOthersWhenTheMiddleOneGoes) {
    AddReceived("A", "a");
    AddReceived("B", "b");
    AddReceived("C", "c");

    Remove("b");

    EXPECT_EQ("#1 #3", RegistryNumbers());
    EXPECT_EQ("A/a C/c", RegistryContent());
}

TEST_F(ARegistry, LogsTheNameOfTheStoredItemAndNotThatOfTheRequest) {
    AddReceived("Stored", "maps");

    Call(APPLIST_REMOVE_ITEM_FNC, Text("Requested", "maps"));

    EXPECT_NE(string::npos,
              TakeEvents().find("debug PrivateRemoveItem: Removing item name: Stored, "
                                "uniqueId: maps\n"));
}

TEST_F(ARegistry, KeepsTheItemWhenTheModelThrowsAtItsRemoval) {
    AddReceived("Maps", "maps");
    m_model.m_throwsFrom = "RemoveItem";

    EXPECT_THROW(Remove("maps"), std::runtime_error);

    EXPECT_EQ(string::npos, TakeEvents().find("delete"));
    EXPECT_EQ("Maps/maps", RegistryContent());
}

TEST_F(ARegistry, LetsNoLaterCallOfTheModelTouchARemovedItem) {
    AddReceived("Maps", "maps");
    AddReceived("Mail", "mail");
    Call(APPLIST_SET_SELECTION_FNC, Text("", "maps"));

    Remove("maps");
    Call(APPLIST_SET_SELECTION_FNC, Text("", "maps"));

    EXPECT_EQ(Text("", ""), Call(APPLIST_GET_SELECTION_FNC));
    EXPECT_EQ(Text("Mail", "mail"), Call(APPLIST_GET_ALL_ITEMS_FNC));
}

class ARegistryWithTwoEqualIds : public ARegistry {
protected:
    ARegistryWithTwoEqualIds() {
        AddReceived("Earlier", "twin");
        AddReceived("Other", "other");
        AddReceived("Later", "twin");
    }
};

TEST_F(ARegistryWithTwoEqualIds, KeepsBoth) {
    EXPECT_EQ("Earlier/twin Other/other Later/twin", RegistryContent());
}

TEST_F(ARegistryWithTwoEqualIds, RemovesTheEarlierOneFirst) {
    Remove("twin");

    EXPECT_EQ("Other/other Later/twin", RegistryContent());
    EXPECT_EQ("Other/other Later/twin", m_model.Content());
}

TEST_F(ARegistryWithTwoEqualIds, RemovesTheLaterOneWithTheSecondCall) {
    Remove("twin");
    TakeEvents();

    Remove("twin");

    EXPECT_NE(string::npos, TakeEvents().find("delete #3 of #2 #3\n"));
    EXPECT_EQ("Other/other", RegistryContent());
}

TEST_F(ARegistryWithTwoEqualIds, ReplacesTheEarlierOne) {
    Call(APPLIST_MODIFY_ITEM_FNC, Two("twin", "New", "new"));

    EXPECT_EQ("New/new Other/other Later/twin", RegistryContent());
}

class ARegistryAtAReplacement : public ARegistry {
protected:
    ARegistryAtAReplacement() {
        AddReceived("A", "a");
        AddReceived("Stored", "b");
        AddReceived("C", "c");
    }

    string Replace(const string& oldId, const string& newName, const string& newId) {
        return Call(APPLIST_MODIFY_ITEM_FNC, Two(oldId, newName, newId));
    }
};

TEST_F(ARegistryAtAReplacement, LogsThenTellsTheModelThenDeletesThenOverwrites) {
    const char kReplaced[] =
        "debug PrivateModifyItem: Replacing item name: Stored, uniqueId: b with name: New, "
        "uniqueId: new";

    Replace("b", "New", "new");

    EXPECT_EQ(Events({"debug HandleMessage: IPC HandleMessage",
                      "debug OnMessageReceive: Remote call: ModifyItem", kReplaced,
                      "model ModifyItem #2 Stored/b by #4 New/new", "delete #2 of #1 #2 #3"}),
              TakeEvents());
}

TEST_F(ARegistryAtAReplacement, KeepsThePosition) {
    Replace("b", "New", "new");

    EXPECT_EQ("#1 #4 #3", RegistryNumbers());
    EXPECT_EQ("A/a New/new C/c", RegistryContent());
}

TEST_F(ARegistryAtAReplacement, HoldsTheReplacementThatTheModelWasGiven) {
    Replace("b", "New", "new");

    EXPECT_EQ(m_model.Items()[1], RegistryOf(*m_service)[1]);
}

TEST_F(ARegistryAtAReplacement, CallsNothingWhenTheOldIdIsAbsent) {
    Replace("absent", "New", "new");

    EXPECT_EQ(Events({"debug HandleMessage: IPC HandleMessage",
                      "debug OnMessageReceive: Remote call: ModifyItem"}),
              TakeEvents());
    EXPECT_EQ("#1 #2 #3", RegistryNumbers());
}

TEST_F(ARegistryAtAReplacement, LogsTheNameOfTheStoredItemAndNotThatOfTheRequest) {
    Call(APPLIST_MODIFY_ITEM_FNC, Text("Requested", "b") + Text("New", "new"));

    EXPECT_NE(string::npos, TakeEvents().find("Replacing item name: Stored, uniqueId: b with "
                                              "name: New, uniqueId: new\n"));
}

// Strings this short live inside their items, so a replacement is the only thing to allocate.
TEST_F(ARegistryAtAReplacement, AllocatesNothingWhenTheOldIdIsAbsent) {
    const RemoteAppListItem absent("", "absent");
    const RemoteAppListItem replacement("New", "new");
    const std::size_t before = AllocationsSoFar().blocks;

    ReplaceInRegistry(*m_service, absent, replacement);

    EXPECT_EQ(before, AllocationsSoFar().blocks);
}

TEST_F(ARegistryAtAReplacement, LogsAndChangesNothingWhenThereIsNoMemoryForTheCopy) {
    const RemoteAppListItem stored("", "b");
    const RemoteAppListItem replacement("New", "new");
    {
        const FailingAllocation outOfMemory(1);
        EXPECT_THROW(ReplaceInRegistry(*m_service, stored, replacement), std::bad_alloc);
    }
    EXPECT_EQ("", TakeEvents());
    EXPECT_EQ("A/a Stored/b C/c", RegistryContent());
}

TEST_F(ARegistryAtAReplacement, KeepsTheOldItemWhenTheModelThrows) {
    m_model.m_throwsFrom = "ModifyItem";

    EXPECT_THROW(Replace("b", "New", "new"), std::runtime_error);

    EXPECT_EQ(string::npos, TakeEvents().find("delete"));
    EXPECT_EQ("#1 #2 #3", RegistryNumbers());
    EXPECT_EQ("A/a Stored/b C/c", RegistryContent());
    // The service has let go of the copy: the model that threw may have kept it.
    delete m_model.m_newestItem;
}

TEST_F(ARegistryAtAReplacement, CopiesTheNewItemForTheModel) {
    RemoteAppListItem replacement("New", "new");

    ReplaceInRegistry(*m_service, RemoteAppListItem("", "b"), replacement);

    EXPECT_NE(&replacement, RegistryOf(*m_service)[1]);
    EXPECT_EQ("A/a New/new C/c", RegistryContent());
}

TEST_F(ARegistryAtAReplacement, RemovesByItsOwnOperationToo) {
    RemoveFromRegistry(*m_service, RemoteAppListItem("", "a"));

    EXPECT_EQ(Events({"debug PrivateRemoveItem: Removing item name: A, uniqueId: a",
                      "model RemoveItem #1 A/a", "delete #1 of #1 #2 #3"}),
              TakeEvents());
}

class ARegistryThatGoes : public ARegistry {
protected:
    ARegistryThatGoes() {
        AddReceived("A", "a");
        AddReceived("B", "b");
        AddReceived("C", "c");
    }
};

TEST_F(ARegistryThatGoes, IsEmptiedFrontToBackAfterTheModel) {
    Call(APPLIST_REMOVE_ALL_ITEMS_FNC);

    EXPECT_EQ(Events({"debug HandleMessage: IPC HandleMessage",
                      "debug OnMessageReceive: Remote call: RemoveAllItems", "model RemoveAllItems",
                      "debug OnMessageReceive: Removing items", "delete #1 of #1 #2 #3",
                      "delete #2 of #1 #2 #3", "delete #3 of #1 #2 #3"}),
              TakeEvents());
    EXPECT_EQ("", RegistryContent());
}

TEST_F(ARegistryThatGoes, KeepsItsItemsWhenTheModelThrowsAtTheRemovalOfAll) {
    m_model.m_throwsFrom = "RemoveAllItems";

    EXPECT_THROW(Call(APPLIST_REMOVE_ALL_ITEMS_FNC), std::runtime_error);

    EXPECT_EQ("A/a B/b C/c", RegistryContent());
}

TEST_F(ARegistryThatGoes, SkipsNullsWhenItIsEmptied) {
    RegistryOf(*m_service).insert(RegistryOf(*m_service).begin() + 1, nullptr);

    Call(APPLIST_REMOVE_ALL_ITEMS_FNC);

    const string events = TakeEvents();
    EXPECT_NE(string::npos, events.find("delete #1"));
    EXPECT_NE(string::npos, events.find("delete #3"));
    EXPECT_TRUE(RegistryOf(*m_service).empty());
}

TEST_F(ARegistryThatGoes, SkipsNullsAtTheEndOfTheService) {
    RegistryOf(*m_service).push_back(nullptr);

    DestroyService();

    EXPECT_NE(string::npos, TakeEvents().find("delete #3"));
}

TEST_F(ARegistryThatGoes, FreesEachItemOnceAtTheEndOfTheServiceWithoutAWordToTheModel) {
    DestroyService();

    EXPECT_EQ(Events({"info UnregisterOnMessage: Unregistered callbackMessageObject",
                      recording::kConnectionHandlerGone, "model RemoveItemSelectionListener",
                      "model RemoveItemChangeListener", "model RemoveItemClickedListener",
                      "delete #1 of #1 #2 #3", "delete #2 of #1 #2 #3", "delete #3 of #1 #2 #3",
                      "transport closes Applist"}),
              TakeEvents());
}

TEST_F(ARegistry, TellsTheModelToRemoveAllEvenWhenItIsEmpty) {
    Call(APPLIST_REMOVE_ALL_ITEMS_FNC);

    EXPECT_EQ(Events({"debug HandleMessage: IPC HandleMessage",
                      "debug OnMessageReceive: Remote call: RemoveAllItems", "model RemoveAllItems",
                      "debug OnMessageReceive: Removing items"}),
              TakeEvents());
    EXPECT_EQ("", RegistryContent());
}
