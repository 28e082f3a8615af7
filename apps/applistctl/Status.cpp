// SPDX-License-Identifier: MIT

#include "apps/applistctl/Status.h"

#include <cerrno>
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

// A service that is not of this project, or a policy, may keep it to itself, and another kind of
// number is none that is known here. Asked for alone, as not all are told to who asks for all.
template <class T>
std::optional<T> PropertyOf(const Onlooker& onlooker, const std::string& owner, const char* name,
                            const char* type) {
    Answer answer = onlooker.AskService(owner, kProperties, "Get", [name](sd_bus_message* call) {
        return sd_bus_message_append(call, "ss", endpoint_names::kInterface, name);
    });
    if (IsUntold(answer)) return std::nullopt;
    const UniqueMessage reply = onlooker.Required(std::move(answer));
    T value = 0;
    const int result = sd_bus_message_read(reply.get(), "v", type, &value);
    if (result == -ENXIO) return std::nullopt;
    if (result < 0) throw onlooker.Errors().NotUnderstood();
    return value;
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
    status.partners = PropertyOf<std::uint32_t>(onlooker, status.owner, "Partners", "u");
    status.serial = PropertyOf<std::uint64_t>(onlooker, status.owner, "Serial", "t");
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
