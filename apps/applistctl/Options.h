// The tool's command line. Threads: the main thread, before anything else runs.

#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace applist::ctl {

struct Options {
    std::string command;  // one of those that Commands.h knows

    // The command's own words and options, as far as it has them. Names and ids are bytes, taken
    // as they are.
    std::string name;
    std::string id;
    std::string oldId;
    std::string file = "-";
    std::string function;
    std::optional<std::string> payload;
    bool yes = false;
    bool wait = false;
    std::size_t count = 0;  // 0: no end

    std::string json;  // empty, "auto", "short" or "pretty"
    bool session = false;
    bool system = false;
    std::string address;
    std::string host;
    std::chrono::milliseconds timeout = std::chrono::seconds(5);
    std::chrono::milliseconds busTimeout = timeout;  // to get onto the bus
    bool noStart = false;
    bool verbose = false;
};

// Returns what the command line asks for; nothing when it asked for a help or the version, which
// are then on stdout. Throws Failure.
std::optional<Options> ParseOptions(int argc, const char* const* argv);

}  // namespace applist::ctl
