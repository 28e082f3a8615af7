// SPDX-License-Identifier: MIT

// The fixture of the partner's unit tests: an application's list, the service around it and a
// partner's model, joined in one process by the bus in memory.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "PairBus.h"
#include "applist/LocalAppListModel.h"
#include "partner/CauseName.h"
#include "partner/EditableList.h"
#include "partner/QuietLog.h"
#include "partner/RemoteAppListModel.h"
#include "partner/Witness.h"
#include "remote/RemoteLimits.h"

using Strings = std::vector<std::string>;
using pair::Milliseconds;

class PairTest : public ::testing::Test {
protected:
    PairTest() {
        ForgetLog();
        m_bus.Reset();
    }

    ~PairTest() override {
        m_bus.m_faults = pair::Faults();
        m_witness.reset();
        m_model.reset();
        EndService();
        m_bus.Run();
    }

    void StartService() { m_service = std::make_unique<LocalAppListModel>(&m_list); }

    // The service leaves the bus; what it has sent arrives.
    void EndService() {
        m_list.ForgetPartnersItems();
        m_service.reset();
    }

    // The service is gone, with all that was on its way.
    void KillService() {
        m_bus.KillService();
        EndService();
    }

    void StartPartner() {
        m_model = std::make_unique<applist::RemoteAppListModel>();
        m_witness = std::make_unique<Witness>(*m_model);
    }

    // Both are there, the replica is read and the witness has forgotten how.
    void StartBoth() {
        StartService();
        StartPartner();
        m_bus.RunFor(Milliseconds(200));
        m_witness->Take();
        m_bus.m_executed.clear();
    }

    // Writes as much as may wait. Clicks: a service does nothing about them.
    void FillQueue() {
        RemoteAppListItem item;
        for (std::size_t count = 0; count < applist::remote_limits::kMaxWaitingCalls; ++count) {
            m_model->SetClicked(&item);
        }
    }

    // How often the partners have read the list.
    std::size_t Fetches() const { return m_bus.CountOf(2002); }

    std::string Replica() { return ContentOf(*m_model); }

    // The cause that Synchronize throws, in words; "" when it returns.
    std::string CauseOfSynchronize() { return ::CauseOfSynchronize(*m_model); }

    pair::Bus& m_bus = pair::Bus::Get();
    EditableList m_list;
    std::unique_ptr<LocalAppListModel> m_service;
    std::unique_ptr<applist::RemoteAppListModel> m_model;
    std::unique_ptr<Witness> m_witness;
};
