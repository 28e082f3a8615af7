// SPDX-License-Identifier: MIT

// A partner's bare transport, for tests of what the model above it does not show.
//
// Threads: one. Lifetime: the caller's.

#pragma once

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "common/AppListRemoteControl.h"
#include "partner/CauseName.h"
#include "remote/TesselDbusRemote.h"

class BareRemote : public applist::TesselDbusRemote {
public:
    BareRemote() : applist::TesselDbusRemote("Applist") {}
    std::vector<char> HandleMessage(std::vector<char>&) override { return {}; }
    void HandleNotification(std::vector<char>&) override {
        if (m_onNotification) m_onNotification();
    }
    void HandleConnectionReady(bool state, const std::string&) override {
        m_isReady = state;
        if (state) ++m_readies;
    }

    // The question for the list.
    static std::vector<char> Question() {
        std::vector<char> request(4);
        const int id = APPLIST_GET_ALL_ITEMS_FNC;
        std::memcpy(request.data(), &id, sizeof(id));
        return request;
    }

    // Posts `request` and adds what becomes of it to m_outcomes: the reply, or the cause.
    void Ask(std::vector<char> request = Question()) {
        PostMessage(request, [this](applist::RemoteReply& reply) {
            m_outcomes.push_back(reply.error ? NameOf(reply.error->GetCause())
                                             : std::string(reply.body.begin(), reply.body.end()));
            if (reply.error) m_errorText = reply.error->what();
        });
    }

    std::function<void()> m_onNotification;
    bool m_isReady = false;
    int m_readies = 0;
    std::vector<std::string> m_outcomes;
    std::string m_errorText;  // of the last failure
};
