// SPDX-License-Identifier: MIT

#include "apps/applistctl/Status.h"

#include <cstring>
#include <utility>
#include <vector>

#include "apps/applistctl/Commands.h"
#include "apps/applistctl/Onlooker.h"
#include "apps/applistctl/Waiting.h"
#include "apps/common/ReadText.h"
#include "bus/EndpointNames.h"
#include "common/AppListRemoteControl.h"

namespace applist::ctl {

namespace {

const char kProperties[] = "org.freedesktop.DBus.Properties";

std::optional<std::uint32_t> PidOf(const Onlooker& onlooker, const std::string& owner) {
    Answer answer = onlooker.AskBus("GetConnectionUnixProcessID", owner);
    if (IsUntold(answer)) return std::nullopt;
    std::uint32_t pid = 0;
    const UniqueMessage reply = onlooker.Required(std::move(answer));
    if (sd_bus_message_read(reply.get(), "u", &pid) < 0) throw onlooker.Errors().NotUnderstood();
    return pid;
}

// The number means something on the machine of the bus, and that is this one only behind a socket
// of this machine.
std::optional<std::string> ProgramOf(const Onlooker& onlooker, std::uint32_t pid) {
    if (onlooker.Bus().address.compare(0, 5, "unix:") != 0) return std::nullopt;
    try {
        std::string program = ReadText("/proc/" + std::to_string(pid) + "/comm");
        if (!program.empty() && program.back() == '\n') program.pop_back();
        return program;
    } catch (const InputError&) {
        return std::nullopt;
    }
}

void ReadProperty(const Onlooker& onlooker, sd_bus_message* reply, Status& status) {
    const char* name = "";
    const char* contents = "";
    int result = sd_bus_message_read(reply, "s", &name);
    if (result >= 0) result = sd_bus_message_peek_type(reply, nullptr, &contents);
    if (result < 0) throw onlooker.Errors().NotUnderstood();
    if (std::strcmp(name, "Partners") == 0 && std::strcmp(contents, "u") == 0) {
        result = sd_bus_message_read(reply, "v", "u", &status.partners.emplace());
    } else if (std::strcmp(name, "Serial") == 0 && std::strcmp(contents, "t") == 0) {
        result = sd_bus_message_read(reply, "v", "t", &status.serial.emplace());
    } else {
        result = sd_bus_message_skip(reply, "v");
    }
    if (result < 0) throw onlooker.Errors().NotUnderstood();
}

// A service that is not of this project, or a policy, may keep them to itself.
void ReadProperties(const Onlooker& onlooker, Status& status) {
    Answer answer =
        onlooker.AskService(status.owner, kProperties, "GetAll", [](sd_bus_message* call) {
            return sd_bus_message_append(call, "s", endpoint_names::kInterface);
        });
    if (IsUntold(answer)) return;
    const UniqueMessage owned = onlooker.Required(std::move(answer));
    sd_bus_message* const reply = owned.get();
    if (sd_bus_message_enter_container(reply, 'a', "{sv}") < 0) {
        throw onlooker.Errors().NotUnderstood();
    }
    int entered = 0;
    while ((entered = sd_bus_message_enter_container(reply, 'e', "sv")) > 0) {
        ReadProperty(onlooker, reply, status);
        if (sd_bus_message_exit_container(reply) < 0) throw onlooker.Errors().NotUnderstood();
    }
    if (entered < 0) throw onlooker.Errors().NotUnderstood();
}

Status Ask(Onlooker& onlooker) {
    Status status;
    status.bus = onlooker.Bus().description;
    status.owner = onlooker.Owner();
    status.items = onlooker.ItemsFrom(status.owner, APPLIST_GET_ALL_ITEMS_FNC).size();
    const std::vector<Entry> selection =
        onlooker.ItemsFrom(status.owner, APPLIST_GET_SELECTION_FNC);
    if (selection.empty()) throw onlooker.Errors().NotUnderstood();
    if (status.items > 0 || !(selection.front() == Entry())) status.selection = selection.front();
    status.pid = PidOf(onlooker, status.owner);
    if (status.pid) status.program = ProgramOf(onlooker, *status.pid);
    ReadProperties(onlooker, status);
    return status;
}

}  // namespace

void RunStatus(const Options& options, const Output& output) {
    Onlooker onlooker(options);
    Status status;
    AskService(
        options, [&] { return onlooker.HasNewOwner(); }, [&] { status = Ask(onlooker); });
    output.Print(status);
}

}  // namespace applist::ctl
