// SPDX-License-Identifier: MIT

// The fixture of every test that plays the partner: a LocalAppListModel around a RecordingModel,
// over the recording transport, the recording log and the recording heap.
//
// The journal is empty when a test starts: what construction wrote is kept apart.
// Threads: one. Lifetime: the service goes before the model, and every item that the model was
// given must be freed by then, exactly once; the fixture fails the test otherwise.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "applist/LocalAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "support/RecordingJournal.h"
#include "support/RecordingModel.h"

namespace recording {

// Returns the text of one item, written by hand; the strings must need no escape.
std::string Text(const std::string& name, const std::string& id);

// What the log says when the transport's handler of connections goes.
constexpr char kConnectionHandlerGone[] =
    "info UnregisterOnConnectionReady: Unregistered connectionReadyCallbackObject";

// Returns payload and id as one buffer of the transport.
std::vector<char> Frame(const std::string& payload, int id);

class RecordingService : public ::testing::Test {
protected:
    RecordingService();
    ~RecordingService() override;

    // Plays the partner: hands the buffer to the transport's entry point and returns the reply.
    std::string Deliver(std::vector<char> buffer);
    std::string Call(int id, const std::string& payload = "");

    // Has the partner add an item, and forgets what the journal says of it. The item's number is
    // the next one.
    void AddReceived(const std::string& name, const std::string& id);

    std::string TakeEvents() { return Journal::Get().Take(); }

    // Returns the received items as "#1 #2", and as "name/id name/id".
    std::string RegistryNumbers();
    std::string RegistryContent();

    // Destroys the service; what that wrote is left in the journal.
    void DestroyService();

    std::string m_constructionEvents;
    RecordingModel m_model;
    std::unique_ptr<LocalAppListModel> m_service;

private:
    static void EnterDelete(const void* item, void* context);

    // The service, also while its destructor runs.
    LocalAppListModel* m_observed = nullptr;
};

}  // namespace recording
