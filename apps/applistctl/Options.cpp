// SPDX-License-Identifier: MIT

#include "apps/applistctl/Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <vector>

#include "applist/version.h"
#include "apps/applistctl/Complaints.h"
#include "apps/applistctl/Declarations.h"
#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Output.h"

namespace applist::ctl {

namespace {

const char kDescription[] = R"(Examples:
  applistctl list                         show the list; * marks the selection
  applistctl select maps                  select the item with the id maps
  applistctl add 'My Maps' maps           add an item at the end
  applistctl list > apps.txt              save the list ...
  applistctl sync apps.txt                ... and make it what it was, as far as partners may
  applistctl watch --json                 follow what happens, one JSON object per line
  applistctl wait && applistctl status    wait for the service, then see who it is
  applistctl --host=me@device list        the same on another machine, over ssh
  applistctl list -j | jq -r '.[].id'     only the ids

Shows and changes the list of applications that a service publishes on D-Bus as
org.tessel.Local.Applist.
)";

const char kFooter[] =
    R"(Each command has its own help: applistctl COMMAND --help. Options may come before or
after the command; after --, everything is a name or an id.

Results go to stdout, everything else to stderr. On a terminal, results are tables and sentences;
elsewhere they are lines of fields with TABs between them. A TAB inside a field is written \t, a
line feed \n and a backslash \\.

Without --session, --system, --address or --host it uses the session bus if there is one, else the
system bus. With --host, ssh has a minute to log in, or as long as --timeout says, at most 90 s.

Exit status: 0 done; 1 the service answered, but the id is not there, the edit was not carried out,
or its result could not be written; 2 wrong usage, or a malformed file; 3 no service, no bus, or no
answer in time; 4 refused by the bus's policy; 130 interrupted. When its output is a pipe whose
reader has gone, it is ended by SIGPIPE like any filter.
)";

// The library's own would show that value in the help, as --json{auto}.
class Formatter : public CLI::Formatter {
public:
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
        if (option->check_lname("json")) return "-j,--json[=STYLE]";
        return CLI::Formatter::make_option_name(option, isPositional);
    }
};

// Where the explanations start, so that the longest lines of the help fit into 100 columns.
constexpr std::size_t kOptionColumn = 24;

// With --host: ssh may ask a person for a password.
constexpr std::chrono::milliseconds kTimeToLogIn = std::chrono::minutes(1);

// The library takes what follows a short option for its value with the = and all.
void SpellOutJson(std::vector<std::string>& words) {
    for (std::string& word : words) {
        if (word == "--") return;
        if (word.compare(0, 3, "-j=") == 0) word.replace(0, 2, "--json");
        if (word == "-jshort" || word == "-jpretty") word.replace(0, 2, "--json=");
    }
}

// The words after the program's name, with `help` and `help COMMAND`, which people know from other
// tools, turned into --help and COMMAND --help.
std::vector<std::string> WordsOf(int argc, const char* const* argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    SpellOutJson(words);
    if (words.empty() || words.front() != "help") return words;
    words.resize(std::min<std::size_t>(words.size(), 2));
    words.erase(words.begin());
    words.push_back("--help");
    return words;
}

void SetUp(CLI::App& app) {
    app.footer(kFooter);
    app.formatter(std::make_shared<Formatter>());
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.get_formatter()->column_width(kOptionColumn);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("REQUIRED", "");
    app.set_help_flag("-h,--help", "Show this help and exit");
    app.set_version_flag("--version", "applistctl " APPLIST_VERSION, "Show the version and exit");
    // Options may follow the command.
    app.fallthrough();
    // Unknown words are checked here instead, with better advice than the library's.
    app.allow_extras();
    // One at most: a name or an id may look like a command, as in `select list`.
    app.require_subcommand(0, 1);
}

void CheckTogether(const Options& options) {
    const int buses = int{options.session} + int{options.system} + int{!options.address.empty()};
    if (buses > 1) {
        Complain("--session, --system and --address each name a bus", "give only one of them");
    }
    // --session and --system go with --host: they say which of its buses is meant.
    if (!options.host.empty() && !options.address.empty()) {
        Complain("--host and --address each name a bus", "give only one of them");
    }
    if (options.command == "selection" && options.count > 0 && !options.follow) {
        Complain("--count needs --follow", "without it there is one line at most");
    }
}

}  // namespace

std::optional<Options> ParseOptions(int argc, const char* const* argv) {
    Options options;
    CLI::App app(kDescription, "applistctl");
    SetUp(app);
    Declare(app, options);
    std::vector<std::string> words = WordsOf(argc, argv);
    const std::vector<std::string> beforeMark(words.begin(),
                                              std::find(words.begin(), words.end(), "--"));
    CheckJson(beforeMark);
    std::reverse(words.begin(), words.end());  // the library takes them last first
    try {
        app.parse(words);
    } catch (const CLI::CallForHelp&) {
        Write(app.help());
        return std::nullopt;
    } catch (const CLI::Success& asked) {
        Write(std::string(asked.what()) + '\n');
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        // An unknown option first: it is more likely the cause than what the library stumbled over.
        CheckOptions(app, beforeMark);
        ComplainOf(error, app);
    }
    CheckOptions(app, beforeMark);
    CheckCommand(app);
    if (!options.host.empty() && app.count("--timeout") == 0) options.busTimeout = kTimeToLogIn;
    options.command = app.get_subcommands().front()->get_name();
    if (options.command == "wait") options.wait = true;
    CheckTogether(options);
    return options;
}

}  // namespace applist::ctl
