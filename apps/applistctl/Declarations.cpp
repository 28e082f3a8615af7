// SPDX-License-Identifier: MIT

#include "apps/applistctl/Declarations.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <system_error>

namespace applist::ctl {

namespace {

const char kCommandFooter[] = "Options for all commands, and exit statuses: applistctl --help\n";

const char kFollowFooter[] =
    R"(watch, selection --follow and wait --item follow the list. Changes in quick succession are
reported together, as their net result. A lost connection to another machine is tried again
after 1, 2, 4 s and so on, at most 60 s. They talk to the service directly, over a socket that the
bus does not see, if the service lets them; not with APPLIST_DIRECT=0 in the environment.

)";

const char kStatusFooter[] =
    R"(A service that is not running is not started: looking must not change what one looks at.
The exit status is 3 then. Of a service on another machine the program is not known.

)";

const char kWaitFooter[] =
    R"(It waits as long as --timeout says, 5 s by default. A service that the bus can start is
started, unless --no-start is given.

)";

const char kSyncFooter[] =
    R"(The file is the whole list, as applistctl list prints it in a pipe. Items that it holds and
that are there stay; items that it lacks are removed, if a partner added them. The others are
the service's own: they stay, with the names that the service gives them, and are never added a
second time. A new name takes a removal and an addition.

What partners added comes to be in the file's order behind the service's own items, which keep
their places; for that, items may be removed and added again. The selection stays if its item
does. A second run changes nothing.

)";

// The value that --json has when none is given.
const char kJsonDefault[] = "auto";

constexpr double kLongestTimeout = 86400;  // a day, in seconds

// An empty --address or --host is a variable that a script forgot to set. Without this check it
// would silently mean the default bus.
CLI::Validator NotEmpty() {
    const auto check = [](std::string& given) { return given.empty() ? "must not be empty" : ""; };
    return CLI::Validator(check, "");
}

CLI::Validator JsonStyle() {
    const auto check = [](std::string& given) -> std::string {
        if (given == "short" || given == "pretty" || given == kJsonDefault) return "";
        return given + " is neither short nor pretty";
    };
    return CLI::Validator(check, "");
}

CLI::Validator Count() {
    const auto check = [](const std::string& given) -> std::string {
        std::size_t count = 0;
        const char* const end = given.data() + given.size();
        const auto parsed = std::from_chars(given.data(), end, count);
        if (parsed.ec == std::errc() && parsed.ptr == end && count > 0) return "";
        return given + " is not a whole number of lines, 1 or more";
    };
    return CLI::Validator(check, "");
}

void SetTimeout(Options& options, const std::string& given) {
    double seconds = 0;
    const char* const end = given.data() + given.size();
    const auto parsed = std::from_chars(given.data(), end, seconds);
    // Written so that NaN, which from_chars accepts, is refused.
    if (parsed.ptr != end || !(seconds >= 0.001) || seconds > kLongestTimeout) {
        throw CLI::ValidationError("--timeout",
                                   given + " is not a number of seconds from 0.001 to 86400");
    }
    options.timeout = std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
    options.busTimeout = options.timeout;
}

void DeclareCommon(CLI::App& app, Options& options) {
    app.add_flag("-j{auto},--json{auto}", options.json,
                 "Print JSON, indented on a terminal; STYLE is short or pretty")
        ->check(JsonStyle());
    app.add_flag("--session,--user", options.session, "Use the session bus")
        ->disable_flag_override();
    app.add_flag("--system", options.system, "Use the system bus")->disable_flag_override();
    app.add_option("--address", options.address, "Use the bus at this address")
        ->type_name("ADDR")
        ->check(NotEmpty());
    app.add_option("-H,--host", options.host,
                   "Use the system bus of another machine, or with --session its session bus")
        ->type_name("USER@HOST")
        ->check(NotEmpty());
    app.add_option_function<std::string>(
           "--timeout", [&options](const std::string& given) { SetTimeout(options, given); },
           "How long to wait for an answer, 0.001 to 86400; 5 by default")
        ->type_name("SECONDS");
    app.add_flag("--wait", options.wait,
                 "Wait for the service as long as --timeout says; to follow it, forever")
        ->disable_flag_override();
    app.add_flag("--no-start", options.noStart, "Do not let the bus start the service")
        ->disable_flag_override();
    app.add_flag("--verbose", options.verbose, "Log every call and event")->disable_flag_override();
}

CLI::App* Add(CLI::App& app, const std::string& name, const std::string& what) {
    CLI::App* const command = app.add_subcommand(name, what);
    command->footer(kCommandFooter);
    command->group("Commands");
    return command;
}

// Declares a word that must be given. It may be empty: an empty name is a name.
void Need(CLI::App* command, const std::string& word, std::string& value, const std::string& what) {
    command->add_option(word, value, what)->required()->type_name("");
}

void Flag(CLI::App* command, const std::string& name, bool& value, const std::string& what) {
    command->add_flag(name, value, what)->disable_flag_override();
}

CLI::Option* TakeFile(CLI::App* command, Options& options) {
    return command
        ->add_option("FILE", options.file, "One item per line: name, TAB, id; - is standard input")
        ->type_name("");
}

void DeclareCount(CLI::App* command, Options& options) {
    command->add_option("--count", options.count, "Stop after this many lines")
        ->type_name("N")
        ->check(Count());
}

void DeclareReads(CLI::App& app, Options& options) {
    Flag(Add(app, "list", "Show all items"), "--selected", options.selected,
         "In a pipe, mark the selected item with a * in a third field");
    Need(Add(app, "select", "Select an item"), "ID", options.id, "Its id");
    CLI::App* const selection =
        Add(app, "selection", "Show the selected item; exit status 1 if there is none");
    Flag(selection, "--follow", options.follow,
         "Go on, and show it again each time that it changes, until interrupted");
    DeclareCount(selection, options);
    selection->footer(std::string(kFollowFooter) + kCommandFooter);
    CLI::App* const watch =
        Add(app, "watch", "Show what happens to the list, one line per event, until interrupted");
    Flag(watch, "--all", options.all, "Begin with the items that there are, and the selection");
    DeclareCount(watch, options);
    watch->footer(std::string(kFollowFooter) + kCommandFooter);
}

void DeclareState(CLI::App& app, Options& options) {
    CLI::App* command = Add(app, "status", "Show which service there is, and in which state");
    command->footer(std::string(kStatusFooter) + kCommandFooter);
    command = Add(app, "wait", "Wait until the service is there and its list can be read");
    command->add_option("--item", options.item, "Wait until an item has this id, too")
        ->type_name("ID");
    command->footer(std::string(kWaitFooter) + kFollowFooter + kCommandFooter);
}

void DeclareSync(CLI::App& app, Options& options) {
    CLI::App* const command =
        Add(app, "sync", "Make what partners added what a file says: add, remove and replace");
    TakeFile(command, options)->required();
    Flag(command, "--dry-run,-n", options.dryRun,
         "Only show what the service would be asked to do");
    Flag(command, "--yes,-y", options.yes, "Take a file without items, which removes all");
    command->footer(std::string(kSyncFooter) + kCommandFooter);
}

void DeclareEdits(CLI::App& app, Options& options) {
    CLI::App* command = Add(app, "add", "Add an item at the end");
    Need(command, "NAME", options.name, "The name that people see");
    Need(command, "ID", options.id, "The id that tells it apart from all others");
    Flag(command, "--again", options.again, "Also when an item has this id already");
    command = Add(app, "import", "Add all items in a file at once");
    TakeFile(command, options);
    Flag(command, "--new", options.onlyNew,
         "Skip items whose ids are in the list already, or earlier in the file");
    DeclareSync(app, options);
    command = Add(app, "replace", "Replace an item that a partner added");
    Need(command, "OLDID", options.oldId, "The id of the item to replace");
    Need(command, "NAME", options.name, "The name of the new item");
    Need(command, "ID", options.id, "The id of the new item; no other item may have it");
    Need(Add(app, "remove", "Remove an item that a partner added"), "ID", options.id, "Its id");
    Flag(Add(app, "clear", "Remove all items"), "--yes,-y", options.yes, "Do not ask first");
}

void DeclareCall(CLI::App& app, Options& options) {
    CLI::App* const command =
        Add(app, "call", "Call a function of the protocol and show the reply as it is");
    Need(command, "FUNCTION", options.function, "Its number or name, such as 2002 or GetAllItems");
    command
        ->add_option("PAYLOAD", options.payload,
                     "The data to send, with \\t, \\n and \\\\ as in printf; - is standard input")
        ->type_name("");
    Flag(command, "--raw", options.raw, "Send also what the function does not take");
}

}  // namespace

void Declare(CLI::App& app, Options& options) {
    DeclareCommon(app, options);
    DeclareReads(app, options);
    DeclareState(app, options);
    DeclareEdits(app, options);
    DeclareCall(app, options);
}

}  // namespace applist::ctl
