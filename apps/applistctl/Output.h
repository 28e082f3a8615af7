// SPDX-License-Identifier: MIT

// Results go to stdout: as a table for a person, as lines for a pipe, as JSON if asked for.
// Whatever else a person is told goes to stderr, one line each. Nothing is buffered: when a call
// returns, its text has been written.

#pragma once

#include <string>
#include <vector>

#include "apps/applistctl/Differences.h"
#include "apps/applistctl/Json.h"
#include "apps/applistctl/ListState.h"
#include "apps/applistctl/Options.h"
#include "apps/applistctl/Status.h"

namespace applist::ctl {

class Output {
public:
    explicit Output(const Options& options);

    void Print(const ListState& list) const;
    void Print(const std::vector<Entry>& items) const;
    // The selection. Without one: null in JSON, otherwise nothing.
    void PrintSelection(const ListState& list) const;
    // The same in a stream: always one line.
    void PrintSelectionInStream(const ListState& list) const;
    void Print(const Status& status) const;
    // What an edit did. The edit stays done even when this cannot be written; the Failure says so.
    void Print(const Event& event) const;
    // An event of a stream: in JSON always one line, whatever the style.
    void PrintInStream(const Event& event) const;
    // Bytes of which nothing is known: a reply that is not made of items.
    void PrintRaw(const std::string& bytes) const;

    // True when a person looks at the results.
    bool IsForPerson() const { return m_isTerminal && !m_isJson; }

private:
    std::string TextOf(const Event& event) const;
    void PrintTable(const std::vector<Entry>& items, std::optional<std::size_t> selected) const;

    bool m_isTerminal;
    bool m_isJson;
    bool m_marksSelection;
    JsonStyle m_style;
};

// Writes `text` to stdout. Throws Failure, whose text begins with `what`, when that fails. A pipe
// whose reader has gone ends the process.
void Write(const std::string& text, const std::string& what = "cannot write to standard output");

// Throws the same Failure if the program was started with stdout closed, for a command that may
// write nothing for a long time.
void RequireOutput();

// Writes a line for a person to stderr, control characters made visible.
void Note(const std::string& text);

// Returns an id as it stands in a sentence: "" when it is empty.
std::string ShownId(const std::string& id);

// Returns an item as it stands in a sentence, control characters made visible: "Maps (maps)".
std::string Describe(const Entry& item);

}  // namespace applist::ctl
