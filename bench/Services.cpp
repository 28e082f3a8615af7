// SPDX-License-Identifier: MIT

#include "Services.h"

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "BareBus.h"
#include "ByHand.h"
#include "SimpleModel.h"
#include "applist/LocalAppListModel.h"
#include "bus/BusSelection.h"
#include "bus/ChannelEnd.h"
#include "bus/EndpointNames.h"
#include "common/AppListLog.h"
#include "common/AppListRemoteControl.h"
#include "platform/LinuxLog.h"

using applist::OpenServiceEnd;
using applist::OwnedFd;
using applist::SelectBusAddress;
using applist::SetMinimumLogPriority;
using applist::UniqueBus;
using applist::UniqueMessage;
namespace endpoint_names = applist::endpoint_names;

namespace bench {

namespace {

struct BareService {
    BareService() : items(SampleItems(kRoundTripItems)) { AppendByHand(items.front(), selection); }

    std::vector<PlainItem> items;
    std::string selection;
};

int Answer(sd_bus_message* call, const std::string& body) {
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_method_return(call, &made);
    const UniqueMessage reply(made);
    if (result >= 0) {
        result = sd_bus_message_append_array(reply.get(), 'y', body.data(), body.size());
    }
    if (result >= 0) result = sd_bus_send(nullptr, reply.get(), nullptr);
    return result;
}

int OnMessage(sd_bus_message* call, void* userdata, sd_bus_error*) {
    const BareService& service = *static_cast<const BareService*>(userdata);
    const void* bytes = nullptr;
    std::size_t size = 0;
    std::int32_t function = 0;
    const int result = sd_bus_message_read_array(call, 'y', &bytes, &size);
    if (result < 0) return result;
    if (size != sizeof(function)) return -EINVAL;
    std::memcpy(&function, bytes, sizeof(function));
    if (function == APPLIST_GET_SELECTION_FNC) return Answer(call, service.selection);
    std::string text;
    for (const PlainItem& item : service.items) AppendByHand(item, text);
    return Answer(call, text);
}

const sd_bus_vtable kBareVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Message", "ay", "ay", OnMessage, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};

void Serve(BareService& service, sd_bus* bus, int readyFd) {
    Check(sd_bus_add_object_vtable(bus, nullptr, endpoint_names::PathOf(kBareEndpoint).c_str(),
                                   endpoint_names::kInterface, kBareVtable, &service));
    Check(sd_bus_attach_event(bus, nullptr, SD_EVENT_PRIORITY_NORMAL));
    ServeUntilKilled(readyFd);
}

}  // namespace

void RunApplistService(const std::string& address, int readyFd) {
    SetMinimumLogPriority(applist::logging::kInfo);
    SelectBusAddress(address);
    SimpleModel model(SampleItems(kRoundTripItems));
    const LocalAppListModel service(&model);
    ServeUntilKilled(readyFd);
}

void RunBareService(const std::string& address, int readyFd) {
    BareService service;
    const UniqueBus bus = OpenBus(address);
    Check(sd_bus_request_name(bus.get(), endpoint_names::BusNameOf(kBareEndpoint).c_str(), 0));
    Serve(service, bus.get(), readyFd);
}

void RunBarePeer(OwnedFd socket, int readyFd) {
    BareService service;
    const UniqueBus bus = OpenServiceEnd(std::move(socket));
    Serve(service, bus.get(), readyFd);
}

}  // namespace bench
