// SPDX-License-Identifier: MIT

// The launcher of examples/gtk_launcher in a real window, with a service in another process. Where
// APPLIST_PICTURES names a folder, pictures of the window are left there.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "adapters/glib/ApplistModel.h"
#include "adapters/glib/RunMainLoop.h"
#include "adapters/gtk/TestDisplay.h"
#include "bus/BusSelection.h"
#include "gtk_launcher/Launcher.h"
#include "partner/QuietLog.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/SideProcess.h"
#include "support/PrivateBus.h"

using Strings = std::vector<std::string>;

namespace {

// Calls `see` with each widget below `widget` that is to be seen.
void ForEachShown(GtkWidget* widget, const std::function<void(GtkWidget*)>& see) {
    if (!gtk_widget_get_child_visible(widget) || !gtk_widget_get_visible(widget)) return;
    see(widget);
    GtkWidget* child = gtk_widget_get_first_child(widget);
    for (; child != nullptr; child = gtk_widget_get_next_sibling(child)) ForEachShown(child, see);
}

bool IsLetter(GtkWidget* widget) {
    return gtk_widget_has_css_class(widget, "letter");
}

bool IsText(GtkWidget* widget) {
    return GTK_IS_LABEL(widget) && !IsLetter(widget);
}

const char kEverything[] =
    "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/>";

std::string Policy(const std::string& exception) {
    return std::string("<policy context=\"default\">") + kEverything + exception + "</policy>";
}

}  // namespace

class AGtkLauncher : public ::testing::Test {
protected:
    explicit AGtkLauncher(std::unique_ptr<PrivateBus> bus = std::make_unique<PrivateBus>(BusVariety{
                              BusProgram::Daemon, BusLimits::Session}))
        : m_bus(std::move(bus)) {
        ForgetLog();
        applist::SelectBusAddress(m_bus->Address());
    }
    ~AGtkLauncher() override {
        if (m_window != nullptr) gtk_window_destroy(m_window);
        applist::SelectBus(applist::BusKind::Automatic);
    }

    void StartService(const Strings& ids) {
        m_service.emplace("service", m_bus->Address());
        for (const std::string& id : ids) m_service->Ask("add " + id);
        if (!ids.empty()) m_service->Ask("select " + ids.front());
    }
    void Open() {
        m_window = NewLauncher();
        gtk_window_present(m_window);
        ASSERT_TRUE(RunMainLoopUntil([this] { return gtk_widget_get_mapped(Window()); }));
        m_display.Focus("Applications");
        ASSERT_TRUE(RunMainLoopUntil([this] { return gtk_window_is_active(m_window); }));
    }
    void OpenWith(const Strings& ids) {
        StartService(ids);
        Open();
        ASSERT_TRUE(RunMainLoopUntil([&] { return Tiles().size() == ids.size(); }));
        WaitForFrame();
    }

    GtkWidget* Window() const { return GTK_WIDGET(m_window); }

    // The widget of the type with this name, the first that is to be seen.
    GtkWidget* Find(const char* type) const {
        GtkWidget* found = nullptr;
        ForEachShown(Window(), [&](GtkWidget* each) {
            if (found == nullptr && g_strcmp0(G_OBJECT_TYPE_NAME(each), type) == 0) found = each;
        });
        return found;
    }

    // The texts below the first widget of this type, but for the tiles' letters.
    Strings TextsIn(const char* type) const {
        Strings texts;
        GtkWidget* const from = Find(type);
        if (from == nullptr) return texts;
        ForEachShown(from, [&](GtkWidget* each) {
            if (IsText(each)) texts.emplace_back(gtk_label_get_text(GTK_LABEL(each)));
        });
        return texts;
    }
    Strings Tiles() const { return TextsIn("GtkGridView"); }
    std::string Message() const {
        GtkWidget* const place = Find("GtkRevealer");
        const bool isShown =
            place != nullptr && gtk_revealer_get_child_revealed(GTK_REVEALER(place));
        return isShown ? TextsIn("GtkRevealer").front() : std::string();
    }
    bool Says(const std::string& note) const {
        Strings texts = TextsIn("GtkStack");
        return std::count(texts.begin(), texts.end(), note) > 0;
    }

    GtkSingleSelection* Selection() const {
        return GTK_SINGLE_SELECTION(gtk_grid_view_get_model(GTK_GRID_VIEW(Find("GtkGridView"))));
    }
    // The id of what the view selects; empty when it selects nothing.
    std::string Selected() const {
        gpointer const item = gtk_single_selection_get_selected_item(Selection());
        return item == nullptr ? "" : applist_item_get_id(APPLIST_ITEM(item));
    }
    std::string ServicesSelection() {
        const std::string content = m_service->Ask("content");
        const std::size_t begin = content.rfind('(') + 1;
        return content.substr(begin, content.size() - begin - 1);
    }
    // Whether the service and the view come to have this selected.
    bool BecomesSelected(const std::string& id) {
        return RunMainLoopUntil(
            [&] { return ServicesSelection() == id && Selected() == id && IsShownByModel(id); });
    }
    bool BecomesShown(const std::string& id) const {
        return RunMainLoopUntil([&] { return Selected() == id && IsShownByModel(id); });
    }
    bool IsShownByModel(const std::string& id) const {
        gpointer const item = gtk_single_selection_get_selected_item(Selection());
        return item != nullptr && applist_item_get_selected(APPLIST_ITEM(item)) &&
               id == applist_item_get_id(APPLIST_ITEM(item));
    }

    GtkWidget* Tile(const std::string& text) const {
        GtkWidget* tile = nullptr;
        ForEachShown(Find("GtkGridView"), [&](GtkWidget* each) {
            if (IsText(each) && text == gtk_label_get_text(GTK_LABEL(each))) tile = each;
        });
        return tile;
    }
    struct Letter {
        std::string text;
        std::string colour;
    };
    std::vector<Letter> Letters() const {
        std::vector<Letter> letters;
        ForEachShown(Find("GtkGridView"), [&](GtkWidget* each) {
            if (!IsLetter(each)) return;
            char** const classes = gtk_widget_get_css_classes(each);
            char* const colour = g_strjoinv(" ", classes);
            letters.push_back({gtk_label_get_text(GTK_LABEL(each)), colour});
            g_free(colour);
            g_strfreev(classes);
        });
        return letters;
    }
    // The tooltip that the mouse would bring up above it; empty when there is none.
    static std::string TooltipOf(GtkWidget* tile) {
        const char* text = nullptr;
        for (; tile != nullptr && text == nullptr; tile = gtk_widget_get_parent(tile)) {
            text = gtk_widget_get_tooltip_text(tile);
        }
        return text == nullptr ? "" : text;
    }
    int HeightOf(const std::string& text) const { return gtk_widget_get_height(Tile(text)); }
    std::set<int> TileHeights() const {
        std::set<int> heights;
        ForEachShown(Find("GtkGridView"), [&](GtkWidget* each) {
            if (IsText(each)) heights.insert(gtk_widget_get_height(each));
        });
        return heights;
    }
    static void SetDark(gboolean isDark) {
        g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", isDark,
                     nullptr);
    }

    ApplistModel* Model() const {
        GListModel* const found = gtk_single_selection_get_model(Selection());
        return APPLIST_MODEL(gtk_filter_list_model_get_model(GTK_FILTER_LIST_MODEL(found)));
    }

    // Clicks on the tile with this text.
    void Tap(const std::string& text) {
        GtkWidget* const tile = Tile(text);
        ASSERT_NE(nullptr, tile);
        double left = 0;
        double top = 0;
        gtk_native_get_surface_transform(GTK_NATIVE(m_window), &left, &top);
        const graphene_point_t inTile{10, 10};
        graphene_point_t at;
        ASSERT_TRUE(gtk_widget_compute_point(tile, Window(), &inTile, &at));
        m_display.Click(static_cast<int>(left) + static_cast<int>(at.x),
                        static_cast<int>(top) + static_cast<int>(at.y));
    }

    // Not before the window is drawn: GTK gives the keyboard to another widget then, when the one
    // that had it has gone, and drops a key that comes earlier.
    void Press(const std::string& keys) {
        WaitForFrame();
        m_display.Press(keys);
    }

    // Waits until the window has been drawn once more, and returns how long that took, in ms.
    double WaitForFrame() {
        GdkFrameClock* const clock = gtk_widget_get_frame_clock(Window());
        struct Frame {
            gint64 begin = 0;
            gint64 end = 0;
        } frame;
        const auto begin = [](GdkFrameClock*, gpointer data) {
            static_cast<Frame*>(data)->begin = g_get_monotonic_time();
        };
        const auto end = [](GdkFrameClock*, gpointer data) {
            static_cast<Frame*>(data)->end = g_get_monotonic_time();
        };
        using Call = void (*)(GdkFrameClock*, gpointer);
        g_signal_connect(clock, "before-paint", G_CALLBACK(Call(begin)), &frame);
        g_signal_connect(clock, "after-paint", G_CALLBACK(Call(end)), &frame);
        gtk_widget_queue_draw(Window());
        EXPECT_TRUE(RunMainLoopUntil([&] { return frame.begin > 0 && frame.end > 0; }));
        g_signal_handlers_disconnect_by_data(clock, &frame);
        return static_cast<double>(frame.end - frame.begin) / 1000;
    }

    // Leaves a picture of the window.
    void TakePicture(const std::string& name) {
        const char* const folder = std::getenv("APPLIST_PICTURES");
        for (int frame = 0; frame < 30; ++frame) WaitForFrame();  // what moves comes to rest
        GtkSnapshot* const snapshot = gtk_snapshot_new();
        GdkPaintable* const paintable = gtk_widget_paintable_new(Window());
        gdk_paintable_snapshot(paintable, snapshot, gtk_widget_get_width(Window()),
                               gtk_widget_get_height(Window()));
        GskRenderNode* const node = gtk_snapshot_free_to_node(snapshot);
        ASSERT_NE(nullptr, node);
        GdkTexture* const texture = gsk_renderer_render_texture(
            gtk_native_get_renderer(GTK_NATIVE(m_window)), node, nullptr);
        const std::string file = std::string(folder == nullptr ? "." : folder) + "/" + name;
        if (folder != nullptr) {
            EXPECT_TRUE(gdk_texture_save_to_png(texture, file.c_str()));
        }
        EXPECT_LT(400, gdk_texture_get_width(texture));
        g_object_unref(texture);
        gsk_render_node_unref(node);
        g_object_unref(paintable);
    }

    TestDisplay& m_display = TestDisplay::Get();
    std::unique_ptr<PrivateBus> m_bus;
    std::optional<SideProcess> m_service;
    GtkWindow* m_window = nullptr;
};

TEST_F(AGtkLauncher, ShowsTheList) {
    OpenWith({"maps", "music", "phone"});

    EXPECT_EQ((Strings{"Name of maps", "Name of music", "Name of phone"}), Tiles());
    EXPECT_TRUE(BecomesSelected("maps"));

    m_service->Ask("add radio");
    EXPECT_TRUE(RunMainLoopUntil([this] { return Tiles().size() == 4; }));
}

TEST_F(AGtkLauncher, FollowsTheServicesSelection) {
    OpenWith({"maps", "music", "phone"});

    m_service->Ask("select phone");

    EXPECT_TRUE(BecomesSelected("phone"));
}

TEST_F(AGtkLauncher, SelectsWithTheArrowKeys) {
    OpenWith({"maps", "music", "phone"});

    Press("Right");
    EXPECT_TRUE(BecomesSelected("music"));
    Press("Right Left Right");
    EXPECT_TRUE(BecomesSelected("phone"));
}

TEST_F(AGtkLauncher, GoesOnFromWhatSomebodyElseHasSelected) {
    StartService({});
    m_service->Ask("fill 1000");
    m_service->Ask("select id500");
    Open();
    ASSERT_TRUE(RunMainLoopUntil([this] { return !Tiles().empty(); }));
    ASSERT_TRUE(BecomesShown("id500"));
    Press("Right");
    EXPECT_TRUE(BecomesShown("id501"));

    m_service->Ask("select id7");
    ASSERT_TRUE(BecomesShown("id7"));
    Press("Right");

    EXPECT_TRUE(BecomesShown("id8"));
}

TEST_F(AGtkLauncher, GoesOnFromWhatIsSelectedAfterASearch) {
    OpenWith({"maps", "music", "phone", "radio"});
    Press("p h");
    ASSERT_TRUE(RunMainLoopUntil([this] { return Tiles() == Strings{"Name of phone"}; }));
    m_service->Ask("select maps");
    Press("Escape");
    ASSERT_TRUE(RunMainLoopUntil([this] { return Tiles().size() == 4; }));
    ASSERT_TRUE(BecomesSelected("maps"));

    Press("Right");

    EXPECT_TRUE(BecomesSelected("music"));
}

TEST_F(AGtkLauncher, SelectsWhatIsTapped) {
    OpenWith({"maps", "music", "phone"});

    Tap("Name of phone");

    EXPECT_TRUE(BecomesSelected("phone"));
}

TEST_F(AGtkLauncher, SearchesForWhatIsTyped) {
    OpenWith({"maps", "music", "phone"});

    Press("m u s");
    EXPECT_TRUE(RunMainLoopUntil([this] { return Tiles() == Strings{"Name of music"}; }));
    EXPECT_EQ("maps", ServicesSelection());
    Press("x");
    EXPECT_TRUE(RunMainLoopUntil([this] { return Says("Nothing has this in its name."); }));
    Press("Escape");
    EXPECT_TRUE(RunMainLoopUntil([this] { return Tiles().size() == 3; }));

    EXPECT_TRUE(BecomesSelected("maps"));
}

TEST_F(AGtkLauncher, SaysThatTheServiceIsGoneAndShowsItsListWhenItIsBack) {
    const std::string gone = "The list is gone.\nIt will be here again as soon as its service is.";
    Open();
    EXPECT_TRUE(Says(gone));
    StartService({"maps", "music"});
    ASSERT_TRUE(RunMainLoopUntil([this] { return Tiles().size() == 2; }));

    m_service->Kill();
    ASSERT_TRUE(RunMainLoopUntil([&] { return Says(gone); }));
    TakePicture("gtk_launcher_gone.png");
    StartService({"phone"});

    EXPECT_TRUE(RunMainLoopUntil([this] { return Tiles() == Strings{"Name of phone"}; }));
    EXPECT_TRUE(BecomesSelected("phone"));
}

TEST_F(AGtkLauncher, SaysThatTheListIsLoading) {
    HostileService silent(m_bus->Address());
    Open();

    EXPECT_TRUE(RunMainLoopUntil([this] { return Says("Loading…"); }));
    EXPECT_NE(nullptr, Find("GtkSpinner"));
}

TEST_F(AGtkLauncher, SaysThatTheListIsEmpty) {
    StartService({});
    Open();

    EXPECT_TRUE(RunMainLoopUntil([this] { return Says("There are no applications."); }));
    EXPECT_EQ(nullptr, Find("GtkSpinner"));
}

TEST_F(AGtkLauncher, SaysWhyThereIsNoBus) {
    m_bus->Kill();
    Open();

    ASSERT_EQ(1u, TextsIn("GtkStack").size());
    EXPECT_NE(std::string::npos, TextsIn("GtkStack").front().find("cannot reach"));
}

// How long a frame takes is noted in the test's output, and nothing depends on it.
TEST_F(AGtkLauncher, ScrollsThroughTenThousandItems) {
    StartService({});
    m_service->Ask("fill 10000");
    Open();
    ASSERT_TRUE(RunMainLoopUntil([this] { return !Tiles().empty(); }));
    GtkAdjustment* const place =
        gtk_scrollable_get_vadjustment(GTK_SCROLLABLE(Find("GtkGridView")));
    ASSERT_TRUE(RunMainLoopUntil([&] { return gtk_adjustment_get_upper(place) > 50000; }));

    std::vector<double> times;
    for (int frame = 0; frame < 200; ++frame) {
        gtk_adjustment_set_value(place, gtk_adjustment_get_value(place) + 120);
        times.push_back(WaitForFrame());
    }
    gtk_adjustment_set_value(place, gtk_adjustment_get_upper(place));
    WaitForFrame();

    std::sort(times.begin(), times.end());
    std::cout << "a frame took " << times[100] << " ms at the median, " << times.back()
              << " ms at most\n";
    const Strings tiles = Tiles();
    EXPECT_EQ(1, std::count(tiles.begin(), tiles.end(), "Name 9999"));
    EXPECT_GT(2000u, tiles.size());
}

TEST_F(AGtkLauncher, LaysOutLongAndOddNamesInLightAndDark) {
    OpenWith({"maps", "music", "phone"});
    const Strings names{"Calculator",
                        "A name that goes on and on until nobody can read it to its end",
                        "Donaudampfschifffahrtsgesellschaftskapitän",
                        "Of\nmany\nlines\nand\nmore",
                        "الخرائط",
                        "Χάρτες και πλοήγηση",
                        "\xff\xfe no text",
                        "Mail",
                        "Camera"};
    for (const std::string& name : names) {
        applist_model_append(Model(), name.c_str(), name.c_str());
    }
    ASSERT_TRUE(RunMainLoopUntil([&] { return Tiles().size() == 3 + names.size(); }));
    WaitForFrame();

    EXPECT_EQ(std::set<int>{HeightOf("Name of maps")}, TileHeights());
    TakePicture("gtk_launcher.png");
    SetDark(TRUE);
    TakePicture("gtk_launcher_dark.png");
    SetDark(FALSE);
}

TEST_F(AGtkLauncher, ShowsTheBeginningOfANameWithoutLineEndsAndMarks) {
    OpenWith({"maps"});
    const std::string much(1000000, 'm');
    const std::string beginning = much.substr(0, 200);
    const Strings names{"One\n \t\r\xc2\x85\xe2\x80\xa9two",
                        "\u202aa\u202bb\u202cc\u202dd\u202ee\u2066f\u2067g\u2068h\u2069", "", much};
    for (const std::string& name : names) applist_model_append(Model(), name.c_str(), "the\nid");

    const Strings labels{"Name of maps", "One two", "abcdefgh", "the id", beginning};
    EXPECT_TRUE(RunMainLoopUntil([&] { return Tiles() == labels; }));
    for (const std::string& label : labels) EXPECT_EQ(label, TooltipOf(Tile(label)));
}

TEST_F(AGtkLauncher, ShowsTheFirstLetterInAColourOfTheName) {
    OpenWith({"maps"});
    const Strings names{"radio", "radio", "éclair", "<b>", "数独", ""};
    for (const std::string& name : names) applist_model_append(Model(), name.c_str(), "");
    ASSERT_TRUE(RunMainLoopUntil([&] { return Tiles().size() == 1 + names.size(); }));

    const std::vector<Letter> letters = Letters();
    ASSERT_EQ(1 + names.size(), letters.size());
    std::string texts;
    std::set<std::string> colours;
    for (const Letter& letter : letters) {
        texts += letter.text + " ";
        colours.insert(letter.colour);
    }
    EXPECT_EQ("N R R É < 数  ", texts);
    EXPECT_EQ(letters[1].colour, letters[2].colour);
    EXPECT_LT(1u, colours.size());
}

TEST_F(AGtkLauncher, ShowsTheNewNameOfAnItem) {
    OpenWith({"maps", "music"});

    m_service->Ask("rename music");

    const Strings labels{"Name of maps", "New name of music"};
    EXPECT_TRUE(RunMainLoopUntil([&] { return Tiles() == labels; }));
    EXPECT_EQ("New name of music", TooltipOf(Tile("New name of music")));
}

// The bus starts to refuse when the list has been read. Over a direct channel it would not be
// asked.
class AGtkLauncherThatMayOnlyRead : public AGtkLauncher {
protected:
    AGtkLauncherThatMayOnlyRead()
        : AGtkLauncher(std::make_unique<PrivateBus>(BusProgram::Daemon, Policy(""))) {
        setenv("APPLIST_DIRECT", "0", 1);
    }
    ~AGtkLauncherThatMayOnlyRead() override { setenv("APPLIST_DIRECT", "1", 1); }
};

TEST_F(AGtkLauncherThatMayOnlyRead, SaysThatAWriteWasRefusedAndGoesBackToWhatIsSelected) {
    OpenWith({"maps", "music", "phone"});
    ASSERT_TRUE(BecomesSelected("maps"));
    m_bus->SetPolicies(
        Policy("<deny send_destination=\"org.tessel.Local.Applist\" "
               "send_interface=\"org.tessel.Local1\" send_member=\"Message\"/>"));

    Press("Right");
    ASSERT_TRUE(RunMainLoopUntil([this] { return !Message().empty(); }));

    EXPECT_EQ("Name of music was not selected: you are not allowed to change the list", Message());
    EXPECT_EQ("maps", Selected());
    TakePicture("gtk_launcher_refused.png");

    m_bus->SetPolicies(Policy(""));
    Press("Right");
    EXPECT_TRUE(BecomesSelected("music"));
}
