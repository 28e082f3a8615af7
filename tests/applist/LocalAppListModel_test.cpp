// SPDX-License-Identifier: MIT

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "ipc/TesselDbusLocal.h"
#include "support/RecordingInside.h"
#include "support/RecordingLog.h"
#include "support/RecordingService.h"

using recording::Events;
using recording::Journal;
using recording::LogRecords;
using recording::OwnItem;
using recording::RecordingModel;
using recording::RecordingService;
using recording::Text;
using std::string;

static_assert(std::is_constructible<LocalAppListModel, AppListModel*>::value,
              "an application builds it around its model");
static_assert(!std::is_copy_constructible<LocalAppListModel>::value,
              "two copies would free the same items");
static_assert(!std::is_copy_assignable<LocalAppListModel>::value,
              "two copies would free the same items");

namespace {

// Whether the name means something to everyone, and not to the class alone.
#define IS_PUBLIC(Member)                           \
    template <class T, class = void>                \
    struct Is##Member##Public : std::false_type {}; \
    template <class T>                              \
    struct Is##Member##Public<T, std::void_t<decltype(&T::Member)>> : std::true_type {}

IS_PUBLIC(SetSelection);
IS_PUBLIC(GetItemsCount);
IS_PUBLIC(ItemSelected);
IS_PUBLIC(ItemChanged);
IS_PUBLIC(ItemClicked);
IS_PUBLIC(OnConnectionReady);
IS_PUBLIC(OnMessageReceive);
IS_PUBLIC(PrivateRemoveItem);
IS_PUBLIC(PrivateModifyItem);
IS_PUBLIC(m_IPC);
IS_PUBLIC(m_appList);
IS_PUBLIC(m_items);

static_assert(IsSetSelectionPublic<LocalAppListModel>::value &&
                  IsGetItemsCountPublic<LocalAppListModel>::value,
              "local code uses it as a model");
static_assert(!IsItemSelectedPublic<LocalAppListModel>::value &&
                  !IsItemChangedPublic<LocalAppListModel>::value &&
                  !IsItemClickedPublic<LocalAppListModel>::value,
              "events arrive through the listener interfaces alone");
static_assert(!IsOnConnectionReadyPublic<LocalAppListModel>::value &&
                  !IsOnMessageReceivePublic<LocalAppListModel>::value,
              "the channel reaches these by what the constructor registered");
static_assert(!IsPrivateRemoveItemPublic<LocalAppListModel>::value &&
                  !IsPrivateModifyItemPublic<LocalAppListModel>::value,
              "the registry is the service's own");
static_assert(!Ism_IPCPublic<LocalAppListModel>::value &&
                  !Ism_appListPublic<LocalAppListModel>::value &&
                  !Ism_itemsPublic<LocalAppListModel>::value,
              "members are private");

const char* AddressOf(const void* object) {
    return static_cast<const char*>(object);
}

}  // namespace

class ANewService : public RecordingService {};

TEST_F(ANewService, OpensTheChannelBeforeItListensToTheModel) {
    EXPECT_EQ(Events({"transport opens Applist", "debug IPCApplist: IPCApplist",
                      "model AddItemSelectionListener", "model AddItemChangeListener",
                      "model AddItemClickedListener"}),
              m_constructionEvents);
}

TEST_F(ANewService, IsTheModelsOnlyListenerOfEachKindThroughTheMatchingInterface) {
    const std::vector<ItemSelectionListener*> selection = {m_service.get()};
    const std::vector<ItemChangeListener*> change = {m_service.get()};
    const std::vector<ItemClickListener*> click = {m_service.get()};

    EXPECT_EQ(selection, m_model.m_selectionListeners);
    EXPECT_EQ(change, m_model.m_changeListeners);
    EXPECT_EQ(click, m_model.m_clickListeners);
}

TEST_F(ANewService, KeepsChannelModelAndItemsInThisOrder) {
    const char* const channel = AddressOf(&recording::ChannelOf(*m_service));
    const char* const model = AddressOf(&recording::WrappedModelOf(*m_service));
    const char* const items = AddressOf(&recording::RegistryOf(*m_service));

    EXPECT_LT(channel, model);
    EXPECT_LT(model, items);
    EXPECT_EQ(AddressOf(m_service.get() + 1), items + sizeof(std::vector<RemoteAppListItem*>));
}

TEST_F(ANewService, IsReachedThroughItsOwnEndpoint) {
    EXPECT_EQ(&recording::ChannelOf(*m_service), TesselDbusLocal::Newest());
}

TEST_F(ANewService, SendsNothingUntilAConnectionIsReported) {
    EXPECT_EQ(string::npos, m_constructionEvents.find("send"));
}

TEST_F(ANewService, LeavesTheChannelWithoutANotificationHandler) {
    std::vector<char> notification = recording::Frame("payload", 1);

    TesselDbusLocal::Newest()->HandleNotification(notification);

    EXPECT_EQ(Events({"debug HandleNotification: IPC HandleNotification",
                      "info HandleNotification: callbackNotificationObject object is NULL"}),
              TakeEvents());
}

TEST(AServiceThatCannotBeBuilt, ClosesItsEndpointAndLeavesTheListenersThatItHadAdded) {
    Journal::Get().Restart();
    RecordingModel model;
    model.m_throwsFrom = "AddItemChangeListener";

    EXPECT_THROW(LocalAppListModel service(&model), std::runtime_error);

    EXPECT_EQ(Events({"transport opens Applist", "debug IPCApplist: IPCApplist",
                      "model AddItemSelectionListener", "model AddItemChangeListener",
                      "transport closes Applist"}),
              Journal::Get().Take());
    EXPECT_EQ(1u, model.m_selectionListeners.size());
}

class AServiceThatGoes : public RecordingService {};

TEST_F(AServiceThatGoes, TakesDownInTheOrderInWhichItWasBuilt) {
    AddReceived("Maps", "maps");

    DestroyService();

    EXPECT_EQ(Events({"info UnregisterOnMessage: Unregistered callbackMessageObject",
                      recording::kConnectionHandlerGone, "model RemoveItemSelectionListener",
                      "model RemoveItemChangeListener", "model RemoveItemClickedListener",
                      "delete #1 of #1", "transport closes Applist"}),
              TakeEvents());
}

TEST_F(AServiceThatGoes, LeavesNoListenerInTheModel) {
    DestroyService();

    EXPECT_TRUE(m_model.m_selectionListeners.empty());
    EXPECT_TRUE(m_model.m_changeListeners.empty());
    EXPECT_TRUE(m_model.m_clickListeners.empty());
}

TEST_F(AServiceThatGoes, DeletesThreeItemsOnceEachAndLeavesTheModelsListAsItWas) {
    Call(APPLIST_ADD_ITEMS_FNC, Text("A", "a") + Text("B", "b") + Text("C", "c"));
    const std::vector<AppListItem*> before = m_model.Items();
    TakeEvents();

    DestroyService();

    const string events = TakeEvents();
    EXPECT_NE(string::npos, events.find(Events({"delete #1 of #1 #2 #3", "delete #2 of #1 #2 #3",
                                                "delete #3 of #1 #2 #3"})))
        << events;
    EXPECT_EQ(before, m_model.Items());
}

// What destroying the whole object looks like, whichever pointer it went by.
class AServiceDeletedThroughAnInterface : public RecordingService {
protected:
    template <class Interface>
    void ExpectTheWholeObjectToGo() {
        AddReceived("Maps", "maps");
        Interface* const pointer = m_service.release();
        delete pointer;
        const string events = TakeEvents();
        EXPECT_EQ(0u, events.find("info UnregisterOnMessage")) << events;
        EXPECT_NE(string::npos, events.find("delete #1 of #1\ntransport closes Applist\n"))
            << events;
    }
};

TEST_F(AServiceDeletedThroughAnInterface, GoesWholeAsAModel) {
    ExpectTheWholeObjectToGo<AppListModel>();
}

TEST_F(AServiceDeletedThroughAnInterface, GoesWholeAsASelectionListener) {
    ExpectTheWholeObjectToGo<ItemSelectionListener>();
}

TEST_F(AServiceDeletedThroughAnInterface, GoesWholeAsAChangeListener) {
    ExpectTheWholeObjectToGo<ItemChangeListener>();
}

TEST_F(AServiceDeletedThroughAnInterface, GoesWholeAsAClickListener) {
    ExpectTheWholeObjectToGo<ItemClickListener>();
}

// The service as local code sees it.
class AServiceUsedAsAModel : public RecordingService {
protected:
    AppListModel& AsModel() { return *m_service; }

    OwnItem* m_maps = m_model.Own("Maps", "maps");
    OwnItem* m_mail = m_model.Own("Mail", "mail");
};

TEST_F(AServiceUsedAsAModel, PassesASelectionOnUnchanged) {
    AsModel().SetSelection(m_mail);

    EXPECT_EQ(Events({"model SetSelection Mail/mail"}), TakeEvents());
    EXPECT_EQ(m_mail, m_model.m_newestSelectionArgument);
}

TEST_F(AServiceUsedAsAModel, ReturnsTheModelsSelectionAfterOneCall) {
    m_model.SetSelection(m_mail);
    TakeEvents();

    EXPECT_EQ(m_mail, AsModel().GetSelection());
    EXPECT_EQ(Events({"model GetSelection"}), TakeEvents());
}

TEST_F(AServiceUsedAsAModel, ReturnsTheModelsItems) {
    const std::vector<AppListItem*> items = {m_maps, m_mail};

    EXPECT_EQ(items, AsModel().GetAllItems());
    EXPECT_EQ(Events({"model GetAllItems"}), TakeEvents());
}

TEST_F(AServiceUsedAsAModel, PassesAClickOn) {
    AsModel().SetClicked(m_maps);

    EXPECT_EQ(Events({"model SetClicked Maps/maps"}), TakeEvents());
}

TEST_F(AServiceUsedAsAModel, OnlyLogsThatRemoveAllItemsIsNotImplemented) {
    AsModel().RemoveAllItems();

    EXPECT_EQ(Events({"debug RemoveAllItems: RemoveAllItems method is not implemented"}),
              TakeEvents());
}

TEST_F(AServiceUsedAsAModel, OnlyLogsThatAddItemsIsNotImplemented) {
    AsModel().AddItems({m_maps});

    EXPECT_EQ(Events({"debug AddItems: AddItems method is not implemented"}), TakeEvents());
}

TEST_F(AServiceUsedAsAModel, OnlyLogsThatAddItemAtEndIsNotImplemented) {
    AsModel().AddItemAtEnd(m_maps);

    EXPECT_EQ(Events({"debug AddItemAtEnd: AddItemAtEnd method is not implemented"}), TakeEvents());
}

TEST_F(AServiceUsedAsAModel, OnlyLogsThatRemoveItemIsNotImplemented) {
    AsModel().RemoveItem(m_maps);

    EXPECT_EQ(Events({"debug RemoveItem: RemoveItem method is not implemented"}), TakeEvents());
}

TEST_F(AServiceUsedAsAModel, OnlyLogsThatModifyItemIsNotImplemented) {
    AsModel().ModifyItem(m_maps, m_mail);

    EXPECT_EQ(Events({"debug ModifyItem: ModifyItem method is not implemented"}), TakeEvents());
}

TEST_F(AServiceUsedAsAModel, AnswersACountOfNoneHoweverManyItemsThereAre) {
    for (int more = 0; more < 3; ++more) m_model.Own("More", "more");

    EXPECT_EQ(0, AsModel().GetItemsCount());
    EXPECT_EQ(Events({"debug GetItemsCount: GetItemsCount method is not implemented"}),
              TakeEvents());
    EXPECT_EQ(5u, m_model.Items().size());
}

TEST_F(AServiceUsedAsAModel, ChangesNothingByItsOwnMutators) {
    AddReceived("Received", "received");
    OwnItem another("Another", "another");

    AsModel().AddItemAtEnd(&another);
    AsModel().AddItems({&another});
    AsModel().ModifyItem(m_maps, &another);
    AsModel().RemoveItem(m_mail);
    AsModel().RemoveAllItems();

    EXPECT_EQ("Maps/maps Mail/mail Received/received", m_model.Content());
    EXPECT_EQ("Received/received", RegistryContent());
}

TEST_F(AServiceUsedAsAModel, TakesNullsInItsOwnMutators) {
    AsModel().AddItemAtEnd(nullptr);
    AsModel().RemoveItem(nullptr);
    AsModel().ModifyItem(nullptr, nullptr);

    EXPECT_EQ("Maps/maps Mail/mail", m_model.Content());
}

namespace {

class RememberingListener : public ItemSelectionListener,
                            public ItemChangeListener,
                            public ItemClickListener {
public:
    void ItemSelected(AppListModel* applist) override { Remember("selected", applist); }
    void ItemChanged(AppListModel* applist) override { Remember("changed", applist); }
    void ItemClicked(AppListModel* applist) override { Remember("clicked", applist); }

    string m_heard;
    AppListModel* m_from = nullptr;

private:
    void Remember(const char* event, AppListModel* from) {
        m_heard += m_heard.empty() ? "" : " ";
        m_heard += event;
        m_from = from;
    }
};

}  // namespace

class AListenerAddedThroughTheService : public AServiceUsedAsAModel {
protected:
    RememberingListener m_listener;
};

TEST_F(AListenerAddedThroughTheService, HearsOfSelectionsFromTheWrappedModel) {
    AsModel().AddItemSelectionListener(&m_listener);
    EXPECT_EQ(Events({"model AddItemSelectionListener"}), TakeEvents());

    m_model.RaiseSelected();

    EXPECT_EQ("selected", m_listener.m_heard);
    EXPECT_EQ(&m_model, m_listener.m_from);
}

TEST_F(AListenerAddedThroughTheService, HearsOfChangesFromTheWrappedModel) {
    AsModel().AddItemChangeListener(&m_listener);
    EXPECT_EQ(Events({"model AddItemChangeListener"}), TakeEvents());

    m_model.RaiseChanged();

    EXPECT_EQ("changed", m_listener.m_heard);
    EXPECT_EQ(&m_model, m_listener.m_from);
}

TEST_F(AListenerAddedThroughTheService, HearsOfClicksFromTheWrappedModel) {
    AsModel().AddItemClickedListener(&m_listener);
    EXPECT_EQ(Events({"model AddItemClickedListener"}), TakeEvents());

    m_model.RaiseClicked();

    EXPECT_EQ("clicked", m_listener.m_heard);
    EXPECT_EQ(&m_model, m_listener.m_from);
}

TEST_F(AListenerAddedThroughTheService, HearsNothingAfterItsRemoval) {
    AsModel().AddItemSelectionListener(&m_listener);
    AsModel().AddItemChangeListener(&m_listener);
    AsModel().AddItemClickedListener(&m_listener);
    TakeEvents();

    AsModel().RemoveItemSelectionListener(&m_listener);
    AsModel().RemoveItemChangeListener(&m_listener);
    AsModel().RemoveItemClickedListener(&m_listener);

    EXPECT_EQ(Events({"model RemoveItemSelectionListener", "model RemoveItemChangeListener",
                      "model RemoveItemClickedListener"}),
              TakeEvents());
    m_model.RaiseSelected();
    m_model.RaiseChanged();
    m_model.RaiseClicked();
    EXPECT_EQ("", m_listener.m_heard);
}

class ALogLineOfTheService : public AServiceUsedAsAModel {};

TEST_F(ALogLineOfTheService, NamesTheFileThatWroteIt) {
    AsModel().GetItemsCount();
    AddReceived("Maps", "maps");
    Call(APPLIST_MODIFY_ITEM_FNC, Text("", "maps") + Text("", "atlas"));
    Call(APPLIST_REMOVE_ITEM_FNC, Text("", "atlas"));
    m_model.RaiseChanged();
    TesselDbusLocal::Newest()->HandleConnectionReady(true, "abc");
    DestroyService();

    const std::vector<string> channel = {"IPCApplist", "HandleMessage", "HandleConnectionReady",
                                         "UnregisterOnMessage", "UnregisterOnConnectionReady"};
    for (const recording::LogRecord& record : LogRecords()) {
        const bool isChannels =
            std::find(channel.begin(), channel.end(), record.function) != channel.end();
        EXPECT_STREQ(isChannels ? "IPCApplist.h" : "LocalAppListModel.cpp", record.file)
            << record.text;
    }
    EXPECT_EQ(16u, LogRecords().size());
}
