// SPDX-License-Identifier: MIT

#include "apps/applistctl/Ids.h"

#include <algorithm>
#include <cstddef>

#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Output.h"

namespace applist::ctl {

namespace {

// More are not proposed: the line is to be read at a glance.
constexpr std::size_t kMostProposals = 3;

std::vector<std::string> IdsOfName(const ListState& list, const std::string& name) {
    std::vector<std::string> ids;
    for (const Entry& entry : list.items) {
        const bool isNew = std::find(ids.begin(), ids.end(), entry.id) == ids.end();
        if (entry.name == name && isNew) ids.push_back(entry.id);
    }
    return ids;
}

// "a", "a and b", "a, b and c".
std::string Enumerated(const std::vector<std::string>& words, const char* last) {
    std::string text = words.front();
    for (std::size_t at = 1; at < words.size(); ++at) {
        text += (at + 1 == words.size() ? last : ", ") + words[at];
    }
    return text;
}

std::string AdviceFor(const ListState& list, const std::string& id, const CommandOf& commandOf) {
    const std::vector<std::string> ids = IdsOfName(list, id);
    if (ids.empty() || id.empty()) return "applistctl list shows the ids";
    const std::string isName = ShownId(id) + " is the name of ";
    if (ids.size() > kMostProposals) {
        return isName + std::to_string(ids.size()) + " items; applistctl list shows their ids";
    }
    std::vector<std::string> shown;
    std::vector<std::string> commands;
    for (const std::string& each : ids) {
        shown.push_back(ShownId(each));
        commands.push_back(commandOf(each));
    }
    return isName + Enumerated(shown, " and ") + ": use " + Enumerated(commands, ", or ");
}

std::string Quoted(const std::string& word) {
    static const char kPlain[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./:@%+=,";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
    std::string quoted = "'";
    for (const char letter : word) quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
    return quoted + "'";
}

}  // namespace

std::string CommandLine(const std::string& command, const std::vector<std::string>& words) {
    const bool hasDash = std::any_of(words.begin(), words.end(), [](const std::string& word) {
        return !word.empty() && word.front() == '-';
    });
    std::string line = command + (hasDash ? " --" : "");
    for (const std::string& word : words) line += " " + Quoted(word);
    return line;
}

void RequireId(const ListState& list, const std::string& id, const CommandOf& commandOf) {
    if (list.CountId(id) > 0) return;
    throw Failure(kNotDone,
                  "no item has the id " + ShownId(id) + "; " + AdviceFor(list, id, commandOf));
}

}  // namespace applist::ctl
