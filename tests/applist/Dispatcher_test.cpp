// SPDX-License-Identifier: MIT

#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/RecordingAllocator.h"
#include "support/RecordingInside.h"
#include "support/RecordingService.h"

using recording::Events;
using recording::RecordingService;
using recording::Text;
using std::string;

namespace {

const char kReceived[] = "debug HandleMessage: IPC HandleMessage";

// One line that the dispatcher logs.
string Called(const string& message) {
    return "debug OnMessageReceive: " + message;
}

string WithoutLast(const string& text) {
    return text.substr(0, text.size() - 1);
}

// Too long for a string to hold without memory of its own.
const string kLong(40, 'n');

// An item that enters each question into the journal.
class JournaledItem : public AppListItem {
public:
    explicit JournaledItem(string id) : m_id(std::move(id)) {}
    string GetVisibleName() override {
        recording::Journal::Get().Add("name of " + m_id);
        return "Name of " + m_id;
    }
    string GetUnigueId() override {
        recording::Journal::Get().Add("id of " + m_id);
        return m_id;
    }

private:
    string m_id;
};

// A list of two of them, the second one selected.
class AskedModel : public recording::RecordingModel {
public:
    AppListItem* GetSelection() override {
        RecordingModel::GetSelection();
        return &m_second;
    }
    std::vector<AppListItem*> GetAllItems() override {
        RecordingModel::GetAllItems();
        return {&m_first, &m_second};
    }

private:
    JournaledItem m_first = JournaledItem("a");
    JournaledItem m_second = JournaledItem("b");
};

}  // namespace

class ARemoteSelection : public RecordingService {};

TEST_F(ARemoteSelection, IsLoggedAndHandedToTheModel) {
    m_model.Own("Maps", "maps");

    EXPECT_EQ("", Call(APPLIST_SET_SELECTION_FNC, Text("Maps", "maps")));

    EXPECT_EQ(Events({kReceived, Called("Remote call: SetSelection"),
                      Called("Selected item name: Maps, uniqueId: maps"),
                      "model SetSelection Maps/maps"}),
              TakeEvents());
}

TEST_F(ARemoteSelection, PassesAStandInThatIsNeitherTheModelsNorTheRegistrys) {
    AddReceived("Maps", "maps");

    Call(APPLIST_SET_SELECTION_FNC, Text("Maps", "maps"));

    EXPECT_NE(nullptr, m_model.m_newestSelectionArgument);
    EXPECT_NE(m_model.Items().front(), m_model.m_newestSelectionArgument);
    EXPECT_EQ("Maps/maps", RegistryContent());
}

TEST_F(ARemoteSelection, SelectsAnEmptyItemForAnEmptyPayload) {
    EXPECT_EQ("", Deliver({'\xD0', '\x07', '\0', '\0'}));

    EXPECT_EQ(Events({kReceived, Called("Remote call: SetSelection"),
                      Called("Selected item name: , uniqueId: "), "model SetSelection /"}),
              TakeEvents());
}

TEST_F(ARemoteSelection, SelectsAnEmptyItemForAPayloadThatIsNoItem) {
    Call(APPLIST_SET_SELECTION_FNC, "ABC");

    EXPECT_NE(string::npos, TakeEvents().find("model SetSelection /\n"));
}

TEST_F(ARemoteSelection, TakesTheFirstItemOfThePayload) {
    Call(APPLIST_SET_SELECTION_FNC, Text("Maps", "maps") + Text("Mail", "mail"));

    EXPECT_NE(string::npos, TakeEvents().find("model SetSelection Maps/maps\n"));
}

class ARemoteSelectionQuery : public RecordingService {};

TEST_F(ARemoteSelectionQuery, AsksTheModelThreeTimes) {
    m_model.Own("Maps", "maps");
    Call(APPLIST_SET_SELECTION_FNC, Text("", "maps"));
    TakeEvents();

    EXPECT_EQ("Maps\tmaps\n", Call(APPLIST_GET_SELECTION_FNC));

    EXPECT_EQ(Events({kReceived, "model GetSelection", "model GetSelection",
                      Called("Remote call: GetSelection. Selected item name: Maps, "
                             "uniqueId: maps"),
                      "model GetSelection"}),
              TakeEvents());
}

TEST_F(ARemoteSelectionQuery, IgnoresItsPayload) {
    EXPECT_EQ("\t\n", Call(APPLIST_GET_SELECTION_FNC, Text("Maps", "maps")));
}

TEST_F(ARemoteSelectionQuery, CarriesEveryByteOfTheItem) {
    const string name("a\0b\xFF\t\n\\", 7);
    m_model.Own(name, "id");
    Call(APPLIST_SET_SELECTION_FNC, Text("", "id"));

    EXPECT_EQ(string("a\0b\xFF\\t\\n\\\\\tid\n", 14), Call(APPLIST_GET_SELECTION_FNC));
}

TEST_F(ARemoteSelectionQuery, AsksTheItemForItsNameAndItsIdTwiceInTurns) {
    AskedModel model;
    const LocalAppListModel service(&model);
    TakeEvents();

    EXPECT_EQ("Name of b\tb\n", Call(APPLIST_GET_SELECTION_FNC));

    EXPECT_EQ(Events({kReceived, "model GetSelection", "name of b", "model GetSelection", "id of b",
                      Called("Remote call: GetSelection. Selected item name: Name of b, "
                             "uniqueId: b"),
                      "model GetSelection", "name of b", "id of b"}),
              TakeEvents());
}

class ARemoteListQuery : public RecordingService {};

TEST_F(ARemoteListQuery, AsksEachItemOnceForItsNameAndThenForItsId) {
    AskedModel model;
    const LocalAppListModel service(&model);
    TakeEvents();

    EXPECT_EQ("Name of a\ta\nName of b\tb\n", Call(APPLIST_GET_ALL_ITEMS_FNC));

    EXPECT_EQ(Events({kReceived, Called("Remote call: GetAllItems"), "model GetAllItems",
                      "name of a", "id of a", "name of b", "id of b"}),
              TakeEvents());
}

TEST_F(ARemoteListQuery, CarriesItemsLongerThanWhatIsPutAsideForThem) {
    const string name(100000, 'n');
    m_model.Own("A", "a");
    m_model.Own(name, "long");
    m_model.Own("C\n", "c");

    EXPECT_EQ("A\ta\n" + name + "\tlong\nC\\n\tc\n", Call(APPLIST_GET_ALL_ITEMS_FNC));
}

TEST_F(ARemoteListQuery, AnswersAnEmptyListWithNothing) {
    EXPECT_EQ("", Call(APPLIST_GET_ALL_ITEMS_FNC));

    EXPECT_EQ(Events({kReceived, Called("Remote call: GetAllItems"), "model GetAllItems"}),
              TakeEvents());
}

TEST_F(ARemoteListQuery, AnswersWithTheItemsInModelOrderAndNothingBetweenThem) {
    m_model.Own("Own", "own");
    AddReceived("Maps", "maps");
    m_model.Own("Mail", "mail");

    EXPECT_EQ("Own\town\nMaps\tmaps\nMail\tmail\n", Call(APPLIST_GET_ALL_ITEMS_FNC, "ignored"));
}

TEST_F(ARemoteListQuery, LeavesModelAndRegistryAsTheyAre) {
    m_model.Own("Own", "own");

    Call(APPLIST_GET_ALL_ITEMS_FNC);

    EXPECT_EQ("Own/own", m_model.Content());
    EXPECT_EQ("", RegistryContent());
}

class ARemoteRemovalOfAll : public RecordingService {};

TEST_F(ARemoteRemovalOfAll, AnswersWithNothingAndEmptiesTheWholeList) {
    m_model.Own("Own", "own");
    AddReceived("Maps", "maps");

    EXPECT_EQ("", Call(APPLIST_REMOVE_ALL_ITEMS_FNC, "ignored"));

    EXPECT_EQ("", m_model.Content());
    EXPECT_EQ("", RegistryContent());
}

TEST_F(ARemoteRemovalOfAll, FreesAnItemThatWasJustAddedOnce) {
    Call(APPLIST_ADD_ITEM_AT_END_FNC, Text("Maps", "maps"));
    TakeEvents();

    Call(APPLIST_REMOVE_ALL_ITEMS_FNC);

    EXPECT_EQ(Events({kReceived, Called("Remote call: RemoveAllItems"), "model RemoveAllItems",
                      Called("Removing items"), "delete #1 of #1"}),
              TakeEvents());
    EXPECT_TRUE(recording::RegistryOf(*m_service).empty());
}

class ARemoteBatch : public RecordingService {
protected:
    const string m_three = Text("A", "a") + Text("B", "b") + Text("C", "c");
};

TEST_F(ARemoteBatch, LogsEachItemThenHandsAllToTheModelAtOnce) {
    EXPECT_EQ("", Call(APPLIST_ADD_ITEMS_FNC, m_three));

    EXPECT_EQ(Events({kReceived, Called("Remote call: AddItems"),
                      Called(" - RemoteAppListItem name: A, uniqueId: a"),
                      Called(" - RemoteAppListItem name: B, uniqueId: b"),
                      Called(" - RemoteAppListItem name: C, uniqueId: c"),
                      "model AddItems #1 A/a, #2 B/b, #3 C/c",
                      Called("3 items has been added to Applist")}),
              TakeEvents());
    EXPECT_EQ("#1 #2 #3", RegistryNumbers());
}

TEST_F(ARemoteBatch, CallsTheModelWithAnEmptyListForAnEmptyPayload) {
    EXPECT_EQ("", Call(APPLIST_ADD_ITEMS_FNC));

    EXPECT_EQ(Events({kReceived, Called("Remote call: AddItems"), "model AddItems",
                      Called("0 items has been added to Applist")}),
              TakeEvents());
}

TEST_F(ARemoteBatch, DropsTheLastItemWhenItsTerminatorIsMissing) {
    Call(APPLIST_ADD_ITEMS_FNC, WithoutLast(m_three));

    EXPECT_NE(string::npos, TakeEvents().find("2 items has been added to Applist"));
    EXPECT_EQ("A/a B/b", RegistryContent());
    EXPECT_EQ("A/a B/b", m_model.Content());
}

TEST_F(ARemoteBatch, AddsTheLastItemWhenItsTerminatorIsThere) {
    Call(APPLIST_ADD_ITEMS_FNC, WithoutLast(m_three) + "\n");

    EXPECT_EQ("A/a B/b C/c", m_model.Content());
}

TEST_F(ARemoteBatch, StopsAtTheFirstLineThatIsNoItem) {
    Call(APPLIST_ADD_ITEMS_FNC, Text("A", "a") + "no item\n" + Text("C", "c"));

    EXPECT_EQ("A/a", m_model.Content());
}

TEST_F(ARemoteBatch, KeepsItemsWithEqualIds) {
    Call(APPLIST_ADD_ITEMS_FNC, Text("A", "a") + Text("B", "a"));

    EXPECT_EQ("A/a B/a", RegistryContent());
}

// Each item is the registry's as soon as it is read, so a model that throws costs no item.
TEST_F(ARemoteBatch, KeepsItsItemsWhenTheModelThrows) {
    m_model.m_throwsFrom = "AddItems";

    EXPECT_THROW(Call(APPLIST_ADD_ITEMS_FNC, m_three), std::runtime_error);

    EXPECT_EQ("A/a B/b C/c", RegistryContent());
    EXPECT_EQ(string::npos, TakeEvents().find("has been added"));
}

class ARemoteAdd : public RecordingService {};

TEST_F(ARemoteAdd, HandsANewItemToTheModelAndKeepsIt) {
    EXPECT_EQ("", Call(APPLIST_ADD_ITEM_AT_END_FNC, Text("Maps", "maps")));

    EXPECT_EQ(
        Events({kReceived, Called("Remote call: AddItemAtEnd"), "model AddItemAtEnd #1 Maps/maps"}),
        TakeEvents());
    EXPECT_EQ("#1", RegistryNumbers());
}

TEST_F(ARemoteAdd, AddsAnEmptyItemForAPayloadThatIsNoItem) {
    Call(APPLIST_ADD_ITEM_AT_END_FNC, "Maps\tmaps");

    EXPECT_EQ("/", m_model.Content());
    EXPECT_EQ("/", RegistryContent());
}

// The model is told first: an item that it refused by throwing never enters the registry.
TEST_F(ARemoteAdd, IsNotInTheRegistryWhenTheModelThrows) {
    m_model.m_throwsFrom = "AddItemAtEnd";

    EXPECT_THROW(Call(APPLIST_ADD_ITEM_AT_END_FNC, Text("Maps", "maps")), std::runtime_error);

    EXPECT_EQ("", RegistryContent());
    delete m_model.m_newestItem;
}

TEST_F(ARemoteAdd, TakesTheFirstItemOfThePayload) {
    Call(APPLIST_ADD_ITEM_AT_END_FNC, Text("A", "a") + Text("B", "b"));

    EXPECT_EQ("A/a", m_model.Content());
}

class ARemoteClick : public RecordingService {};

TEST_F(ARemoteClick, IsLoggedAndNeverReachesTheModel) {
    m_model.Own("Maps", "maps");

    EXPECT_EQ("", Call(APPLIST_SET_CLICKED_FNC, Text("Maps", "maps")));

    EXPECT_EQ(
        Events({kReceived, Called("Remote call: SetClicked. This function is not implemented")}),
        TakeEvents());
}

class ARemoteModification : public RecordingService {
protected:
    string Modify(const string& oldItem, const string& newItem) {
        return Call(APPLIST_MODIFY_ITEM_FNC, oldItem + newItem);
    }
};

TEST_F(ARemoteModification, ReplacesTheOldItemWhenTheNewIdIsFree) {
    AddReceived("Maps", "maps");

    EXPECT_EQ("", Modify(Text("", "maps"), Text("Atlas", "atlas")));

    EXPECT_EQ("Atlas/atlas", m_model.Content());
    EXPECT_EQ("Atlas/atlas", RegistryContent());
}

TEST_F(ARemoteModification, OnlyRemovesTheOldItemWhenTheNewIdIsTaken) {
    AddReceived("Maps", "maps");
    AddReceived("Stays", "taken");

    Modify(Text("", "maps"), Text("Another name", "taken"));

    EXPECT_EQ(Events({kReceived, Called("Remote call: ModifyItem"),
                      "debug PrivateRemoveItem: Removing item name: Maps, uniqueId: maps",
                      "model RemoveItem #1 Maps/maps", "delete #1 of #1 #2"}),
              TakeEvents());
    EXPECT_EQ("Stays/taken", RegistryContent());
}

TEST_F(ARemoteModification, RemovesTheItemWhoseOwnIdIsTheNewOne) {
    AddReceived("Maps", "maps");

    Modify(Text("Maps", "maps"), Text("Renamed", "maps"));

    EXPECT_EQ("", m_model.Content());
    EXPECT_EQ("", RegistryContent());
}

TEST_F(ARemoteModification, DoesNothingWhenTheOldIdIsAbsentAndTheNewOneTaken) {
    AddReceived("Stays", "taken");

    Modify(Text("", "absent"), Text("New", "taken"));

    EXPECT_EQ(Events({kReceived, Called("Remote call: ModifyItem")}), TakeEvents());
    EXPECT_EQ("Stays/taken", RegistryContent());
}

TEST_F(ARemoteModification, ReplacesByAnEmptyItemWhenTheNewOneIsMissing) {
    AddReceived("Maps", "maps");

    Modify(Text("", "maps"), "");

    EXPECT_EQ("/", RegistryContent());
}

// An id that only the application's own items carry is free: the registry alone is searched.
TEST_F(ARemoteModification, DoesNotLookAtTheApplicationsOwnItems) {
    m_model.Own("Own", "taken");
    AddReceived("Maps", "maps");

    Modify(Text("", "maps"), Text("New", "taken"));

    EXPECT_EQ("Own/taken New/taken", m_model.Content());
}

class AnUndefinedCall : public RecordingService {};

TEST_F(AnUndefinedCall, IsLoggedWithItsIdAndAnsweredWithNothing) {
    for (const int id : {0, 1, 2, 3, 4, 5, -1, 1999, 2009, 65536 + 2000, -2147483647 - 1}) {
        EXPECT_EQ("", Call(id, Text("Maps", "maps"))) << "id " << id;
        EXPECT_EQ(Events({kReceived, Called("Call to undefined function: " + std::to_string(id))}),
                  TakeEvents());
    }
}

class ACallOfEachFunction : public RecordingService {};

TEST_F(ACallOfEachFunction, IsNeverCalledUndefined) {
    for (int id = APPLIST_SET_SELECTION_FNC; id <= APPLIST_MODIFY_ITEM_FNC; ++id) {
        Call(id, Text("Maps", "maps"));
        EXPECT_EQ(string::npos, TakeEvents().find("undefined")) << "id " << id;
    }
}

TEST_F(ACallOfEachFunction, SendsNoEventWhenTheModelReportsNone) {
    for (int id = APPLIST_SET_SELECTION_FNC; id <= APPLIST_MODIFY_ITEM_FNC; ++id) {
        Call(id, Text("Maps", "maps") + Text("Atlas", "atlas"));
        EXPECT_EQ(string::npos, TakeEvents().find("send")) << "id " << id;
    }
}

TEST_F(ACallOfEachFunction, SendsWhatTheModelReportsWhileTheCallRuns) {
    m_model.m_raisesEvents = true;

    Call(APPLIST_ADD_ITEM_AT_END_FNC, Text("Maps", "maps"));

    EXPECT_EQ(
        Events({kReceived, Called("Remote call: AddItemAtEnd"), "model AddItemAtEnd #1 Maps/maps",
                "debug ItemChanged: Sending Item Change Event to remote object",
                "send 01 00 00 00"}),
        TakeEvents());
}

class ACallWithoutMemory : public RecordingService {
protected:
    ACallWithoutMemory() {
        m_model.Own(kLong + "\t", kLong + "1");
        m_model.Own(kLong, kLong + "2");
        m_model.Own(kLong, kLong + "3");
    }

    // Calls when there is no memory for the first allocation, or the second, and so on, until it
    // takes no more; returns the reply that comes then, and expects an exception before.
    string CallWhateverRunsOut(int id, const string& payload = "") {
        for (std::size_t nth = 1;; ++nth) {
            std::vector<char> message = recording::Frame(payload, id);
            const std::vector<char> reply = ReplyWithout(nth, message);
            m_states.push_back(m_model.Content());
            m_registered.push_back(recording::RegistryOf(*m_service).size());
            if (!m_hasFailed) return string(reply.begin(), reply.end());
            EXPECT_TRUE(reply.empty()) << "nobody heard of allocation " << nth;
        }
    }

    std::vector<string> m_states;           // of the model, after each call
    std::vector<std::size_t> m_registered;  // how many received items there were then

private:
    std::vector<char> ReplyWithout(std::size_t nth, std::vector<char>& message) {
        const recording::FailingAllocation outOfMemory(nth);
        m_hasFailed = true;
        try {
            std::vector<char> reply = TesselDbusLocal::Newest()->HandleMessage(message);
            m_hasFailed = outOfMemory.HasFailed();
            return reply;
        } catch (const std::bad_alloc&) {
            return std::vector<char>();
        }
    }

    bool m_hasFailed = true;
};

TEST_F(ACallWithoutMemory, IsNeverAnsweredWithHalfAList) {
    EXPECT_EQ(kLong + "\\t\t" + kLong + "1\n" + Text(kLong, kLong + "2") + Text(kLong, kLong + "3"),
              CallWhateverRunsOut(APPLIST_GET_ALL_ITEMS_FNC));
}

TEST_F(ACallWithoutMemory, IsNeverAnsweredWithHalfASelection) {
    Call(APPLIST_SET_SELECTION_FNC, Text("", kLong + "2"));

    EXPECT_EQ(Text(kLong, kLong + "2"), CallWhateverRunsOut(APPLIST_GET_SELECTION_FNC));
}

TEST_F(ACallWithoutMemory, NeverAddsHalfABatch) {
    const string before = m_model.Content();
    const std::size_t registered = recording::RegistryOf(*m_service).size();
    const string added = " B/b " + kLong + "/" + kLong + " C/c";

    CallWhateverRunsOut(APPLIST_ADD_ITEMS_FNC,
                        Text("B", "b") + Text(kLong, kLong) + Text("C", "c"));

    EXPECT_EQ(before + added, m_states.back());
    m_states.pop_back();
    for (const string& state : m_states) EXPECT_EQ(before, state);
    // The whole batch at once, and taken back if it failed before the model was given it.
    for (const std::size_t count : m_registered) {
        EXPECT_TRUE(count % 3 == registered % 3) << count << " after " << registered;
    }
}

class ATruncatedMessage : public RecordingService {};

TEST_F(ATruncatedMessage, IsAnsweredWithNothing) {
    for (std::size_t length = 0; length < 4; ++length) {
        EXPECT_EQ("", Deliver(std::vector<char>(length, '\x07')));
        EXPECT_EQ(Events({kReceived,
                          "error HandleMessage: Data corrupted. Does not contain message id."}),
                  TakeEvents())
            << "a message of " << length << " bytes";
    }
}

class APartner : public RecordingService {};

TEST_F(APartner, ReadsAListReplyItemByItemUntilAReadFails) {
    AddReceived("Maps", "maps");
    AddReceived("Mail", "mail");
    std::istringstream reply(Call(APPLIST_GET_ALL_ITEMS_FNC));

    RemoteAppListItem first;
    RemoteAppListItem second;
    RemoteAppListItem none;
    EXPECT_TRUE(reply >> first >> second);
    EXPECT_EQ("maps mail", first.GetUnigueId() + " " + second.GetUnigueId());
    EXPECT_FALSE(reply >> none);
}

TEST_F(APartner, GetsBackTheBytesThatItSent) {
    string everyByte;
    for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
    std::ostringstream request;
    request << RemoteAppListItem(everyByte, everyByte);

    Call(APPLIST_ADD_ITEM_AT_END_FNC, request.str());

    EXPECT_EQ(request.str(), Call(APPLIST_GET_ALL_ITEMS_FNC));
    EXPECT_EQ(everyByte, m_model.Items().front()->GetUnigueId());
}

TEST_F(APartner, CannotMakeALogLineOutOfAName) {
    Call(APPLIST_SET_SELECTION_FNC, Text("%s%n%d", "100%"));

    EXPECT_NE(string::npos,
              TakeEvents().find(Called("Selected item name: %s%n%d, uniqueId: 100%")));
}
