// Where results go: stdout, as a table for a person, as lines for a pipe, as JSON when asked for.
// And what a person is told besides: stderr, one line each.
//
// Threads: the main thread. Lifetime: nothing is kept; what was printed has been handed over when
// a call returns.

#pragma once

#include <string>
#include <vector>

#include "apps/applistctl/Differences.h"
#include "apps/applistctl/Json.h"
#include "apps/applistctl/ListState.h"
#include "apps/applistctl/Options.h"

namespace applist::ctl {

class Output {
public:
    explicit Output(const Options& options);

    void Print(const ListState& list) const;
    void Print(const std::vector<Entry>& items) const;
    // The selection, or, in JSON, that there is none.
    void PrintSelection(const ListState& list) const;
    // What an edit did. It stays done when that cannot be written: the Failure says so.
    void Print(const Event& event) const;
    // An event of a stream: in JSON always one line, whatever the style.
    void PrintInStream(const Event& event) const;
    // Bytes of which nothing is known.
    void PrintRaw(const std::string& bytes) const;

    // True when a person looks at the results.
    bool IsForPerson() const { return m_isTerminal && !m_isJson; }

private:
    std::string TextOf(const Event& event) const;
    void PrintTable(const std::vector<Entry>& items, std::optional<std::size_t> selected) const;

    bool m_isTerminal;
    bool m_isJson;
    JsonStyle m_style;
};

// Writes `text` to stdout. Throws Failure, which begins with `what` is wrong, when it cannot be
// written. A closed pipe ends the process.
void Write(const std::string& text, const std::string& what = "cannot write to standard output");

// Throws the same Failure when stdout came closed.
void RequireOutput();

// Tells a person something besides the results.
void Note(const std::string& text);

// An id in a sentence: "" when it is empty.
std::string ShownId(const std::string& id);

// An item in a sentence, control characters made visible: "Maps (maps)".
std::string Describe(const Entry& item);

}  // namespace applist::ctl
