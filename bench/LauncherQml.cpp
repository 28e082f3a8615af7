// SPDX-License-Identifier: MIT

// Qt's software renderer draws in the thread that has the window's state, so that what is selected
// when a frame was drawn is what the frame shows.

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSortFilterProxyModel>
#include <stdexcept>

#include "BareBus.h"
#include "LauncherProcesses.h"
#include "Screen.h"
#include "adapters/qt/Qml.h"

using applist::qt::ListModel;

namespace bench {

namespace {

// Beside the other window, which is at 0: GTK does not let a program place its own.
constexpr int kLeft = 800;

class QmlWatch {
public:
    QmlWatch(QQuickWindow* window, const LauncherPlace& place)
        : m_window(window),
          m_grid(window->findChild<QQuickItem*>("grid")),
          m_list(window->findChild<ListModel*>()),
          m_teller(LauncherPart::Qml, place.eventsFd) {
        if (m_grid == nullptr || m_list == nullptr) throw std::runtime_error("no list in the QML");
        const auto tellActive = [this] { TellActive(); };
        QObject::connect(window, &QQuickWindow::frameSwapped, window, [this] { TellFrame(); });
        QObject::connect(window, &QWindow::activeChanged, window, tellActive);
        QObject::connect(window, &QQuickWindow::activeFocusItemChanged, window, tellActive);
        QObject::connect(m_list, &ListModel::selectedRowChanged, window, [this] {
            m_teller.Tell(LauncherEvent::Kind::Selected, m_list->selectedRow());
        });
    }

private:
    void TellFrame() {
        m_teller.TellFrame(static_cast<std::int64_t>(m_window->winId()), m_list->selectedRow(),
                           IsHighlightInView());
    }

    // A key goes to an item, and nowhere as long as none has the focus.
    void TellActive() {
        const bool takesKeys = m_window->isActive() && m_window->activeFocusItem() != nullptr;
        m_teller.Tell(LauncherEvent::Kind::Active, takesKeys);
    }

    // Whether at least half of it is. A tile far out of view does not exist.
    bool IsHighlightInView() const {
        QQuickItem* tile = nullptr;
        QMetaObject::invokeMethod(m_grid, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, tile),
                                  Q_ARG(int, m_list->selectedRow()));
        if (tile == nullptr || !tile->property("selected").toBool()) return false;
        const QPointF middle = tile->mapToItem(m_grid, tile->boundingRect().center());
        return m_grid->boundingRect().contains(middle);
    }

    QQuickWindow* const m_window;
    QQuickItem* const m_grid;
    ListModel* const m_list;
    LauncherTeller m_teller;
};

}  // namespace

void RunQmlLauncher(const LauncherPlace& place, int readyFd) {
    Choose(place.address, place.way);
    EnterScreen(place.display);
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_QUICK_BACKEND", "software");
    char name[] = "launcher";
    char* words[] = {name, nullptr};
    int count = 1;
    const QGuiApplication application(count, words);
    applist::qt::RegisterQmlTypes();
    qmlRegisterType<QSortFilterProxyModel>("Launcher", 1, 0, "Search");
    const QQmlApplicationEngine engine(QStringLiteral("qrc:/Launcher.qml"));
    if (engine.rootObjects().isEmpty()) throw std::runtime_error("the QML cannot be loaded");
    auto* const window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());
    const QmlWatch watch(window, place);
    window->setPosition(kLeft, 0);
    SayReady(readyFd);
    QGuiApplication::exec();
}

}  // namespace bench
