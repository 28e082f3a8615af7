// SPDX-License-Identifier: MIT

#include "apps/applistd/Console.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "applist/ApplistItemComparator.h"
#include "apps/applistd/Complain.h"
#include "apps/applistd/DefaultLoop.h"
#include "apps/applistd/ShellWords.h"
#include "common/Guarded.h"
#include "common/PrintableText.h"
#include "platform/WithoutWaiting.h"

namespace applist::daemon {

namespace {

// Far more than a person types; a file without line ends, fed in by mistake, must not fill the
// memory.
constexpr std::size_t kLongestLine = 65536;

}  // namespace

struct Console::Command {
    const char* name;
    std::size_t arguments;
    const char* usage;
    void (Console::*run)(const Words& words);
};

const Console::Command Console::kCommands[] = {
    {"select", 1, "select ID", &Console::Select}, {"click", 1, "click ID", &Console::Click},
    {"add", 2, "add NAME ID", &Console::Add},     {"remove", 1, "remove ID", &Console::Remove},
    {"list", 0, "list", &Console::List},          {"help", 0, "help", &Console::Help},
    {"quit", 0, "quit", &Console::Quit},
};

Console::Console(ApplicationList& list, std::function<void()> quit)
    : m_list(list), m_quit(std::move(quit)) {
    Watch();
}

// One descriptor at a time: not reading stdin while stdout is full is what keeps m_output short.
void Console::Watch() {
    const bool isRead = m_output.empty();
    const UniqueEvent loop = DefaultLoop();
    sd_event_source* source = nullptr;
    int result = sd_event_add_io(loop.get(), &source, isRead ? STDIN_FILENO : STDOUT_FILENO,
                                 isRead ? EPOLLIN : EPOLLOUT, OnReady, this);
    // A file, and /dev/null, can only be waited for by poll, which finds them always ready.
    if (result == -EPERM) result = sd_event_add_defer(loop.get(), &source, OnTurn, this);
    m_watch.reset(source);
    Checked(result, "cannot wait for commands");
}

int Console::OnReady(sd_event_source*, int, std::uint32_t, void* self) {
    static_cast<Console*>(self)->Proceed();
    return 0;
}

int Console::OnTurn(sd_event_source*, void* self) {
    static_cast<Console*>(self)->Proceed();
    return 0;
}

void Console::Proceed() {
    m_watch.reset();
    bool more = true;
    Guarded("reading a command", [&] { more = Step(); });
    if (more && Guarded("waiting for a command", [this] { Watch(); })) return;
    Guarded("ending", [this] { m_quit(); });
}

bool Console::Step() {
    if (m_output.empty()) {
        ReadInput();
    } else {
        WriteOutput();
    }
    ExecuteCompleteLines();
    return !m_done && !(m_hasEnded && m_output.empty());
}

void Console::ReadInput() {
    char bytes[4096];
    const ssize_t length = read(STDIN_FILENO, bytes, sizeof bytes);
    // EAGAIN: whoever shares this stdin may have made it non-blocking.
    if (length < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (length > 0) {
        m_input.append(bytes, static_cast<std::size_t>(length));
        return;
    }
    // The end, or an error that will not go away. A last line without its end counts as well.
    m_hasEnded = true;
    if (!m_input.empty()) m_input += '\n';
}

// When the reader has left, what waits for it is dropped, so that commands go on.
void Console::WriteOutput() {
    const ssize_t written = WriteWithoutWaiting(STDOUT_FILENO, m_output);
    if (written == -EAGAIN) return;
    m_output.erase(0, written < 0 ? m_output.size() : static_cast<std::size_t>(written));
}

void Console::ExecuteCompleteLines() {
    std::size_t end = m_input.find('\n');
    for (; end != std::string::npos && !m_done && m_output.empty(); end = m_input.find('\n')) {
        const std::string line = m_input.substr(0, end);
        m_input.erase(0, end + 1);
        // The rest of a line whose beginning was dropped is no command.
        if (!m_tooLong) Execute(line);
        m_tooLong = false;
    }
    if (end != std::string::npos || m_input.size() <= kLongestLine) return;
    m_input.clear();
    if (!m_tooLong) {
        Complain("ignored a command of more than " + std::to_string(kLongestLine) + " bytes");
    }
    m_tooLong = true;
}

void Console::Execute(const std::string& line) {
    try {
        const Words words = ShellWords(line);
        if (words.empty()) return;
        const auto command = std::find_if(std::begin(kCommands), std::end(kCommands),
                                          [&](const Command& c) { return words[0] == c.name; });
        if (command == std::end(kCommands)) {
            throw std::invalid_argument("unknown command " + words[0] +
                                        "; use select, click, add, remove, list, help or quit");
        }
        // A name with a blank but without quotes must not become a name and an id.
        if (words.size() != command->arguments + 1) {
            throw std::invalid_argument(std::string("usage: ") + command->usage);
        }
        (this->*command->run)(words);
        DropRemoved();
    } catch (const std::invalid_argument& error) {
        // Only what the user got wrong; anything else is a fault, and Proceed logs it.
        Complain(error.what());
    }
}

void Console::Select(const Words& words) {
    m_list.SetSelection(Known(words[1]));
}

void Console::Click(const Words& words) {
    m_list.SetClicked(Known(words[1]));
}

void Console::Add(const Words& words) {
    // The list does not own what is added to it.
    m_added.push_back(std::make_unique<RemoteAppListItem>(words[1], words[2]));
    m_list.AddItemAtEnd(m_added.back().get());
}

void Console::Remove(const Words& words) {
    m_list.RemoveItem(Known(words[1]));
}

void Console::List(const Words&) {
    const AppListItem* const selection = m_list.GetSelection();
    for (AppListItem* item : m_list.GetAllItems()) {
        m_output += item == selection ? "* " : "  ";
        m_output += PrintableText(item->GetVisibleName()) + '\t' +
                    PrintableText(item->GetUnigueId()) + '\n';
    }
    WriteOutput();
}

void Console::Help(const Words&) {
    for (const Command& command : kCommands) m_output += std::string(command.usage) + '\n';
    WriteOutput();
}

void Console::Quit(const Words&) {
    m_done = true;
}

AppListItem* Console::Known(const std::string& id) {
    RemoteAppListItem wanted("", id);
    // The protocol's own comparison, so that a command means the item that a partner would mean.
    const std::vector<AppListItem*> items = m_list.GetAllItems();
    const auto at = std::find_if(items.begin(), items.end(), ApplistItemComparator(&wanted));
    if (at == items.end())
        throw std::invalid_argument("no item has the id " + id + "; list shows the ids");
    return *at;
}

void Console::DropRemoved() {
    // A partner may have removed some of them since the last command, and the list does not say
    // which items a change took out. So this compares.
    const std::vector<AppListItem*> listed = m_list.GetAllItems();
    const auto isGone = [&](const std::unique_ptr<RemoteAppListItem>& item) {
        return std::find(listed.begin(), listed.end(), item.get()) == listed.end();
    };
    m_added.erase(std::remove_if(m_added.begin(), m_added.end(), isGone), m_added.end());
}

}  // namespace applist::daemon
