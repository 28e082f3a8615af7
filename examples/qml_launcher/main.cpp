// SPDX-License-Identifier: MIT

// A launcher of one window in Qt Quick: the list that another process publishes, to search in and
// to select from. What it shows stands in Launcher.qml.

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QSortFilterProxyModel>

#include "adapters/qt/Qml.h"

int main(int argc, char** argv) {
    QGuiApplication application(argc, argv);
    applist::qt::RegisterQmlTypes();
    qmlRegisterType<QSortFilterProxyModel>("Launcher", 1, 0, "Search");
    const QQmlApplicationEngine engine(QStringLiteral("qrc:/Launcher.qml"));
    return engine.rootObjects().isEmpty() ? 1 : QGuiApplication::exec();
}
