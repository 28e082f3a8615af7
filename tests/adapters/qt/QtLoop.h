// SPDX-License-Identifier: MIT

// Qt's event loop in the tests.
//
// Threads: the one that has the loop.

#pragma once

#include <QAbstractEventDispatcher>
#include <QByteArray>
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <chrono>
#include <functional>

#include "support/TestLoop.h"

// An application without arguments, whose event loop is GLib's, as on a desktop, or Qt's own.
class QtApplication {
public:
    explicit QtApplication(bool usesGLib = true)
        : m_loop(usesGLib), m_application(m_count, m_words) {}

private:
    struct ChosenLoop {
        explicit ChosenLoop(bool usesGLib) { qputenv("QT_NO_GLIB", usesGLib ? "" : "1"); }
        ~ChosenLoop() { qunsetenv("QT_NO_GLIB"); }
    };

    ChosenLoop m_loop;
    int m_count = 1;
    char m_name[5] = "test";
    char* m_words[2] = {m_name, nullptr};
    QCoreApplication m_application;
};

// Runs Qt's loop until `done` says so, which is asked whenever the loop turns. Returns false when
// it has not by the deadline.
inline bool RunQtUntil(const std::function<bool()>& done,
                       std::chrono::milliseconds limit = kTestDeadline) {
    using Dispatcher = QAbstractEventDispatcher;
    if (done()) return true;
    QEventLoop loop;
    const auto ask = [&] {
        if (done()) loop.quit();
    };
    // After those that were connected before, which drive the loop.
    QObject::connect(Dispatcher::instance(), &Dispatcher::aboutToBlock, &loop, ask);
    QObject::connect(Dispatcher::instance(), &Dispatcher::awake, &loop, ask);
    QTimer::singleShot(limit, &loop, &QEventLoop::quit);
    loop.exec();
    return done();
}
