// SPDX-License-Identifier: MIT

#include "apps/applistctl/Output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <sstream>

#include "applist/RemoteAppListItem.h"
#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Table.h"
#include "apps/common/WriteText.h"
#include "common/PrintableText.h"

namespace applist::ctl {

namespace {

// For a terminal that does not tell its width, such as one on a serial line.
constexpr std::size_t kUsualWidth = 80;

std::size_t TerminalWidth() {
    struct winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualWidth;
    return size.ws_col;
}

// By the NO_COLOR convention any value turns colours off, but an empty one does not.
bool WantsColours() {
    const char* const no = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return (no == nullptr || *no == '\0') && terminal != nullptr && std::string(terminal) != "dumb";
}

// The protocol's own text of an item, so that lines can be imported again.
std::string Line(const Entry& item) {
    std::ostringstream line;
    line << RemoteAppListItem(item.name, item.id);
    // All that a stream makes of an exception; and half a line must not be printed.
    if (!line) throw std::bad_alloc();
    return line.str();
}

std::string Lines(const std::vector<Entry>& items) {
    std::string lines;
    for (const Entry& item : items) lines += Line(item);
    return lines;
}

// Those lines, each with a third field: a star for the selected item, else nothing.
std::string MarkedLines(const ListState& list) {
    std::string lines;
    for (std::size_t at = 0; at < list.items.size(); ++at) {
        lines += Line(list.items[at]);
        lines.insert(lines.size() - 1, list.selected == at ? "\t*" : "\t");
    }
    return lines;
}

// What is not known is left out.
std::string Lines(const Status& status) {
    const auto line = [](const char* key, const std::string& value) {
        return Line(Entry{key, value});
    };
    const auto number = [&](const char* key, const auto& value) {
        return value ? line(key, std::to_string(*value)) : std::string();
    };
    std::string lines = line("bus", status.bus) + line("owner", status.owner);
    lines += number("pid", status.pid);
    if (status.program) lines += line("program", *status.program);
    lines += line("items", std::to_string(status.items));
    lines += "selection\t" + Line(status.selection.value_or(Entry()));
    return lines + number("partners", status.partners) + number("serial", status.serial);
}

std::string Rows(const Status& status) {
    const auto row = [](std::string key, const std::string& value) {
        key.resize(sizeof("selection  ") - 1, ' ');
        return key + value + '\n';
    };
    const auto number = [](const auto& value) {
        return value ? std::to_string(*value) : std::string("unknown");
    };
    std::string process = number(status.pid);
    if (status.program) process += " (" + PrintableText(*status.program) + ")";
    return row("bus", PrintableText(status.bus)) + row("owner", PrintableText(status.owner)) +
           row("process", process) + row("items", std::to_string(status.items)) +
           row("selection", status.selection ? Describe(*status.selection) : "none") +
           row("partners", number(status.partners)) + row("serial", number(status.serial));
}

std::string Line(const Event& event) {
    std::string line = event.what;
    for (const auto& item : {event.item, event.before}) {
        if (!item) continue;
        line += '\t' + Line(*item);
        line.pop_back();  // the item's line feed
    }
    if (event.count) line += '\t' + std::to_string(*event.count);
    for (const Tally& tally : event.tallies) line += '\t' + std::to_string(tally.count);
    return line + '\n';
}

std::string Sentence(const Event& event) {
    std::string sentence = event.what;
    if (event.before) sentence += " " + Describe(*event.before) + " ->";
    if (event.item) sentence += " " + Describe(*event.item);
    if (event.count) {
        sentence += " " + std::to_string(*event.count) + (*event.count == 1 ? " item" : " items");
    }
    const char* before = event.count ? ", " : ": ";
    for (const Tally& tally : event.tallies) {
        sentence += before + std::to_string(tally.count) + ' ' + tally.what;
        before = ", ";
    }
    return sentence + '\n';
}

[[noreturn]] void FailToWrite(const std::string& what, int cause) {
    throw Failure(kNotDone, WhyNotWritten(what, cause));
}

}  // namespace

Output::Output(const Options& options)
    : m_isTerminal(isatty(STDOUT_FILENO) != 0),
      m_isJson(!options.json.empty()),
      m_marksSelection(options.selected) {
    // JSON for a program stays on one line, so that it can be read line by line.
    const bool pretty = options.json == "auto" ? m_isTerminal : options.json == "pretty";
    m_style = pretty ? JsonStyle::Pretty : JsonStyle::Short;
}

void Output::Print(const ListState& list) const {
    if (m_isJson) {
        Write(JsonOf(list, m_style) + '\n');
    } else if (m_isTerminal) {
        PrintTable(list.items, list.selected);
    } else {
        Write(m_marksSelection ? MarkedLines(list) : Lines(list.items));
    }
}

void Output::Print(const std::vector<Entry>& items) const {
    if (m_isJson) {
        Write(JsonOf(items, m_style) + '\n');
    } else if (m_isTerminal) {
        PrintTable(items, std::nullopt);
    } else {
        Write(Lines(items));
    }
}

void Output::PrintSelection(const ListState& list) const {
    if (m_isJson) {
        const auto selection =
            list.HasSelection() ? std::make_optional(list.selection) : std::nullopt;
        Write(JsonOf(selection, m_style) + '\n');
    } else if (!list.HasSelection()) {
        // The command says so on stderr; a line here would be an item with an empty name.
        return;
    } else if (m_isTerminal) {
        PrintTable({list.selection}, 0);
    } else {
        Write(Line(list.selection));
    }
}

void Output::PrintSelectionInStream(const ListState& list) const {
    const auto selection = list.HasSelection() ? std::make_optional(list.selection) : std::nullopt;
    if (m_isJson) {
        Write(JsonOf(selection, JsonStyle::Short) + '\n');
    } else if (m_isTerminal) {
        Write((selection ? Describe(*selection) : "nothing is selected") + '\n');
    } else {
        Write(Line(list.selection));
    }
}

void Output::Print(const Status& status) const {
    if (m_isJson) {
        Write(JsonOf(status, m_style) + '\n');
    } else {
        Write(m_isTerminal ? Rows(status) : Lines(status));
    }
}

void Output::Print(const Event& event) const {
    Write(m_isJson ? JsonOf(event, m_style) + '\n' : TextOf(event),
          "the edit was carried out, but its result cannot be written to standard output");
}

void Output::PrintInStream(const Event& event) const {
    Write(m_isJson ? JsonOf(event, JsonStyle::Short) + '\n' : TextOf(event));
}

std::string Output::TextOf(const Event& event) const {
    return m_isTerminal ? Sentence(event) : Line(event);
}

void Output::PrintRaw(const std::string& bytes) const {
    if (m_isJson) {
        Write(JsonOf(bytes, m_style) + '\n');
    } else {
        // A terminal would obey what is in there; a pipe gets every byte as it is.
        Write(m_isTerminal ? PrintableText(bytes) + '\n' : bytes);
    }
}

// Without items only the header would be left.
void Output::PrintTable(const std::vector<Entry>& items,
                        std::optional<std::size_t> selected) const {
    if (items.empty()) return;
    Write(TableOf(items, selected, TerminalWidth(), WantsColours()));
}

// Not kept until there is more: an interrupt ends the process at once, and a program that reads
// `watch` through a pipe must see each event when it happens.
void Write(const std::string& text, const std::string& what) {
    const int error = WriteText(STDOUT_FILENO, text);
    if (error != 0) FailToWrite(what, error);
}

void RequireOutput() {
    // For a stdout that was closed, main has opened one that can only be read.
    const int mode = fcntl(STDOUT_FILENO, F_GETFL) & O_ACCMODE;
    if (mode == O_RDONLY) FailToWrite("cannot write to standard output", EBADF);
}

// As one string, which is one write: lines of several programs on one terminal do not mix.
void Note(const std::string& text) {
    WriteText(STDERR_FILENO, "applistctl: " + PrintableText(text) + '\n');
}

std::string ShownId(const std::string& id) {
    return id.empty() ? "\"\"" : PrintableText(id);
}

std::string Describe(const Entry& item) {
    if (item == Entry()) return "an empty item";
    return ShownId(item.name) + " (" + ShownId(item.id) + ")";
}

}  // namespace applist::ctl
