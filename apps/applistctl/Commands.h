// What the tool can be told to do. Each command is one function: it prints its result, returns
// when it is done, and throws otherwise: Failure, RemoteError or TransportError.
//
// Threads: the main thread, whose default sd-event loop they use.

#pragma once

#include <cstddef>

#include "apps/applistctl/ListState.h"
#include "apps/applistctl/Options.h"
#include "apps/applistctl/Output.h"
#include "partner/RemoteAppListModel.h"

namespace applist::ctl {

// Runs the command that `options` names.
void RunCommand(const Options& options, const Output& output);

// The service's list, at hand. Throws when there is none to be had in time.
class Session {
public:
    explicit Session(const Options& options);

    RemoteAppListModel& Model() { return m_model; }

    // The list as it was when the session began.
    const ListState& Before() const { return m_before; }

    // The list after everything that was written to the model until now. Throws what became of it.
    ListState Now();

private:
    RemoteAppListModel m_model;
    ListState m_before;
};

// Edits.cpp: each looks at the list afterwards, as the service answers success and failure alike.
void RunSelect(const Options& options, const Output& output);
void RunAdd(const Options& options, const Output& output);
void RunImport(const Options& options, const Output& output);
void RunReplace(const Options& options, const Output& output);
void RunRemove(const Options& options, const Output& output);
void RunClear(const Options& options, const Output& output);
void RunClick(const Options& options, const Output& output);

// Watch.cpp: until interrupted, or until as many events as asked for.
void RunWatch(const Options& options, const Output& output);

// RawCall.cpp: one message and its reply.
void RunCall(const Options& options, const Output& output);

}  // namespace applist::ctl
