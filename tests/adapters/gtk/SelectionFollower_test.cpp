// SPDX-License-Identifier: MIT

#include "adapters/gtk/SelectionFollower.h"

#include <string>

#include "adapters/glib/ListModelTest.h"
#include "adapters/gtk/TestDisplay.h"

class ASelectionThatFollows : public ListModelTest {
protected:
    ASelectionThatFollows() {
        TestDisplay::Get();
        for (const char* id : {"maps", "music", "phone"}) m_list.Add(std::string("The ") + id, id);
        m_list.Select("music");
        StartBoth();
        m_selection = applist_selection_new(m_model);
    }
    ~ASelectionThatFollows() override { g_clear_object(&m_selection); }

    // The id of what is selected; empty when nothing is.
    std::string Selected() const {
        gpointer const item = gtk_single_selection_get_selected_item(m_selection);
        return item == nullptr ? "" : applist_item_get_id(APPLIST_ITEM(item));
    }
    std::string ServicesSelection() { return m_list.GetSelection()->GetUnigueId(); }

    // As a person does.
    void Choose(guint place) { gtk_single_selection_set_selected(m_selection, place); }

    void WaitUntilGone() const {
        ASSERT_TRUE(RunMainLoopUntil([this] { return !applist_model_get_service_there(m_model); }));
    }

    GtkSingleSelection* m_selection = nullptr;
};

TEST_F(ASelectionThatFollows, SelectsWhatTheServiceHasSelected) {
    EXPECT_EQ("music", Selected());

    m_list.Select("phone");
    ASSERT_TRUE(BecomesEqual());
    EXPECT_EQ("phone", Selected());

    m_list.SelectOutside("Radio", "radio");
    EXPECT_TRUE(RunMainLoopUntil([this] { return Selected().empty(); }));
    EXPECT_EQ("radio", ServicesSelection());
}

// The view hears of new rows after whoever was there before it.
TEST_F(ASelectionThatFollows, SelectsOnlyRowsThatAViewKnows) {
    GtkWidget* const view = gtk_list_view_new(GTK_SELECTION_MODEL(g_object_ref(m_selection)),
                                              gtk_signal_list_item_factory_new());
    GtkWidget* const window = gtk_window_new();
    gtk_window_set_child(GTK_WINDOW(window), view);
    gtk_window_present(GTK_WINDOW(window));
    ASSERT_TRUE(RunMainLoopUntil([view] { return gtk_widget_get_mapped(view); }));

    m_list.Move(1, 2);
    EXPECT_TRUE(BecomesEqual());
    EXPECT_EQ("music", Selected());
    EXPECT_EQ(2u, gtk_single_selection_get_selected(m_selection));
    gtk_window_destroy(GTK_WINDOW(window));
}

TEST_F(ASelectionThatFollows, TellsTheServiceWhatAPersonChooses) {
    Choose(2);
    EXPECT_EQ("phone", Selected());

    EXPECT_TRUE(RunMainLoopUntil([this] { return ServicesSelection() == "phone"; }));
    ASSERT_TRUE(BecomesEqual());
    EXPECT_EQ("phone", Selected());
}

TEST_F(ASelectionThatFollows, DoesNotGoBackToAnEarlierChoice) {
    std::string shown;
    const auto note = [](GtkSingleSelection* selection, GParamSpec*, gpointer places) {
        *static_cast<std::string*>(places) +=
            std::to_string(gtk_single_selection_get_selected(selection));
    };
    using Note = void (*)(GtkSingleSelection*, GParamSpec*, gpointer);
    g_signal_connect(m_selection, "notify::selected", G_CALLBACK(Note(note)), &shown);

    for (const guint place : {2u, 0u, 2u, 0u}) Choose(place);
    EXPECT_TRUE(RunMainLoopUntil([this] { return ServicesSelection() == "maps"; }));
    ASSERT_TRUE(BecomesEqual());

    EXPECT_EQ("2020", shown);
}

TEST_F(ASelectionThatFollows, KeepsAnItemThatMoves) {
    m_list.Move(1, 2);
    ASSERT_TRUE(BecomesEqual());
    EXPECT_EQ("music", Selected());
    EXPECT_EQ(2u, gtk_single_selection_get_selected(m_selection));

    m_list.Move(2, 0);
    ASSERT_TRUE(BecomesEqual());
    EXPECT_EQ("music", Selected());
    EXPECT_EQ("music", ServicesSelection());
}

TEST_F(ASelectionThatFollows, SelectsNothingInAPersonsPlace) {
    m_list.Remove("music");
    ASSERT_TRUE(BecomesEqual());

    EXPECT_EQ("", Selected());
    EXPECT_EQ("", ServicesSelection());

    EndService();
    WaitUntilGone();
    m_list.Select("phone");
    StartService();
    ASSERT_TRUE(BecomesEqual());
    EXPECT_EQ("phone", Selected());
    EXPECT_EQ("phone", ServicesSelection());
}

TEST_F(ASelectionThatFollows, GivesAChoiceUpThatCannotBeSent) {
    m_bus.Stop();
    Choose(0);
    EXPECT_EQ("maps", Selected());
    m_bus.Kill();
    WaitUntilGone();

    m_bus.Start();
    ASSERT_TRUE(BecomesEqual());

    EXPECT_EQ("music", ServicesSelection());
    EXPECT_EQ("music", Selected());
}

TEST_F(ASelectionThatFollows, KeepsWhatAFilterHides) {
    GtkExpression* const name = gtk_property_expression_new(APPLIST_TYPE_ITEM, nullptr, "name");
    GtkStringFilter* const filter = gtk_string_filter_new(name);
    GtkFilterListModel* const found = gtk_filter_list_model_new(G_LIST_MODEL(g_object_ref(m_model)),
                                                                GTK_FILTER(g_object_ref(filter)));
    gtk_single_selection_set_model(m_selection, G_LIST_MODEL(found));
    EXPECT_EQ("music", Selected());

    gtk_string_filter_set_search(filter, "phone");
    EXPECT_EQ("", Selected());
    gtk_string_filter_set_search(filter, "");
    EXPECT_EQ("music", Selected());

    m_list.Select("maps");
    ASSERT_TRUE(BecomesEqual());
    EXPECT_EQ("maps", Selected());
    g_object_unref(filter);
    g_object_unref(found);
}

TEST_F(ASelectionThatFollows, FollowsOnceAndMayGoAtAnyTime) {
    applist_selection_follow(m_selection, m_model);
    Choose(2);
    EXPECT_EQ("phone", Selected());

    g_clear_object(&m_selection);
    EXPECT_TRUE(RunMainLoopUntil([this] { return ServicesSelection() == "phone"; }));
    EXPECT_TRUE(BecomesEqual());
}

// A list that does not let anybody select.
class AStubbornList : public EditableList {
public:
    void SetSelection(AppListItem*) override { ++m_asked; }
    int m_asked = 0;
};

TEST_F(ASelectionThatFollows, GoesBackWhenTheServiceDoesNotDoIt) {
    EndService();
    WaitUntilGone();
    AStubbornList list;
    for (const char* id : {"maps", "music", "phone"}) list.Add("Name", id);
    list.SelectOutside("Name", "music");
    m_service = std::make_unique<LocalAppListModel>(&list);
    ASSERT_TRUE(RunMainLoopUntil([this] { return Selected() == "music"; }));

    Choose(0);
    EXPECT_EQ("maps", Selected());
    EXPECT_TRUE(RunMainLoopUntil([this] { return Selected() == "music"; }));

    EXPECT_EQ(1, list.m_asked);
    EndService();
}
