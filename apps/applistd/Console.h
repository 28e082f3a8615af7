// SPDX-License-Identifier: MIT

// Commands on standard input, for development: a list that can be changed from the keyboard, next
// to what the partner does to it.
//
//   select ID | click ID | add NAME ID | remove ID | list | help | quit
//
// Words are quoted as in a shell. `list` prints name, TAB and id of every item, and marks the
// selected one with a star; `help` prints the commands; bytes that cannot be printed are shown as
// \xNN. A command that fails is answered by one line on stderr and changes nothing. The end of
// input means `quit`. While nobody reads what `list` has printed, no other command is carried out;
// the daemon itself goes on.
//
// Threads: the thread of its default sd-event loop. Lifetime: the list must outlive the console.
// The console owns the items that it added, so nobody may read the list once the console is gone.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "apps/applistd/ApplicationList.h"
#include "bus/SdBus.h"

namespace applist::daemon {

class Console {
public:
    // Reads commands from now on, and calls `quit` once when there will be no more. Throws
    // std::system_error when the kernel refuses to wait for them.
    Console(ApplicationList& list, std::function<void()> quit);

    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

private:
    using Words = std::vector<std::string>;
    struct Command;

    static const Command kCommands[];
    static int OnReady(sd_event_source* source, int fd, std::uint32_t events, void* self);
    static int OnTurn(sd_event_source* source, void* self);

    // Waits for stdout while there is output left to write, and for stdin otherwise.
    void Watch();
    // Does what there is to be done, and waits again or calls `quit`.
    void Proceed();
    // Returns whether there is more to wait for.
    bool Step();
    void ReadInput();
    void WriteOutput();
    void ExecuteCompleteLines();
    void Execute(const std::string& line);

    void Select(const Words& words);
    void Click(const Words& words);
    void Add(const Words& words);
    void Remove(const Words& words);
    void List(const Words& words);
    void Help(const Words& words);
    void Quit(const Words& words);

    // Returns the first item of the list with this id. Throws when there is none.
    AppListItem* Known(const std::string& id);
    // Frees the added items that are not in the list any more.
    void DropRemoved();

    ApplicationList& m_list;
    std::function<void()> m_quit;
    UniqueSource m_watch;
    std::string m_input;      // read, but not carried out yet
    bool m_hasEnded = false;  // the input; lines read before may still wait in m_input
    std::string m_output;     // not taken by stdout yet
    bool m_tooLong = false;   // the line being read is ignored up to its end
    bool m_done = false;
    std::vector<std::unique_ptr<RemoteAppListItem>> m_added;
};

}  // namespace applist::daemon
