// SPDX-License-Identifier: MIT

// The tool's command line.

#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace applist::ctl {

struct Options {
    std::string command;  // one of those in Commands.h

    // The command's own words and options; those that it does not have keep these defaults. Names
    // and ids are bytes, and are taken as they are.
    std::string name;
    std::string id;
    std::string oldId;
    std::string file = "-";
    std::string function;
    std::optional<std::string> payload;
    std::optional<std::string> item;
    bool yes = false;
    bool selected = false;
    bool follow = false;
    bool all = false;
    bool again = false;
    bool onlyNew = false;
    bool dryRun = false;
    bool raw = false;
    bool wait = false;      // set for the command wait, whatever is typed
    std::size_t count = 0;  // 0: no end

    // Of every command.
    std::string json;  // "auto", "short" or "pretty"; empty: no JSON
    bool session = false;
    bool system = false;
    std::string address;
    std::string host;  // empty: this machine
    std::chrono::milliseconds timeout = std::chrono::seconds(5);
    std::chrono::milliseconds busTimeout = timeout;  // for connecting to the bus; longer for an ssh
    bool noStart = false;
    bool verbose = false;
};

// Returns what the command line asks for, or nothing if that was a help or the version, which have
// then been printed. Throws Failure.
std::optional<Options> ParseOptions(int argc, const char* const* argv);

}  // namespace applist::ctl
