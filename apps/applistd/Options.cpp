// SPDX-License-Identifier: MIT

#include "apps/applistd/Options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "applist/version.h"
#include "apps/common/WriteText.h"

namespace applist::daemon {

namespace {

const char kDescription[] = R"(Examples:
  applistd                                    publish this machine's applications
  applistd --items apps.txt                   publish a list of your own
  printf 'Maps\tmaps\n' | applistd --items -  the same, from a pipe
  applistd --interactive                      also change the list from the keyboard

Publishes a list of applications on D-Bus as org.tessel.Local.Applist, where partners read and
change it. Without --items it lists the desktop entries installed on this machine, where the part of
applistd that does so is installed, too. The list is kept up to date as they come and go, or as the
file changes, half a second after the last change; SIGHUP has it looked at once. While the file is
missing or malformed the list stays as it was, and the log says why.
)";

const char kFooter[] = R"(Commands for --interactive, with words quoted as in a shell:
  select ID | click ID | add NAME ID | remove ID | list | help | quit

Without --session, --system or --address it uses the bus that started it, else the session bus if
there is one, else the system bus. An address looks like unix:path=/run/user/1000/bus.

A limit is a number, with K, M or G for 1024, 1024^2 or 1024^3, or "none" where it may be lifted.
What partners add past --max-items or --max-bytes is left out and logged; a call past another limit
is answered with an error.

Partners that ask for it talk to it directly, over a socket that the bus does not see. With
APPLIST_DIRECT=0 in its environment everything stays on the bus, where busctl monitor shows it.

It logs errors, and when the journal reads its standard error also what happens to it. With
APPLIST_LOG=debug, info or error in its environment it logs from there on; --verbose means debug.

Exit status: 0 stopped as asked, 1 failed to start or to keep running, 2 wrong usage.
)";

// Where the explanations start, so that the longest lines of the help fit into 100 columns.
constexpr std::size_t kOptionColumn = 24;

// An empty --items or --address is a variable that a script forgot to set. Without this check it
// would silently mean the default.
CLI::Validator NotEmpty() {
    const auto check = [](std::string& given) { return given.empty() ? "must not be empty" : ""; };
    return CLI::Validator(check, "");
}

// Returns how many a suffix stands for; 0 for one that means nothing.
std::size_t UnitOf(std::string_view suffix) {
    if (suffix.empty()) return 1;
    if (suffix == "K") return std::size_t{1} << 10;
    if (suffix == "M") return std::size_t{1} << 20;
    if (suffix == "G") return std::size_t{1} << 30;
    return 0;
}

// Puts the plain number that it means in the place of `given`, and returns what is wrong with it.
std::string ReadLimit(std::string& given) {
    if (given == "none") {
        given = std::to_string(PTRDIFF_MAX);  // nothing in memory is larger
        return std::string();
    }
    std::size_t number = 0;
    const char* const end = given.data() + given.size();
    const auto [rest, error] = std::from_chars(given.data(), end, number);
    const std::size_t unit = UnitOf({rest, static_cast<std::size_t>(end - rest)});
    if (error == std::errc::invalid_argument || unit == 0) {
        return "\"" + given + "\" is not a limit; give a number such as 5000 or 64M, or none";
    }
    if (error != std::errc() || number > SIZE_MAX / unit) {
        return given + " is more than this machine can hold; give none for no limit";
    }
    given = std::to_string(number * unit);
    return std::string();
}

using TakeLimit = std::function<void(const std::size_t&)>;

// What others can make the daemon keep. All of these take the same kinds of value.
void DeclareLimit(CLI::App& app, const char* name, const TakeLimit& take, const char* explanation) {
    app.add_option_function<std::size_t>(name, take, explanation)
        ->type_name("N")
        ->transform(CLI::Validator(ReadLimit, ""))
        ->group("Limits");
}

void DeclareServiceLimits(CLI::App& app, ServiceLimits& limits) {
    const auto add = [&](const char* name, std::size_t& limit, const char* explanation) {
        DeclareLimit(
            app, name, [&limit](std::size_t value) { limit = value; }, explanation);
    };
    add("--max-items", limits.items, "Items that partners may add (1000000)");
    add("--max-bytes", limits.bytes, "Bytes of their names and ids (256M)");
}

void DeclareTransportLimits(CLI::App& app, TransportLimits& limits) {
    const auto add = [&](const char* name, std::size_t& limit, const char* explanation) {
        const auto take = [name, &limit, &limits](std::size_t value) {
            limit = value;
            try {
                CheckTransportLimits(limits);
            } catch (const std::invalid_argument& error) {
                throw CLI::ValidationError(name, error.what());
            }
        };
        DeclareLimit(app, name, take, explanation);
    };
    add("--max-request", limits.requestBytes, "Bytes of a request (16M)");
    add("--max-fd-request", limits.fdRequestBytes, "Bytes of a request in a descriptor (64M)");
    add("--max-fd-reply", limits.fdBytes, "Bytes of a reply in a descriptor (1G)");
    add("--max-partners", limits.partners, "Partners that may connect, 500 at most (256)");
    add("--max-held", limits.heldBytes, "Bytes of one caller that may wait, 1M at least (1M)");
    add("--max-held-senders", limits.heldSenders, "Callers that may wait, 500 at most (64)");
    add("--max-channels", limits.channels, "Partners with a direct channel, 64 at most (64)");
}

void Declare(CLI::App& app, Options& options) {
    app.set_help_flag("-h,--help", "Show this help and exit");
    app.set_version_flag("--version", "applistd " APPLIST_VERSION, "Show the version and exit");
    app.add_option("--items", options.itemsFile,
                   "Publish the items in this file, one per line: name, TAB, id")
        ->type_name("FILE")
        ->check(NotEmpty());
    app.add_flag("--interactive", options.interactive,
                 "Read commands from standard input (see below)");
    app.add_flag("--session", options.session, "Use the session bus");
    app.add_flag("--system", options.system, "Use the system bus");
    app.add_option("--address", options.address, "Use the bus at this address")
        ->type_name("ADDR")
        ->check(NotEmpty());
    app.add_flag("--verbose", options.verbose, "Log every call and event");
    DeclareServiceLimits(app, options.serviceLimits);
    DeclareTransportLimits(app, options.transportLimits);
}

void CheckTogether(const Options& options) {
    const int buses = int{options.session} + int{options.system} + int{!options.address.empty()};
    if (buses > 1) {
        throw UsageError(
            "--session, --system and --address each name a bus; give only one of them");
    }
    // Both would take what the other one waits for.
    if (options.interactive && options.itemsFile == "-") {
        throw UsageError(
            "--items - and --interactive both read standard input; give the items in a file");
    }
}

void Print(const std::string& text) {
    const int error = WriteText(STDOUT_FILENO, text);
    if (error != 0) {
        throw std::runtime_error(WhyNotWritten("cannot write to standard output", error));
    }
}

}  // namespace

std::optional<Options> ParseOptions(int argc, const char* const* argv) {
    Options options;
    CLI::App app(kDescription, "applistd");
    app.footer(kFooter);
    app.get_formatter()->column_width(kOptionColumn);
    // Otherwise the library would accept --session=false and the like.
    app.option_defaults()->disable_flag_override();
    Declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        Print(app.help());
        return std::nullopt;
    } catch (const CLI::Success& asked) {
        Print(std::string(asked.what()) + '\n');
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw UsageError(std::string(error.what()) + "; see applistd --help");
    }
    CheckTogether(options);
    return options;
}

}  // namespace applist::daemon
