// SPDX-License-Identifier: MIT

// A notifier on sd-event's descriptor is not enough. sd-event sets its timers, and looks for what
// needs no descriptor, such as messages that are already read, when it prepares to wait; whatever
// the program has done since then makes the descriptor readable only after that. So the loop is run
// whenever Qt is about to wait as well.

#include "adapters/qt/SdEventDriver.h"

#include <systemd/sd-event.h>

#include <QAbstractEventDispatcher>
#include <QPointer>
#include <QSocketNotifier>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "common/AppListLog.h"

namespace applist::qt {

namespace {

// What is dispatched before Qt has its turn: who floods the loop must not freeze a window.
constexpr int kAtOnce = 1000;

sd_event* DefaultLoop() {
    sd_event* loop = nullptr;
    const int result = sd_event_default(&loop);
    if (result < 0) throw std::system_error(-result, std::generic_category(), "sd-event");
    return loop;
}

class SdEventDriver : public QObject {
public:
    explicit SdEventDriver(QAbstractEventDispatcher* dispatcher)
        : QObject(dispatcher),
          m_loop(DefaultLoop()),
          m_wakeUp(sd_event_get_fd(m_loop), QSocketNotifier::Read) {
        using Dispatcher = QAbstractEventDispatcher;
        connect(&m_wakeUp, &QSocketNotifier::activated, this, &SdEventDriver::Run);
        connect(dispatcher, &Dispatcher::aboutToBlock, this, &SdEventDriver::Run);
        // Who calls processEvents again and again never waits.
        connect(dispatcher, &Dispatcher::awake, this, &SdEventDriver::Run);
    }

    ~SdEventDriver() override { sd_event_unref(m_loop); }

private:
    // The descriptor of a loop that is running, or has ended, stays readable: with the notifier on,
    // Qt would never sleep.
    void Run() {
        if (sd_event_get_state(m_loop) != SD_EVENT_INITIAL) return m_wakeUp.setEnabled(false);
        int result = 1;
        for (int count = 0; result > 0 && count < kAtOnce; ++count) {
            result = sd_event_run(m_loop, 0);
        }
        m_wakeUp.setEnabled(result >= 0);
        if (result > 0) QMetaObject::invokeMethod(this, &SdEventDriver::Run, Qt::QueuedConnection);
        if (result < 0 && result != -ESTALE) {
            APPLIST_LOG(logging::kError, "the sd-event loop: %s", std::strerror(-result));
        }
    }

    sd_event* const m_loop;
    QSocketNotifier m_wakeUp;
};

}  // namespace

void DriveSdEvent() {
    thread_local QPointer<SdEventDriver> driver;
    if (driver != nullptr) return;
    QAbstractEventDispatcher* const dispatcher = QAbstractEventDispatcher::instance();
    if (dispatcher == nullptr) {
        throw std::runtime_error(
            "Qt has no event loop in this thread; build the QCoreApplication first");
    }
    driver = new SdEventDriver(dispatcher);
}

}  // namespace applist::qt
