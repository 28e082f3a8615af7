// SPDX-License-Identifier: MIT

// What the tool can be told to do. Each command is one function. It prints its result and returns
// when it is done; otherwise it throws Failure, RemoteError or TransportError.
//
// Threads: the main thread, whose default sd-event loop they use.

#pragma once

#include <chrono>
#include <cstddef>

#include "apps/applistctl/ListState.h"
#include "apps/applistctl/Options.h"
#include "apps/applistctl/Output.h"
#include "partner/RemoteAppListModel.h"

namespace applist::ctl {

// Runs the command that `options` names.
void RunCommand(const Options& options, const Output& output);

// The service's list, as a replica and as it was at the start. The constructor waits for the
// service as the options say, and throws when it cannot get the list in time.
class Session {
public:
    explicit Session(const Options& options);

    RemoteAppListModel& Model() { return m_model; }

    // When the connection to the bus was made, from where on the time for an answer counts.
    std::chrono::steady_clock::time_point Connected() const { return m_connected; }

    // The list as it was when the session began.
    const ListState& Before() const { return m_before; }

    // The list after everything that was written to the model so far. Throws when one of these
    // writes has failed.
    ListState Now();

private:
    RemoteAppListModel m_model;
    const std::chrono::steady_clock::time_point m_connected = std::chrono::steady_clock::now();
    ListState m_before;
};

// Edits.cpp. Each looks at the list afterwards to see whether it worked, because the service gives
// the same answer to an edit that it carried out and to one that it ignored.
void RunSelect(const Options& options, const Output& output);
void RunAdd(const Options& options, const Output& output);
void RunImport(const Options& options, const Output& output);
void RunReplace(const Options& options, const Output& output);
void RunRemove(const Options& options, const Output& output);
void RunClear(const Options& options, const Output& output);

// Sync.cpp. Several edits, each of which depends on what became of the ones before.
void RunSync(const Options& options, const Output& output);

// Status.cpp. Never starts a service.
void RunStatus(const Options& options, const Output& output);

// Watch.cpp. What follows the list runs until interrupted, or until --count lines have been
// printed.
void RunSelection(const Options& options, const Output& output);
void RunWatch(const Options& options, const Output& output);

// RawCall.cpp. Sends one message and prints its reply.
void RunCall(const Options& options, const Output& output);

}  // namespace applist::ctl
