// SPDX-License-Identifier: MIT

#include "apps/applistctl/Complaints.h"

#include <CLI/CLI.hpp>

#include <algorithm>

#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Suggestion.h"

namespace applist::ctl {

namespace {

// It was a command once, which could only fail.
const char kNoClick[] = "click is no command, as services do not carry out clicks of partners";
const char kHowToClick[] =
    "click where the list is shown, or select; applistctl call SetClicked asks all the same";

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

std::vector<std::string> CommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    return names;
}

[[noreturn]] void ComplainOfCommand(const CLI::App& app, const std::string& what) {
    std::string known;
    for (const std::string& name : CommandsOf(app)) known += (known.empty() ? "" : ", ") + name;
    Complain(what, "use one of " + known + "; see applistctl --help");
}

[[noreturn]] void ComplainOfWord(const CLI::App& app, const std::string& word) {
    // A style that was meant for --json but written without the =.
    const bool isStyle = app.count("--json") > 0 && (word == "short" || word == "pretty");
    Complain("one word too many: " + word,
             isStyle ? "put a = before the style of JSON: --json=" + word : HelpFor(app));
}

// An option whose value was forgotten takes the command for it.
void CheckSwallowed(const CLI::App& app, const std::vector<std::string>& words) {
    const std::vector<std::string> commands = CommandsOf(app);
    for (std::size_t at = 1; at < words.size(); ++at) {
        const std::string& option = words[at - 1];
        if (option != "--host" && option != "-H" && option != "--address") continue;
        if (!Holds(commands, words[at])) continue;
        Complain(
            "no command: " + option + " has taken the word " + words[at] + " for its value",
            "write " + option + (option == "--address" ? " ADDR " : " USER@HOST ") + words[at]);
    }
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

}  // namespace

void Complain(const std::string& what, const std::string& next) {
    throw Failure(kWrongUsage, what + "; " + next);
}

void CheckOptions(const CLI::App& app, const std::vector<std::string>& beforeMark) {
    if (app.get_subcommands().empty()) CheckSwallowed(app, beforeMark);
    for (const std::string& word : LeftOver(app)) {
        if (word.size() < 2 || word[0] != '-' || !Holds(beforeMark, word)) continue;
        const bool isAfterCommand = !app.get_subcommands().empty();
        Complain(
            "unknown option " + word,
            HelpFor(app) +
                (isAfterCommand ? ", or write -- before a name or an id that begins with -" : ""));
    }
}

void CheckCommand(const CLI::App& app) {
    const std::vector<std::string> left = LeftOver(app);
    if (!app.get_subcommands().empty()) {
        if (!left.empty()) ComplainOfWord(app, left.front());
        return;
    }
    if (left.empty()) ComplainOfCommand(app, "no command");
    if (left.front() == "click") Complain(kNoClick, kHowToClick);
    // One proposal is easier to act on than all the names; those are listed when
    // none is near.
    const std::string nearest = NearestOf(CommandsOf(app), left.front());
    if (nearest.empty()) ComplainOfCommand(app, "unknown command " + left.front());
    Complain("unknown command " + left.front(),
             "did you mean " + nearest + "? See applistctl --help");
}

void CheckJson(const std::vector<std::string>& beforeMark) {
    if (!Holds(beforeMark, "--json=")) return;
    Complain("--json= names no style", "write --json, --json=short or --json=pretty");
}

void ComplainOf(const CLI::ParseError& error, const CLI::App& app) {
    Complain(InOurWords(error), HelpFor(app));
}

}  // namespace applist::ctl
