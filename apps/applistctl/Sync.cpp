// SPDX-License-Identifier: MIT

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "apps/applistctl/Commands.h"
#include "apps/applistctl/Failure.h"
#include "apps/applistctl/ItemFile.h"
#include "apps/applistctl/SyncPlan.h"
#include "apps/common/ReadText.h"

namespace applist::ctl {

namespace {

// A few are enough, unless somebody else edits the list all the time.
constexpr int kMostRounds = 16;

// Removals that are sent before they are waited for. A service looks for each item in its whole
// list, and all of them together have the time of one answer.
constexpr std::size_t kMostRemovals = 500;

std::map<std::string, std::size_t> CountsOfIds(const std::vector<Entry>& items) {
    std::map<std::string, std::size_t> counts;
    for (const Entry& entry : items) ++counts[entry.id];
    return counts;
}

class Sync {
public:
    Sync(const Options& options, std::vector<Entry> wanted)
        : m_session(options), m_plan(std::move(wanted)), m_now(m_session.Before()) {}

    void Run() {
        RemoveAll();
        Add(m_plan.ToAdd(m_now.items));
        KeepSelection();
    }

    void Report(const Output& output, const std::string& file) const;

private:
    void RemoveAll();
    void Remove(const std::vector<Entry>& items);
    void Add(const std::vector<Entry>& items);
    void Send(const std::vector<Entry>& items);
    std::vector<Entry> Gone() const;
    bool HasCome(std::size_t count) const;
    void BringBack();
    void TryToBringBack(std::size_t count);
    void KeepSelection();
    std::string WhatCameBack() const;
    void NoteRest(const std::string& source) const;

    Session m_session;
    SyncPlan m_plan;
    ListState m_now;
    bool m_isSettled = true;          // nothing was left to be removed in the end
    std::set<std::string> m_removed;  // the ids
    std::size_t m_added = 0;          // moved items included
    std::size_t m_broughtBack = 0;
    std::size_t m_lost = 0;
};

void Sync::RemoveAll() {
    for (int round = 0; round < kMostRounds; ++round) {
        const std::vector<Entry> items = m_plan.ToRemove(m_now.items);
        if (items.empty()) return;
        const auto before = CountsOfIds(m_now.items);
        Remove(items);
        const auto after = CountsOfIds(m_now.items);
        for (const Entry& entry : items) {
            const auto left = after.find(entry.id);
            const bool stays = left != after.end() && left->second >= before.at(entry.id);
            if (stays) {
                m_plan.Keeps(entry.id);
            } else {
                m_removed.insert(entry.id);
            }
        }
    }
    m_isSettled = m_plan.ToRemove(m_now.items).empty();
}

void Sync::Remove(const std::vector<Entry>& items) {
    std::size_t sent = 0;
    for (const Entry& entry : items) {
        RemoteAppListItem item(entry.name, entry.id);
        m_session.Model().RemoveItem(&item);
        if (++sent % kMostRemovals == 0) m_session.Model().Synchronize();
    }
    m_now = m_session.Now();
}

void Sync::Add(const std::vector<Entry>& items) {
    if (items.empty()) return;
    try {
        Send(items);
    } catch (const RemoteError&) {
        TryToBringBack(items.size());
        throw;
    }
    m_added = items.size();
    if (!HasCome(items.size())) BringBack();
}

// Whether anything of a batch of that size has been added: the service takes all of it, or nothing.
bool Sync::HasCome(std::size_t count) const {
    return m_plan.ToAdd(m_now.items).size() < count;
}

void Sync::Send(const std::vector<Entry>& items) {
    m_session.Model().AddItems(Items(items).Pointers());
    m_now = m_session.Now();
}

// What was there at first and is not since a removal of ours. By id, as the service decides which
// of several items with one id it removes.
std::vector<Entry> Sync::Gone() const {
    std::map<Entry, std::size_t> there;
    for (const Entry& entry : m_now.items) ++there[entry];
    std::vector<Entry> gone;
    for (const Entry& entry : m_session.Before().items) {
        std::size_t& left = there[entry];
        if (left > 0) {
            --left;
        } else if (m_removed.count(entry.id) > 0) {
            gone.push_back(entry);
        }
    }
    return gone;
}

// A service that has no room for all takes none. What was removed had room there, and most of it
// was only to be moved.
void Sync::BringBack() {
    const std::vector<Entry> gone = Gone();
    if (gone.empty()) return;
    Send(gone);
    m_lost = Gone().size();
    m_broughtBack = gone.size() - m_lost;
}

// After a failure, which may be that the batch is too large for one message. When there is no
// service any more, that failure says so already.
void Sync::TryToBringBack(std::size_t count) {
    try {
        m_now = m_session.Now();
        if (HasCome(count)) return;
        BringBack();
        KeepSelection();
    } catch (const RemoteError&) {
        return;
    }
}

// An item that is removed loses the selection, also when it is added again.
void Sync::KeepSelection() {
    const Entry& selection = m_session.Before().selection;
    const bool isLost = m_session.Before().selected && m_now.selection.id != selection.id;
    if (!isLost || m_now.CountId(selection.id) == 0) return;
    RemoteAppListItem item(selection.name, selection.id);
    m_session.Model().SetSelection(&item);
    m_now = m_session.Now();
}

std::string Sync::WhatCameBack() const {
    if (m_lost > 0) {
        return ", and " + std::to_string(m_lost) + " of what was removed could not be added again";
    }
    if (m_broughtBack == 0) return std::string();
    return ", and " + std::to_string(m_broughtBack) +
           (m_broughtBack == 1 ? " that was" : " that were") + " removed" +
           (m_broughtBack == 1 ? " is" : " are") + " there again";
}

// Others may edit the list meanwhile: what counts is what the file asks for.
void Sync::Report(const Output& output, const std::string& file) const {
    const std::size_t missing = m_plan.ToAdd(m_now.items).size();
    if (missing > 0) {
        throw Failure(kNotDone, std::to_string(missing) + " of the items in " + SourceName(file) +
                                    (missing == 1 ? " is" : " are") + " not in the list" +
                                    WhatCameBack() + "; the log of the service may say why");
    }
    std::size_t added = 0;
    std::size_t removed = 0;
    std::size_t replaced = 0;
    for (const Event& event : Differences(m_session.Before(), m_now)) {
        const bool isWanted = event.item && m_plan.Wants(*event.item);
        if (event.what == "added" && isWanted) ++added;
        if (event.what == "removed" && !isWanted) ++removed;
        if (event.what == "renamed" && isWanted) ++replaced;
    }
    const std::size_t moved = m_added - std::min(m_added, added + replaced);
    output.Print(
        {"synced",
         {},
         {},
         {},
         {{"added", added}, {"removed", removed}, {"replaced", replaced}, {"moved", moved}}});
    NoteRest(SourceName(file));
}

// What is not as the file says, and why.
void Sync::NoteRest(const std::string& source) const {
    const SyncPlan::Surplus surplus = m_plan.SurplusOf(m_now.items);
    if (surplus.kept > 0) {
        Note(std::to_string(surplus.kept) +
             (surplus.kept == 1 ? " item stays that is" : " items stay that are") + " not in " +
             source + ": the service keeps what no partner added");
    }
    if (surplus.renamed > 0) {
        Note(std::to_string(surplus.renamed) +
             (surplus.renamed == 1 ? " item has" : " items have") + " another name than in " +
             source + ": the service keeps what no partner added");
    }
    if (!m_isSettled || surplus.others > 0) {
        Note("the list changed meanwhile, and is not what " + source + " says; run sync again");
    } else if (!m_plan.ToRemove(m_now.items).empty()) {
        Note("the items are in another order than in " + source +
             ": the service puts them where it wants");
    }
}

// As if every removal were carried out, since only the service knows which ones it will.
void ShowPlan(const Options& options, const Output& output, std::vector<Entry> wanted) {
    std::vector<Entry> now = Session(options).Before().items;
    const SyncPlan plan(std::move(wanted));
    bool removes = false;
    for (auto items = plan.ToRemove(now); !items.empty(); items = plan.ToRemove(now)) {
        removes = true;
        for (const Entry& entry : items) {
            output.PrintInStream({"remove", entry});
            now.erase(std::find(now.begin(), now.end(), entry));
        }
    }
    for (const Entry& entry : plan.ToAdd(now)) output.PrintInStream({"add", entry});
    if (removes)
        Note("of these, the service keeps what no partner added, and it is not added again");
}

// A list that could not be written, or a variable that was not set, looks like this, too.
void RequireItems(const Options& options, const std::vector<Entry>& wanted) {
    if (!wanted.empty() || options.yes || options.dryRun) return;
    throw Failure(kWrongUsage, SourceName(options.file) +
                                   " holds no item, and sync would remove all that partners added; "
                                   "use --yes if that is meant");
}

}  // namespace

void RunSync(const Options& options, const Output& output) {
    std::vector<Entry> wanted = ReadEntries(options.file);
    RequireItems(options, wanted);
    if (options.dryRun) return ShowPlan(options, output, std::move(wanted));
    Sync sync(options, std::move(wanted));
    sync.Run();
    sync.Report(output, options.file);
}

}  // namespace applist::ctl
