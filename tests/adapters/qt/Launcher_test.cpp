// SPDX-License-Identifier: MIT

// examples/qml_launcher in real windows, on an X server of the tests' own, with applistd on a bus
// of theirs. The window is the example's; where its program is started too, xdotool has the keys.
//
// With APPLIST_PICTURES in the environment, pictures of the window are left in that folder.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>

#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPalette>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSortFilterProxyModel>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "adapters/qt/Qml.h"
#include "adapters/qt/QtLoop.h"
#include "bus/BusSelection.h"
#include "support/PrivateBus.h"

namespace {

// An X server, on a display that is free.
class VirtualScreen {
public:
    VirtualScreen() {
        m_server.start("Xvfb",
                       {"-displayfd", "1", "-screen", "0", "1000x700x24", "-nolisten", "tcp"});
        if (!m_server.waitForReadyRead(30000)) throw std::runtime_error("Xvfb does not start");
        qputenv("DISPLAY", ":" + m_server.readLine().trimmed());
        qputenv("QT_QPA_PLATFORM", "xcb");
        qputenv("QT_QUICK_BACKEND", "software");
        // Where Qt itself would look for others.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
        // Qt 6.8 keeps what it asked of a portal there, and nobody answered.
        qputenv("QT_NO_XDG_DESKTOP_PORTAL", "1");
    }
    ~VirtualScreen() {
        m_server.kill();
        m_server.waitForFinished();
    }

private:
    QProcess m_server;
};

QByteArray Items(int count) {
    QByteArray text;
    for (int number = 0; number < count; ++number) {
        const QByteArray digits = QByteArray::number(number);
        text += "Application " + digits + "\tid" + digits + "\n";
    }
    return text;
}

const char kOddItems[] =
    "Maps\tmaps\nMusic\tmusic\nPhone\tphone\nMessages\tmessages\n"
    "A name that is much longer than any tile is wide, and then goes on\tlong\n"
    "Donaudampfschifffahrtselektrizitätenhauptbetriebswerk\tword\n"
    "<b>Bold</b> &amp; <i>more</i>\tmarkup\n"
    "\xe2\x80\xaeturned around\tturned\n"
    "مرحبا بالعالم\tarabic\n"
    "Bytes \xff\xfe\t\xfe\n"
    "\tno-name\n"
    "Two\\nlines\tlines\n";

QPalette DarkPalette() {
    QPalette dark;
    dark.setColor(QPalette::Window, QColor(32, 33, 36));
    dark.setColor(QPalette::WindowText, Qt::white);
    dark.setColor(QPalette::Base, QColor(48, 49, 52));
    dark.setColor(QPalette::Text, Qt::white);
    dark.setColor(QPalette::Mid, QColor(95, 99, 104));
    dark.setColor(QPalette::Highlight, QColor(138, 180, 248));
    dark.setColor(QPalette::HighlightedText, Qt::black);
    return dark;
}

}  // namespace

class AQmlLauncher : public ::testing::Test {
protected:
    AQmlLauncher() {
        UseBus(std::make_unique<PrivateBus>(BusVariety{BusProgram::Daemon, BusLimits::Session}));
    }
    ~AQmlLauncher() override { KillService(); }

    void UseBus(std::unique_ptr<PrivateBus> bus) {
        m_bus = std::move(bus);
        applist::SelectBusAddress(m_bus->Address());
    }

    void StartService(const QByteArray& items) {
        QFile file(m_folder.filePath("items"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(items);
        file.close();
        m_service.start(APPLISTD, {"--items", file.fileName(), Address()});
        ASSERT_TRUE(m_service.waitForStarted());
    }
    void KillService() {
        m_service.kill();
        m_service.waitForFinished();
    }

    void OpenWindow() {
        static const int once = qmlRegisterType<QSortFilterProxyModel>("Launcher", 1, 0, "Search");
        EXPECT_GE(once, 0);
        applist::qt::RegisterQmlTypes();
        m_engine = std::make_unique<QQmlApplicationEngine>(QStringLiteral("qrc:/Launcher.qml"));
        ASSERT_EQ(m_engine->rootObjects().size(), 1);
        m_window = qobject_cast<QQuickWindow*>(m_engine->rootObjects().front());
        ASSERT_TRUE(QTest::qWaitForWindowExposed(m_window));
        m_window->requestActivate();
        // Before that, keys go nowhere.
        ASSERT_TRUE(RunQtUntil([this] { return m_window->activeFocusItem() != nullptr; }));
    }

    // An item by its objectName, when it is shown.
    QQuickItem* Item(const QString& name) const { return Below(m_window->contentItem(), name); }
    static QQuickItem* Below(QQuickItem* item, const QString& name) {
        if (!item->isVisible()) return nullptr;
        if (item->objectName() == name) return item;
        for (QQuickItem* child : item->childItems()) {
            if (QQuickItem* const found = Below(child, name)) return found;
        }
        return nullptr;
    }
    bool IsShown(const QString& name) const {
        return RunQtUntil([&] { return Item("tile " + name) != nullptr; });
    }
    bool Says(const QString& where, const QString& text) const {
        return RunQtUntil([&] {
            const QQuickItem* const item = Item(where);
            return item != nullptr && item->property("text").toString() == text;
        });
    }
    bool IsSelected(const QString& name) const {
        return RunQtUntil([&] {
            const QQuickItem* const tile = Item("tile " + name);
            return tile != nullptr && tile->property("selected").toBool();
        });
    }

    QString Address() const { return "--address=" + QString::fromStdString(m_bus->Address()); }

    // What a person at a shell sees; nothing but the id.
    QString SelectedIdOfService() const {
        QProcess tool;
        tool.start(APPLISTCTL, {Address(), "selection"});
        tool.waitForFinished();
        return QString::fromUtf8(tool.readAllStandardOutput()).trimmed().section('\t', 1);
    }

    void TakePicture(const QString& name) const {
        const QString folder = qEnvironmentVariable("APPLIST_PICTURES");
        const QImage picture = m_window->grabWindow();
        EXPECT_EQ(picture.width(), 640);
        if (folder.isEmpty()) return;
        EXPECT_TRUE(picture.save(QDir(folder).filePath(name + ".png"), nullptr, 0));
    }

    VirtualScreen m_screen;
    int m_count = 1;
    char m_name[9] = "launcher";
    char* m_words[2] = {m_name, nullptr};
    QGuiApplication m_application{m_count, m_words};
    std::unique_ptr<PrivateBus> m_bus;
    QTemporaryDir m_folder;
    QProcess m_service;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QQuickWindow* m_window = nullptr;
};

TEST_F(AQmlLauncher, ShowsNamesOfAllKinds) {
    StartService(kOddItems);
    OpenWindow();
    for (const char* name : {"Maps", "<b>Bold</b> &amp; <i>more</i>", "turned around",
                             "Bytes \uFFFD\uFFFD", "no-name", "Two lines"}) {
        EXPECT_TRUE(IsShown(name)) << name;
    }
    EXPECT_TRUE(IsSelected("Maps"));
    EXPECT_TRUE(Says("state", ""));
    TakePicture("qml_launcher");
}

TEST_F(AQmlLauncher, TakesTheSystemsColours) {
    QGuiApplication::setPalette(DarkPalette());
    StartService(kOddItems);
    OpenWindow();
    EXPECT_TRUE(IsSelected("Maps"));
    EXPECT_EQ(m_window->color(), QColor(32, 33, 36));
    TakePicture("qml_launcher_dark");
}

TEST_F(AQmlLauncher, MovesTheServicesSelectionWithTheArrowKeys) {
    StartService(Items(10));
    OpenWindow();
    ASSERT_TRUE(IsSelected("Application 0"));
    const int columns = Item("grid")->property("columns").toInt();
    for (const Qt::Key key : {Qt::Key_Right, Qt::Key_Right, Qt::Key_Left, Qt::Key_Down}) {
        QTest::keyClick(m_window, key);
    }
    const QString place = QString::number(1 + columns);
    EXPECT_TRUE(IsSelected("Application " + place));
    EXPECT_EQ(SelectedIdOfService(), "id" + place);
    QTest::keyClick(m_window, Qt::Key_Up);
    EXPECT_TRUE(IsSelected("Application 1"));
}

TEST_F(AQmlLauncher, SelectsWhatIsTapped) {
    StartService(Items(10));
    OpenWindow();
    ASSERT_TRUE(IsShown("Application 6"));
    const QQuickItem* const tile = Item("tile Application 6");
    const QPointF middle = tile->mapToScene(QPointF(tile->width() / 2, tile->height() / 2));
    QTest::mouseClick(m_window, Qt::LeftButton, Qt::NoModifier, middle.toPoint());
    EXPECT_TRUE(IsSelected("Application 6"));
    EXPECT_EQ(SelectedIdOfService(), "id6");
}

TEST_F(AQmlLauncher, FindsWhatIsTyped) {
    StartService(kOddItems);
    OpenWindow();
    ASSERT_TRUE(IsShown("Maps"));
    for (const char letter : {'m', 'U', 's'}) QTest::keyClick(m_window, letter);
    EXPECT_TRUE(RunQtUntil([&] { return Item("grid")->property("count").toInt() == 1; }));
    EXPECT_TRUE(IsShown("Music"));
    TakePicture("qml_launcher_search");
    QTest::keyClick(m_window, Qt::Key_Right);
    EXPECT_TRUE(IsSelected("Music"));
    QTest::keyClick(m_window, 'x');
    EXPECT_TRUE(Says("state", "Nothing is called that"));
    QTest::keyClick(m_window, Qt::Key_Escape);
    EXPECT_TRUE(IsShown("Maps"));
}

TEST_F(AQmlLauncher, SaysThatTheServiceIsGoneAndShowsItAgain) {
    OpenWindow();
    EXPECT_TRUE(Says("state", "There is no list at the moment"));
    StartService(Items(3));
    ASSERT_TRUE(IsSelected("Application 0"));
    KillService();
    EXPECT_TRUE(Says("state", "There is no list at the moment"));
    EXPECT_TRUE(RunQtUntil([&] { return Item("grid")->property("count").toInt() == 0; }));
    TakePicture("qml_launcher_gone");
    StartService(Items(2));
    EXPECT_TRUE(IsSelected("Application 0"));
}

TEST_F(AQmlLauncher, SaysThatTheListIsEmpty) {
    StartService("");
    OpenWindow();
    EXPECT_TRUE(Says("state", "The list is empty"));
}

TEST_F(AQmlLauncher, SaysWhyThereIsNoBus) {
    m_bus->Kill();
    OpenWindow();
    const QString text = Item("state")->property("text").toString();
    EXPECT_TRUE(text.contains(QString::fromStdString(m_bus->Address()))) << text.toStdString();
    m_bus->Start();
    EXPECT_TRUE(Says("state", "There is no list at the moment"));
}

// The bus starts to refuse when the list has been read. Over a direct channel it would not be
// asked.
class AQmlLauncherThatMayOnlyRead : public AQmlLauncher {
protected:
    AQmlLauncherThatMayOnlyRead() {
        qputenv("APPLIST_DIRECT", "0");
        UseBus(std::make_unique<PrivateBus>(BusProgram::Daemon, Policy("")));
    }
    ~AQmlLauncherThatMayOnlyRead() override { qunsetenv("APPLIST_DIRECT"); }

    static std::string Policy(const std::string& exception) {
        return "<policy context=\"default\"><allow send_destination=\"*\"/>"
               "<allow receive_sender=\"*\"/><allow own=\"*\"/>" +
               exception + "</policy>";
    }
};

TEST_F(AQmlLauncherThatMayOnlyRead, SaysThatAWriteWasRefusedAndGoesBackToWhatIsSelected) {
    StartService(kOddItems);
    OpenWindow();
    ASSERT_TRUE(IsSelected("Maps"));
    m_bus->SetPolicies(
        Policy("<deny send_interface=\"org.tessel.Local1\" send_member=\"Message\"/>"));
    QTest::keyClick(m_window, Qt::Key_Right);
    EXPECT_EQ(Item("grid")->property("currentIndex").toInt(), 1);
    EXPECT_TRUE(
        Says("complaint", "Music was not selected: you are not allowed to change the list"));
    EXPECT_TRUE(RunQtUntil([&] { return Item("grid")->property("currentIndex").toInt() == 0; }));
    EXPECT_TRUE(IsSelected("Maps"));
    EXPECT_TRUE(Says("state", ""));
    TakePicture("qml_launcher_refused");
}

// Frame times are written down, and no more: they are the machine's.
TEST_F(AQmlLauncher, ScrollsTenThousandItems) {
    StartService(Items(10000));
    OpenWindow();
    ASSERT_TRUE(IsSelected("Application 0"));
    QQuickItem* const grid = Item("grid");
    std::vector<qint64> times;
    QElapsedTimer frame;
    frame.start();
    const qreal end = grid->property("contentHeight").toReal() - grid->height();
    QObject::connect(m_window, &QQuickWindow::frameSwapped, grid, [&] {
        times.push_back(frame.nsecsElapsed() / 1000);
        frame.restart();
        grid->setProperty("contentY", std::min(end, grid->property("contentY").toReal() + 1500));
    });
    m_window->update();
    EXPECT_TRUE(IsShown("Application 9999"));
    std::sort(times.begin(), times.end());
    const std::size_t count = times.size();
    ASSERT_GT(count, 100U);
    std::printf("%zu frames: median %lld us, 99 of 100 below %lld us, longest %lld us\n", count,
                times[count / 2], times[count * 99 / 100], times.back());
}

TEST_F(AQmlLauncher, IsAProgramThatTakesKeys) {
    StartService(Items(10));
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SESSION_BUS_ADDRESS", QString::fromStdString(m_bus->Address()));
    program.setProcessEnvironment(environment);
    program.start(QML_LAUNCHER, QStringList());
    ASSERT_TRUE(program.waitForStarted());
    const QDeadlineTimer deadline(kTestDeadline);
    while (SelectedIdOfService() != "id1" && !deadline.hasExpired()) {
        QProcess::execute("xdotool", {"search", "--sync", "--onlyvisible", "--name", "Applications",
                                      "windowfocus", "key", "--clearmodifiers", "Home", "Right"});
    }
    EXPECT_EQ(SelectedIdOfService(), "id1");
    program.terminate();
    EXPECT_TRUE(program.waitForFinished());
}
