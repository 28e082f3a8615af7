// SPDX-License-Identifier: MIT

#include <cstdint>

#include "Rows.h"
#include "RowsNames.h"

using applist::UniqueBus;
using applist::UniqueMessage;

namespace bench {

namespace {

constexpr std::uint64_t kCallTimeoutMicroseconds = 20000000;

int AppendRows(sd_bus_message* reply, const std::vector<PlainItem>& items) {
    int result = sd_bus_message_open_container(reply, 'a', "(ss)");
    for (const PlainItem& item : items) {
        if (result < 0) return result;
        result =
            sd_bus_message_append(reply, "(ss)", item.visibleName.c_str(), item.uniqueId.c_str());
    }
    return result < 0 ? result : sd_bus_message_close_container(reply);
}

int OnGetItems(sd_bus_message* call, void* userdata, sd_bus_error*) {
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_method_return(call, &made);
    const UniqueMessage reply(made);
    if (result >= 0) result = AppendRows(reply.get(), static_cast<TwoLists*>(userdata)->Next());
    return result < 0 ? result : sd_bus_send(nullptr, reply.get(), nullptr);
}

const sd_bus_vtable kRowsVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetItems", "", "a(ss)", OnGetItems, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

void RunSdBusRows(const std::string& address, std::size_t count, int readyFd) {
    TwoLists lists(count);
    const UniqueBus bus = OpenBus(address);
    Check(sd_bus_add_object_vtable(bus.get(), nullptr, kRowsPath, kRowsInterface, kRowsVtable,
                                   &lists));
    Check(sd_bus_request_name(bus.get(), kSdBusRows, 0));
    Check(sd_bus_attach_event(bus.get(), nullptr, SD_EVENT_PRIORITY_NORMAL));
    ServeUntilKilled(readyFd);
}

void SdBusReader::Read(std::vector<PlainItem>& items) {
    sd_bus_message* made = nullptr;
    Check(sd_bus_message_new_method_call(m_bus.get(), &made, kSdBusRows, kRowsPath, kRowsInterface,
                                         "GetItems"));
    const UniqueMessage call(made);
    made = nullptr;
    Check(sd_bus_call(m_bus.get(), call.get(), kCallTimeoutMicroseconds, nullptr, &made));
    const UniqueMessage reply(made);
    Check(sd_bus_message_enter_container(reply.get(), 'a', "(ss)"));
    items.clear();
    const char* name = nullptr;
    const char* id = nullptr;
    while (Check(sd_bus_message_read(reply.get(), "(ss)", &name, &id)) > 0) {
        items.push_back({name, id});
    }
}

}  // namespace bench
