// The daemon's command line. Threads: the main thread, before anything else runs.

#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace applist::daemon {

struct Options {
    std::string itemsFile;  // empty: the applications installed on this machine
    bool interactive = false;
    bool session = false;
    bool system = false;
    std::string address;  // empty: `session`, `system` or neither decides
    bool verbose = false;
};

// What is wrong with a command line and what to do, in one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Returns what the command line asks for; nothing when it asked for the help or the version, which
// are then on stdout. Throws UsageError.
std::optional<Options> ParseOptions(int argc, const char* const* argv);

}  // namespace applist::daemon
