// SPDX-License-Identifier: MIT

// A program that logs, run to its end with a stderr of the test's choice; and what arrived there
// and in the journal.
//
// Threads: one, as it forks.

#pragma once

#include <map>
#include <string>
#include <vector>

// In the place of the program's stderr: a file; a file that a journal reads; the same when that
// journal has ended; a pipe that nobody reads.
enum class Stderr { File, Journal, JournalThatHasEnded, PipeWithoutReader };

struct Written {
    std::string errors;             // what arrived on stderr
    std::string result;             // what arrived on stdout
    int status;                     // as waitpid tells it
    std::string journal;            // the first entry that the journal got
    std::vector<std::string> more;  // the others
};

// Runs `command` with `input` on its stdin. Of its environment, what tells a log where to write and
// how much is only what `environment` says.
Written RunLogging(const std::vector<std::string>& command, Stderr kind, const std::string& input,
                   const std::map<std::string, std::string>& environment);

// Returns the fields of a journal entry none of whose values holds a line feed.
std::map<std::string, std::string> FieldsOf(const std::string& entry);
