// SPDX-License-Identifier: MIT

#include "adapters/glib/ApplistModel.h"

#include <string>
#include <vector>

#include "adapters/glib/ListModelTest.h"
#include "adapters/glib/ListModelTester.h"
#include "bus/BusSelection.h"
#include "partner/bus/HostileService.h"

using Strings = std::vector<std::string>;

class AListModel : public ListModelTest {
protected:
    AListModel() {
        for (const char* id : {"maps", "music", "phone"}) m_list.Add(std::string("The ") + id, id);
        m_list.Select("music");
    }

    void NoteItems(guint row, guint removed, guint added) {
        m_told.push_back(std::to_string(row) + " -" + std::to_string(removed) + " +" +
                         std::to_string(added));
    }
    // From now on each signal of the model is noted in m_told.
    void Listen() {
        const auto items = [](GListModel*, guint row, guint removed, guint added, gpointer self) {
            static_cast<AListModel*>(self)->NoteItems(row, removed, added);
        };
        const auto property = [](GObject*, GParamSpec* spec, gpointer self) {
            static_cast<AListModel*>(self)->NoteProperty(spec->name);
        };
        const auto failed = [](ApplistModel*, const char* text, gpointer self) {
            static_cast<AListModel*>(self)->m_told.emplace_back(text);
        };
        using Items = void (*)(GListModel*, guint, guint, guint, gpointer);
        using Property = void (*)(GObject*, GParamSpec*, gpointer);
        using Failed = void (*)(ApplistModel*, const char*, gpointer);
        g_signal_connect(m_model, "items-changed", G_CALLBACK(Items(items)), this);
        g_signal_connect(m_model, "notify", G_CALLBACK(Property(property)), this);
        g_signal_connect(m_model, "write-failed", G_CALLBACK(Failed(failed)), this);
    }
    void NoteProperty(const std::string& name) {
        const std::string is = applist_model_get_service_there(m_model) ? "there" : "gone";
        const std::string loading = applist_model_get_loading(m_model) ? ", loading" : "";
        m_told.push_back(name == "selection" ? name : name + ": " + is + loading);
    }

    // Null when there are not so many rows.
    gpointer ItemAtOrNull(guint row) const {
        const bool isThere = row < g_list_model_get_n_items(G_LIST_MODEL(m_model));
        return isThere ? ItemAt(row) : nullptr;
    }

    Strings m_told;
    gpointer m_weak = nullptr;
};

TEST_F(AListModel, ShowsNamesIdsAndTheSelection) {
    StartBoth();

    EXPECT_EQ("The maps/maps The music/music The phone/phone (music)", Content());
    EXPECT_FALSE(applist_item_get_selected(ItemAt(0)));
    EXPECT_TRUE(applist_item_get_selected(ItemAt(1)));
    EXPECT_EQ(ItemAt(1), applist_model_get_selection(m_model));
    EXPECT_EQ(nullptr, applist_model_get_error(m_model));
}

TEST_F(AListModel, HasItemsWithProperties) {
    StartBoth();
    char* name = nullptr;
    char* id = nullptr;
    gboolean selected = FALSE;

    g_object_get(ItemAt(1), "name", &name, "id", &id, "selected", &selected, nullptr);

    EXPECT_STREQ("The music", name);
    EXPECT_STREQ("music", id);
    EXPECT_TRUE(selected);
    g_free(name);
    g_free(id);
}

TEST_F(AListModel, HasProperties) {
    StartBoth();
    ApplistItem* selection = nullptr;
    gboolean isThere = FALSE;
    gboolean isLoading = TRUE;
    char* error = nullptr;

    g_object_get(m_model, "selection", &selection, "service-there", &isThere, "loading", &isLoading,
                 "error", &error, nullptr);

    EXPECT_EQ(ItemAt(1), selection);
    EXPECT_TRUE(isThere);
    EXPECT_FALSE(isLoading);
    EXPECT_EQ(nullptr, error);
    g_object_unref(selection);
}

TEST_F(AListModel, TellsWhenTheServiceIsThereWhenItsListIsReadAndWhenItIsGone) {
    StartModel();
    Listen();
    StartService();
    ASSERT_TRUE(BecomesEqual());
    EXPECT_EQ((Strings{"loading: there, loading", "service-there: there, loading", "0 -0 +3",
                       "selection", "loading: there"}),
              m_told);
    m_told.clear();

    EndService();
    ASSERT_TRUE(RunMainLoopUntil([this] { return !applist_model_get_service_there(m_model); }));

    EXPECT_EQ((Strings{"0 -3 +0", "selection", "service-there: gone"}), m_told);
}

TEST_F(AListModel, IsLoadingForAsLongAsTheServiceDoesNotAnswer) {
    HostileService silent(m_bus.Address());
    StartModel();

    ASSERT_TRUE(RunMainLoopUntil([this] { return applist_model_get_service_there(m_model); }));

    EXPECT_TRUE(applist_model_get_loading(m_model));
    EXPECT_EQ(nullptr, ItemAtOrNull(0));
}

TEST_F(AListModel, IsNotLoadingWhenItIsEmptyBecauseTheListIs) {
    m_list.RemoveAllItemsOfItsOwn();
    StartBoth();

    EXPECT_FALSE(applist_model_get_loading(m_model));
    EXPECT_EQ(0u, g_list_model_get_n_items(G_LIST_MODEL(m_model)));
    EXPECT_EQ(nullptr, applist_model_get_selection(m_model));
}

TEST_F(AListModel, TellsOfNeighboursOfOneRegionAtOnce) {
    StartBoth();
    Listen();

    m_list.RemoveAt(1);
    m_list.Insert(1, "Radio", "radio");
    m_list.Insert(2, "Video", "video");
    ASSERT_TRUE(BecomesEqual());

    EXPECT_EQ((Strings{"1 -1 +2", "selection"}), m_told);
}

// Each of more steps than a thousand would cost a view that has many rows more than all rows do.
TEST_F(AListModel, TellsOfAllRowsAtOnceWhereItWouldTakeTooManySteps) {
    m_list.Fill(3000);
    StartBoth();
    std::string told;
    using Note = void (*)(GListModel*, guint, guint, guint, std::string*);
    const Note note = [](GListModel*, guint row, guint removed, guint added, std::string* all) {
        *all += std::to_string(row) + " " + std::to_string(removed) + " " + std::to_string(added);
    };
    g_signal_connect(m_model, "items-changed", G_CALLBACK(note), &told);
    const std::string before = std::to_string(m_list.GetItemsCount());
    for (std::size_t row = 3000; row > 0; row -= 2) m_list.RemoveAt(row - 1);

    EXPECT_TRUE(BecomesEqual());
    EXPECT_EQ("0 " + before + " " + std::to_string(m_list.GetItemsCount()), told);
    m_list.Rename(m_list.GetAllItems().front()->GetUnigueId(), "Another name");
    EXPECT_TRUE(BecomesEqual());
}

TEST_F(AListModel, KeepsAnItemThatMovesAndOneThatGetsAnotherName) {
    StartBoth();
    Listen();
    ApplistItem* const maps = ItemAt(0);
    ApplistItem* const phone = ItemAt(2);

    m_list.Move(0, 2);
    m_list.Rename("phone", "Telephone");
    ASSERT_TRUE(BecomesEqual());

    EXPECT_EQ(phone, ItemAt(1));
    EXPECT_STREQ("Telephone", applist_item_get_name(phone));
    EXPECT_EQ(maps, ItemAt(2));
    EXPECT_EQ((Strings{"0 -1 +0", "1 -1 +2"}), m_told);
}

TEST_F(AListModel, TellsOfANameOnceItsRowHasChanged) {
    StartBoth();
    ListModelTester tester(G_LIST_MODEL(m_model));
    std::string shown;
    struct Context {
        ListModelTester& tester;
        std::string& shown;
    } context{tester, shown};
    const auto note = [](GObject*, GParamSpec*, gpointer data) {
        auto* const told = static_cast<Context*>(data);
        told->shown = told->tester.Shown()[1].name;
    };
    using Note = void (*)(GObject*, GParamSpec*, gpointer);
    g_signal_connect(ItemAt(1), "notify::name", G_CALLBACK(Note(note)), &context);

    m_list.Rename("music", "Radio");
    ASSERT_TRUE(BecomesEqual());

    EXPECT_EQ("Radio", shown);
}

TEST_F(AListModel, MovesTheSelectionWithoutTellingOfRows) {
    StartBoth();
    Listen();

    m_list.Select("phone");
    ASSERT_TRUE(BecomesEqual());

    EXPECT_EQ(Strings{"selection"}, m_told);
    EXPECT_FALSE(applist_item_get_selected(ItemAt(1)));
    EXPECT_TRUE(applist_item_get_selected(ItemAt(2)));
}

TEST_F(AListModel, HasNoSelectionWhenWhatIsSelectedIsNotInTheList) {
    StartBoth();

    m_list.SelectOutside("Radio", "radio");
    ASSERT_TRUE(
        RunMainLoopUntil([this] { return applist_model_get_selection(m_model) == nullptr; }));
    EXPECT_FALSE(applist_item_get_selected(ItemAt(1)));

    m_list.Add("Radio", "radio");
    EXPECT_TRUE(
        RunMainLoopUntil([this] { return applist_model_get_selection(m_model) != nullptr; }));
    EXPECT_TRUE(applist_item_get_selected(ItemAt(3)));
}

TEST_F(AListModel, ShowsBytesThatAreNoTextAndReachesTheirItem) {
    const std::string id("a\0b\xff", 4);
    m_list.Add("\xc3", id);
    StartService();
    StartModel();
    ASSERT_TRUE(RunMainLoopUntil([this] { return ItemAtOrNull(3) != nullptr; }));
    ApplistItem* const item = ItemAt(3);

    EXPECT_STREQ("\uFFFD", applist_item_get_name(item));
    EXPECT_STREQ("a\uFFFDb\uFFFD", applist_item_get_id(item));
    gsize size = 0;
    gconstpointer const bytes = g_bytes_get_data(applist_item_get_id_bytes(item), &size);
    EXPECT_EQ(id, std::string(static_cast<const char*>(bytes), size));

    applist_model_select(m_model, "a\uFFFDb\uFFFD");
    ASSERT_TRUE(RunMainLoopUntil([&] { return applist_model_get_selection(m_model) == item; }));
    applist_model_select(m_model, "maps");
    ASSERT_TRUE(
        RunMainLoopUntil([&] { return applist_model_get_selection(m_model) == ItemAt(0); }));
    applist_model_select_item(m_model, item);
    EXPECT_TRUE(RunMainLoopUntil([&] { return applist_model_get_selection(m_model) == item; }));
}

TEST_F(AListModel, Writes) {
    StartBoth();

    applist_model_append(m_model, "Radio", "radio");
    applist_model_append(m_model, "Video", "video");
    ASSERT_TRUE(RunMainLoopUntil([this] { return ItemAtOrNull(4) != nullptr; }));
    applist_model_replace(m_model, "radio", "Mail", "mail");
    applist_model_remove(m_model, "video");
    ASSERT_TRUE(RunMainLoopUntil([this] { return ItemAtOrNull(4) == nullptr; }));
    EXPECT_EQ("The maps/maps The music/music The phone/phone Mail/mail (music)", Content());

    applist_model_replace_item(m_model, ItemAt(3), "Post", "post");
    EXPECT_TRUE(RunMainLoopUntil([this] {
        return Content() == "The maps/maps The music/music The phone/phone Post/post (music)";
    })) << Content();

    applist_model_remove_item(m_model, ItemAt(3));
    ASSERT_TRUE(RunMainLoopUntil([this] { return ItemAtOrNull(3) == nullptr; }));
    EXPECT_EQ("The maps/maps The music/music The phone/phone (music)", ContentOf(m_list));
}

TEST_F(AListModel, SaysThatAWriteHasFailed) {
    StartModel();
    Listen();

    applist_model_append(m_model, "Radio", "radio");
    ASSERT_TRUE(RunMainLoopUntil([this] { return !m_told.empty(); }));

    EXPECT_EQ(Strings{"Radio was not added: the list cannot be reached at the moment"}, m_told);
}

TEST_F(AListModel, SaysWhyThereIsNoBusAndLooksForOneAgain) {
    m_bus.Kill();
    StartModel();
    Listen();
    ASSERT_NE(nullptr, applist_model_get_error(m_model));
    EXPECT_NE(std::string::npos, std::string(applist_model_get_error(m_model)).find("cannot reach"))
        << applist_model_get_error(m_model);
    applist_model_append(m_model, "Radio", "radio");
    EXPECT_EQ(Strings{"Radio was not added: the list cannot be reached at the moment"}, m_told);

    m_bus.Start();
    StartService();
    ASSERT_TRUE(BecomesEqual());

    EXPECT_EQ(nullptr, applist_model_get_error(m_model));
    EXPECT_EQ("error: gone", m_told[1]);
}

TEST_F(AListModel, LooksForABusAtOnceWhenItIsAsked) {
    m_bus.Kill();
    StartModel();
    m_bus.Start();

    applist_model_retry(m_model);

    EXPECT_EQ(nullptr, applist_model_get_error(m_model));
}

TEST_F(AListModel, FollowsABusThatComesBack) {
    StartBoth();
    m_bus.Kill();
    ASSERT_TRUE(RunMainLoopUntil([this] { return !applist_model_get_service_there(m_model); }));
    EXPECT_EQ(nullptr, applist_model_get_error(m_model));

    m_bus.Start();

    EXPECT_TRUE(BecomesEqual()) << Content();
}

TEST_F(AListModel, MayGoFromInsideAHandler) {
    StartModel();
    const auto drop = [](GListModel*, guint, guint, guint, gpointer model) {
        g_clear_object(static_cast<ApplistModel**>(model));
    };
    using Drop = void (*)(GListModel*, guint, guint, guint, gpointer);
    g_signal_connect(m_model, "items-changed", G_CALLBACK(Drop(drop)), &m_model);
    g_object_add_weak_pointer(G_OBJECT(m_model), &m_weak);
    StartService();

    EXPECT_TRUE(RunMainLoopUntil([this] { return m_weak == nullptr; }));
}
