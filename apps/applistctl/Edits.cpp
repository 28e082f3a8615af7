// SPDX-License-Identifier: MIT

// The service answers every edit in the same way, whether it carried it out or not. So each edit
// compares the list before and after. Others may change the list meanwhile: what is looked for is
// the effect of this edit, and never that the list is exactly as expected.

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "apps/applistctl/Commands.h"
#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Ids.h"
#include "apps/applistctl/ItemFile.h"

namespace applist::ctl {

namespace {

const char kKeeps[] =
    ": only items that a partner added can be removed or replaced; change it where the service "
    "gets it";

[[noreturn]] void NotDone(const std::string& what, const std::string& next) {
    throw Failure(kNotDone, what + "; " + next);
}

Entry FirstWithId(const ListState& list, const std::string& id) {
    const auto found = std::find_if(list.items.begin(), list.items.end(),
                                    [&](const Entry& entry) { return entry.id == id; });
    return found == list.items.end() ? Entry{std::string(), id} : *found;
}

[[noreturn]] void Keeps(const ListState& list, const std::string& id) {
    throw Failure(kNotDone, "the service keeps " + Describe(FirstWithId(list, id)) + kKeeps);
}

// Which of several items with the same id has gone: the service decides that, not we.
Entry GoneWithId(const ListState& before, const ListState& after, const std::string& id) {
    for (const Entry& entry : before.items) {
        if (entry.id == id && after.Count(entry) < before.Count(entry)) return entry;
    }
    return FirstWithId(before, id);
}

// How many of `items` did not join the list between `before` and `after`. Counted, as equal items
// may have been there already and may be given twice.
std::size_t CountMissing(const ListState& before, const std::vector<Entry>& items,
                         const ListState& after) {
    std::map<Entry, std::ptrdiff_t> missing;
    for (const Entry& entry : items) ++missing[entry];
    for (const Entry& entry : before.items) {
        if (const auto found = missing.find(entry); found != missing.end()) ++found->second;
    }
    for (const Entry& entry : after.items) {
        if (const auto found = missing.find(entry); found != missing.end()) --found->second;
    }
    std::size_t count = 0;
    for (const auto& each : missing) {
        count += static_cast<std::size_t>(std::max<std::ptrdiff_t>(each.second, 0));
    }
    return count;
}

// How many of `items` have the id of an item in `before`, or of an earlier one of `items`.
std::size_t CountRepeated(const ListState& before, const std::vector<Entry>& items) {
    std::map<std::string, std::size_t> seen;
    for (const Entry& entry : before.items) ++seen[entry.id];
    return static_cast<std::size_t>(std::count_if(
        items.begin(), items.end(), [&](const Entry& entry) { return seen[entry.id]++ > 0; }));
}

// Not an error, as the protocol allows it; but an edit by such an id may hit an item that the user
// does not mean.
void NoteRepeated(const ListState& before, const std::vector<Entry>& items) {
    const std::size_t repeated = CountRepeated(before, items);
    if (repeated == 0) return;
    Note(std::to_string(repeated) + (repeated == 1 ? " item has" : " items have") +
         " the same id as another item; select takes the first one with an id, remove and replace "
         "the first one that a partner added");
}

void RequireFree(const ListState& list, const std::string& id) {
    if (list.CountId(id) == 0) return;
    NotDone(Describe(FirstWithId(list, id)) + " has the id " + ShownId(id) + " already",
            "use --again to add another item with it, or replace that one");
}

// Drops those whose ids are in `before`, or in an earlier one of them. Returns how many.
std::size_t DropKnown(const ListState& before, std::vector<Entry>& items) {
    std::set<std::string> known;
    for (const Entry& entry : before.items) known.insert(entry.id);
    const std::size_t all = items.size();
    items.erase(std::remove_if(items.begin(), items.end(),
                               [&](const Entry& entry) { return !known.insert(entry.id).second; }),
                items.end());
    return all - items.size();
}

// In a session of its own, which ends before a person is asked: nothing is connected during the
// wait.
std::size_t AskedCount(const Options& options) {
    Session session(options);
    return session.Before().items.size();
}

// True when a person says yes. They may take their time: no connection is open meanwhile.
bool Confirmed(std::size_t count) {
    std::cerr << "Remove all " + std::to_string(count) +
                     (count == 1 ? " item? [y/N] " : " items? [y/N] ")
              << std::flush;
    std::string answer;
    // After a Ctrl-D the cursor still stands behind the question.
    if (!std::getline(std::cin, answer)) std::cerr << std::endl;
    for (char& letter : answer)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return answer == "y" || answer == "yes";
}

void Ask(const Options& options) {
    if (options.yes) return;
    // A script must say what it wants: a "y" that happens to be next in its input is no answer.
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
        throw Failure(
            kWrongUsage,
            "clear asks before it removes all items, and there is no terminal; use --yes");
    }
    const std::size_t count = AskedCount(options);
    if (count > 0 && !Confirmed(count)) {
        NotDone("nothing was removed", "to remove all items, answer y or use --yes");
    }
}

}  // namespace

void RunSelect(const Options& options, const Output& output) {
    Session session(options);
    RequireId(session.Before(), options.id,
              [](const std::string& id) { return CommandLine("select", {id}); });
    // Items are matched by id alone, so the name may stay empty.
    RemoteAppListItem item(std::string(), options.id);
    session.Model().SetSelection(&item);
    const ListState after = session.Now();
    if (after.selection.id != options.id) {
        NotDone("the service keeps " + Describe(after.selection) + " selected",
                "check with applistctl list that " + ShownId(options.id) + " is still there");
    }
    output.Print({"selected", after.selection});
}

void RunAdd(const Options& options, const Output& output) {
    Session session(options);
    const Entry entry = {options.name, options.id};
    if (!options.again) RequireFree(session.Before(), entry.id);
    RemoteAppListItem item(entry.name, entry.id);
    session.Model().AddItemAtEnd(&item);
    if (CountMissing(session.Before(), {entry}, session.Now()) > 0) {
        NotDone("the service did not add " + Describe(entry), "its log may say why");
    }
    output.Print({"added", entry});
    NoteRepeated(session.Before(), {entry});
}

void RunImport(const Options& options, const Output& output) {
    // Read to the end before the service is asked, so that a bad line changes nothing.
    std::vector<Entry> entries = ReadEntries(options.file);
    Session session(options);
    Event imported = {"imported"};
    if (options.onlyNew) {
        imported.tallies = {{"skipped", DropKnown(session.Before(), entries)}};
    }
    if (!entries.empty()) session.Model().AddItems(Items(entries).Pointers());
    const std::size_t missing = CountMissing(session.Before(), entries, session.Now());
    if (missing > 0) {
        NotDone(std::to_string(missing) + " of " + std::to_string(entries.size()) +
                    " items are not in the list",
                "the log of the service may say why");
    }
    imported.count = entries.size();
    output.Print(imported);
    NoteRepeated(session.Before(), entries);
}

void RunReplace(const Options& options, const Output& output) {
    Session session(options);
    const ListState& before = session.Before();
    RequireId(before, options.oldId, [&](const std::string& id) {
        return CommandLine("replace", {id, options.name, options.id});
    });
    const Entry entry = {options.name, options.id};
    RemoteAppListItem oldItem(std::string(), options.oldId);
    RemoteAppListItem newItem(entry.name, entry.id);
    session.Model().ModifyItem(&oldItem, &newItem);

    const ListState after = session.Now();
    // The service removes the old item and then adds the new one, as two steps: either may fail.
    // With an unchanged id the new item must not be taken for the old one that stayed.
    const bool hasCome = after.Count(entry) > before.Count(entry);
    const std::size_t sameId = hasCome && options.id == options.oldId ? 1 : 0;
    const bool hasGone = after.CountId(options.oldId) < before.CountId(options.oldId) + sameId;
    if (!hasGone) Keeps(before, options.oldId);
    const Entry gone = GoneWithId(before, after, options.oldId);
    if (!hasCome) {
        NotDone(Describe(gone) + " was removed but nothing was added: the id " +
                    ShownId(options.id) + " was taken",
                "add it with applistctl add");
    }
    output.Print({"replaced", entry, gone});
}

void RunRemove(const Options& options, const Output& output) {
    Session session(options);
    const ListState& before = session.Before();
    RequireId(before, options.id,
              [](const std::string& id) { return CommandLine("remove", {id}); });
    RemoteAppListItem item(std::string(), options.id);
    session.Model().RemoveItem(&item);
    const ListState after = session.Now();
    if (after.CountId(options.id) >= before.CountId(options.id)) Keeps(before, options.id);
    output.Print({"removed", GoneWithId(before, after, options.id)});
    if (after.CountId(options.id) > 0) Note("another item still has the id " + ShownId(options.id));
}

void RunClear(const Options& options, const Output& output) {
    Ask(options);
    Session session(options);
    session.Model().RemoveAllItems();
    // Somebody else may have added items since; that is told as well, as the list is not empty.
    const std::size_t left = session.Now().items.size();
    if (left > 0) {
        NotDone(std::to_string(left) + (left == 1 ? " item is" : " items are") + " in the list now",
                "applistctl list shows what stayed or was added since");
    }
    output.Print({"cleared", {}, {}, session.Before().items.size()});
}

}  // namespace applist::ctl
