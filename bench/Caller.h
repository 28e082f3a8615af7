// SPDX-License-Identifier: MIT

// A partner that knows the calls and keeps no list.
//
// Threads: one, whose default sd-event loop it attaches to.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Way.h"
#include "common/AppListRemoteControl.h"
#include "ipc/IPCApplist.h"
#include "remote/TesselDbusRemote.h"

namespace bench {

class Caller {
public:
    // Finds the service on the bus at `address`. Throws RemoteError when there is none.
    Caller(const std::string& address, Way way) {
        Choose(address, way);
        m_channel = std::make_unique<Channel>();
        Call(APPLIST_GET_SELECTION_FNC, std::string());
    }

    std::vector<char> Call(AppListRemoteControl function, const std::string& payload) {
        return m_channel->SendMessage(function, payload.data(), payload.size());
    }

private:
    using Channel = IPCApplist<applist::TesselDbusRemote, Caller>;
    std::unique_ptr<Channel> m_channel;
};

}  // namespace bench
