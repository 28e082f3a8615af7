// SPDX-License-Identifier: MIT

#include <string>

#include "apps/applistctl/Commands.h"
#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Following.h"

namespace applist::ctl {

namespace {

class EventTeller : public Teller {
public:
    EventTeller(const Options& options, const Output& output)
        : Teller(options.count), m_output(output), m_withAll(options.all) {}

    void Begun(const ListState& list) override {
        const std::size_t count = list.items.size();
        Note("watching " + std::to_string(count) + (count == 1 ? " item" : " items"));
        if (!m_withAll) return;
        for (const Entry& item : list.items) Tell({"listed", item});
        Tell({"selected", list.selection});
    }
    void Changed(const ListState& before, const ListState& now) override {
        for (const Event& event : Differences(before, now)) Tell(event);
    }
    // The protocol does not say which item it was.
    void Clicked() override { Tell({"clicked"}); }
    void Lost() override { Tell({"lost"}); }
    void Back() override { Tell({"back"}); }

private:
    void Tell(const Event& event) {
        TellLine([&] { m_output.PrintInStream(event); });
    }

    const Output& m_output;
    const bool m_withAll;
};

class SelectionTeller : public Teller {
public:
    SelectionTeller(const Options& options, const Output& output)
        : Teller(options.count), m_output(output) {}

    void Begun(const ListState& list) override { Tell(list); }
    void Changed(const ListState& before, const ListState& now) override {
        if (!(now.selection == before.selection)) Tell(now);
    }
    // Not a line: what is selected then is not known.
    void Lost() override { Note("lost the service; waiting for it"); }

private:
    void Tell(const ListState& list) {
        TellLine([&] { m_output.PrintSelectionInStream(list); });
    }

    const Output& m_output;
};

void FollowSelection(const Options& options, const Output& output) {
    SelectionTeller teller(options, output);
    FollowList(options, teller);
}

}  // namespace

void RunSelection(const Options& options, const Output& output) {
    if (options.follow) return FollowSelection(options, output);
    const ListState list = Session(options).Before();
    output.PrintSelection(list);
    if (!list.HasSelection()) {
        throw Failure(kNotDone, "nothing is selected; add an item, then select it");
    }
}

void RunWatch(const Options& options, const Output& output) {
    EventTeller teller(options, output);
    FollowList(options, teller);
}

}  // namespace applist::ctl
