// SPDX-License-Identifier: MIT

// The service and the reference side by side: what a partner or the application does is done to
// both, and then both must have done the same, event by event.
//
// Threads: one. Lifetime: one pair at a time, since the journal and the log are the process's.

#pragma once

#include <functional>
#include <memory>
#include <string>

#include "applist/LocalAppListModel.h"
#include "applist/ReferenceService.h"
#include "support/RecordingModel.h"

namespace applist::fuzz {

class ServicePair {
public:
    // Brings a message to the service and its reply back.
    using Carrier = std::function<std::string(const std::string& buffer)>;
    static std::string Deliver(const std::string& buffer);

    explicit ServicePair(Carrier carrier);
    // Destroys both sides; every item that the model was given must be freed then.
    ~ServicePair();

    ServicePair(const ServicePair&) = delete;
    ServicePair& operator=(const ServicePair&) = delete;

    // What the partner does.
    void Message(const std::string& buffer);
    void Call(int id, const std::string& payload = "");
    void Notification(const std::string& buffer);
    void Connection(bool state, const std::string& partner);

    // What the application does.
    void AddOwn(const std::string& name, const std::string& id);
    void RaiseSelected();
    void RaiseChanged();
    void RaiseClicked();

private:
    static void EnterDelete(const void* item, void* self);

    // Both sides did, and hold, the same.
    void Compare();
    // What must be true of the service's side, whatever the reference says.
    void CheckInvariants();

    Carrier m_carrier;
    recording::RecordingModel m_model;
    std::unique_ptr<LocalAppListModel> m_service;
    LocalAppListModel* m_observed = nullptr;  // also while its destructor runs
    ReferenceService m_reference = ReferenceService(true);
};

}  // namespace applist::fuzz
