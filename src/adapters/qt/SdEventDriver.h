// SPDX-License-Identifier: MIT

// Service and partner live on the thread's default sd-event loop. This lets Qt's event loop run it,
// so that a program of Qt needs no other loop.

#pragma once

#include "common/Export.h"

namespace applist::qt {

// From now on Qt's event loop of this thread runs everything that is due in the thread's default
// sd-event loop, until the QCoreApplication, or the QThread, goes. Calling it again changes
// nothing. A ListModel (adapters/qt/ListModel.h) calls it; a program that only publishes a list
// does so itself, before or after it has built its LocalAppListModel.
//
// While something that the sd-event loop has called, such as a listener, runs an event loop of Qt's
// own (a modal dialog), Qt goes on and the sd-event loop waits: it cannot be entered twice. Nothing
// is lost, but the list stands still until the inner loop has ended. Once sd_event_exit has ended
// the sd-event loop, it is not run any more.
//
// Throws std::runtime_error when this thread has no event dispatcher, as before the
// QCoreApplication is built, and std::system_error when there can be no sd-event loop.
APPLIST_EXPORT void DriveSdEvent();

}  // namespace applist::qt
