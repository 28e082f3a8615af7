// SPDX-License-Identifier: MIT

#include "apps/applistctl/Commands.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Waiting.h"

namespace applist::ctl {

namespace {

void RunList(const Options& options, const Output& output) {
    const ListState list = Session(options).Before();
    output.Print(list);
    if (list.items.empty() && output.IsForPerson()) Note("the list is empty");
}

// Copies no item, as it is asked in each turn of the loop.
bool HasId(AppListModel& model, const std::string& id) {
    const std::vector<AppListItem*> items = model.GetAllItems();
    return std::any_of(items.begin(), items.end(),
                       [&](AppListItem* item) { return item->GetUnigueId() == id; });
}

// Until a service is there and has given its list, which is what a session begins with.
void RunWait(const Options& options, const Output&) {
    Session session(options);
    if (!options.item) return;
    const auto isThere = [&] { return HasId(session.Model(), *options.item); };
    RunLoopUntil(isThere, session.Connected() + options.timeout);
    // A service that has gone has no items to speak of: asking once more throws then.
    if (isThere() || session.Now().CountId(*options.item) > 0) return;
    throw Failure(kNotDone, "no item has got the id " + ShownId(*options.item) +
                                " in time; applistctl list shows the ids, or allow more time with "
                                "--timeout");
}

// Whether it stays for as long as things happen.
bool IsPatient(const Options& options) {
    return options.command == "watch" || options.follow || options.item;
}

struct Command {
    const char* name;
    void (*run)(const Options& options, const Output& output);
};

const Command kCommands[] = {
    {"list", RunList},       {"select", RunSelect}, {"selection", RunSelection},
    {"watch", RunWatch},     {"status", RunStatus}, {"wait", RunWait},
    {"add", RunAdd},         {"import", RunImport}, {"sync", RunSync},
    {"replace", RunReplace}, {"remove", RunRemove}, {"clear", RunClear},
    {"call", RunCall},
};

}  // namespace

void RunCommand(const Options& options, const Output& output) {
    // One question is answered before a direct channel could be opened.
    if (!IsPatient(options)) setenv("APPLIST_DIRECT", "0", /* overwrite */ 1);
    for (const Command& command : kCommands) {
        if (options.command == command.name) return command.run(options, output);
    }
    // ParseOptions has refused every other word.
    throw std::logic_error("no such command: " + options.command);
}

// Reading the list is also how it turns out whether there is a service; with --wait it is repeated
// until there is one.
Session::Session(const Options& options) {
    m_model.SetTimeout(options.timeout);
    m_model.SetStartsService(!options.noStart);
    AskService(
        options, [this] { return m_model.IsServiceThere(); }, [this] { m_before = Now(); });
}

ListState Session::Now() {
    m_model.Synchronize();
    return StateOf(m_model);
}

}  // namespace applist::ctl
