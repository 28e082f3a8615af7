// SPDX-License-Identifier: MIT

#include "apps/applistctl/Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <memory>
#include <system_error>
#include <vector>

#include "applist/version.h"
#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Output.h"
#include "apps/applistctl/Suggestion.h"

namespace applist::ctl {

namespace {

const char kDescription[] = R"(Examples:
  applistctl list                         show the list; * marks the selection
  applistctl select maps                  select the item with the id maps
  applistctl add 'My Maps' maps           add an item at the end
  applistctl list > apps.txt              save the list ...
  applistctl import apps.txt              ... and add the saved items
  applistctl watch --json                 follow what happens, one JSON object per line
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

const char kCommandFooter[] = "Options for all commands, and exit statuses: applistctl --help\n";

// The value that --json has when none is given.
const char kJsonDefault[] = "auto";

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

constexpr double kLongestTimeout = 86400;  // a day, in seconds

// With --host: ssh may ask a person for a password.
constexpr std::chrono::milliseconds kTimeToLogIn = std::chrono::minutes(1);

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
                 "Wait for the service as long as --timeout says; watch waits forever")
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

void DeclareReads(CLI::App& app, Options& options) {
    Add(app, "list", "Show all items");
    Need(Add(app, "select", "Select an item"), "ID", options.id, "Its id");
    Add(app, "selection", "Show the selected item; exit status 1 if there is none");
    CLI::App* const watch =
        Add(app, "watch", "Show what happens to the list, one line per event, until interrupted");
    watch->add_option("--count", options.count, "Stop after this many lines")
        ->type_name("N")
        ->check(Count());
    watch->footer(
        std::string(
            "Changes in quick succession are reported together, as their net result. A lost "
            "connection\n"
            "to another machine is tried again after 1, 2, 4 s and so on, at most 60 s.\n\n"
            "It talks to the service directly, over a socket that the bus does not see, if the\n"
            "service lets it; not with APPLIST_DIRECT=0 in the environment.\n\n") +
        kCommandFooter);
}

void DeclareEdits(CLI::App& app, Options& options) {
    CLI::App* command = Add(app, "add", "Add an item at the end");
    Need(command, "NAME", options.name, "The name that people see");
    Need(command, "ID", options.id, "The id that tells it apart from all others");
    Add(app, "import", "Add all items in a file at once")
        ->add_option("FILE", options.file, "One item per line: name, TAB, id; - is standard input")
        ->type_name("");
    command = Add(app, "replace", "Replace an item that a partner added");
    Need(command, "OLDID", options.oldId, "The id of the item to replace");
    Need(command, "NAME", options.name, "The name of the new item");
    Need(command, "ID", options.id, "The id of the new item; no other item may have it");
    Need(Add(app, "remove", "Remove an item that a partner added"), "ID", options.id, "Its id");
    Add(app, "clear", "Remove all items")
        ->add_flag("--yes,-y", options.yes, "Do not ask first")
        ->disable_flag_override();
    Need(Add(app, "click", "Ask for a click on an item, which services do not carry out"), "ID",
         options.id, "Its id");
    command = Add(app, "call", "Call a function of the protocol and show the reply as it is");
    Need(command, "FUNCTION", options.function, "Its number or name, such as 2002 or GetAllItems");
    command
        ->add_option("PAYLOAD", options.payload,
                     "The data to send, with \\t, \\n and \\\\ as in printf; - is standard input")
        ->type_name("");
}

[[noreturn]] void Complain(const std::string& what, const std::string& next) {
    throw Failure(kWrongUsage, what + "; " + next);
}

std::string HelpFor(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    if (chosen.empty()) return "see applistctl --help";
    return "see applistctl " + chosen.front()->get_name() + " --help";
}

bool Holds(const std::vector<std::string>& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

// The words on the command line that the library could not place.
std::vector<std::string> LeftOver(const CLI::App& app) {
    std::vector<std::string> left = app.remaining(true);
    left.erase(std::remove(left.begin(), left.end(), "--"), left.end());
    return left;
}

// Complains of an option that is not known. `beforeMark` holds the words before a --: those after
// it are names and ids, even when they begin with a dash.
void CheckOptions(const CLI::App& app, const std::vector<std::string>& beforeMark) {
    for (const std::string& word : LeftOver(app)) {
        if (word.size() < 2 || word[0] != '-' || !Holds(beforeMark, word)) continue;
        const bool isAfterCommand = !app.get_subcommands().empty();
        Complain(
            "unknown option " + word,
            HelpFor(app) +
                (isAfterCommand ? ", or write -- before a name or an id that begins with -" : ""));
    }
}

[[noreturn]] void ComplainOfCommand(const CLI::App& app, const std::string& what) {
    std::string known;
    for (const CLI::App* command : app.get_subcommands({})) {
        known += (known.empty() ? "" : ", ") + command->get_name();
    }
    Complain(what, "use one of " + known + "; see applistctl --help");
}

void CheckCommand(const CLI::App& app) {
    const std::vector<std::string> left = LeftOver(app);
    if (!app.get_subcommands().empty()) {
        if (left.empty()) return;
        const std::string& word = left.front();
        // A style that was meant for --json but written without the =.
        const bool isStyle = app.count("--json") > 0 && (word == "short" || word == "pretty");
        Complain("one word too many: " + word,
                 isStyle ? "put a = before the style of JSON: --json=" + word : HelpFor(app));
    }
    if (left.empty()) ComplainOfCommand(app, "no command");
    std::vector<std::string> known;
    for (const CLI::App* command : app.get_subcommands({})) known.push_back(command->get_name());
    // One proposal is easier to act on than all the names; those are listed when
    // none is near.
    const std::string nearest = NearestOf(known, left.front());
    if (nearest.empty()) ComplainOfCommand(app, "unknown command " + left.front());
    Complain("unknown command " + left.front(),
             "did you mean " + nearest + "? See applistctl --help");
}

// The library's messages are for programmers. Two of them are put into plain words; if the library
// words them differently one day, its own are shown.
std::string InOurWords(const CLI::ParseError& error) {
    const std::string said = error.what();
    if (said.find("flag override") != std::string::npos) {
        return "--" + said.substr(0, said.find(' ')) + " takes no value";
    }
    const std::size_t missing = said.find(": 1 required");
    return missing == std::string::npos ? said : said.substr(0, missing) + " needs a value";
}

// The library would take "--json=" for a plain --json.
void CheckJson(const std::vector<std::string>& beforeMark) {
    if (!Holds(beforeMark, "--json=")) return;
    Complain("--json= names no style", "write --json, --json=short or --json=pretty");
}

// The words after the program's name, with `help` and `help COMMAND`, which people know from other
// tools, turned into --help and COMMAND --help.
std::vector<std::string> WordsOf(int argc, const char* const* argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
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
}

}  // namespace

std::optional<Options> ParseOptions(int argc, const char* const* argv) {
    Options options;
    CLI::App app(kDescription, "applistctl");
    SetUp(app);
    DeclareCommon(app, options);
    DeclareReads(app, options);
    DeclareEdits(app, options);
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
        Complain(InOurWords(error), HelpFor(app));
    }
    CheckOptions(app, beforeMark);
    CheckCommand(app);
    CheckTogether(options);
    if (!options.host.empty() && app.count("--timeout") == 0) options.busTimeout = kTimeToLogIn;
    options.command = app.get_subcommands().front()->get_name();
    return options;
}

}  // namespace applist::ctl
