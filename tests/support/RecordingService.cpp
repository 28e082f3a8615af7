// SPDX-License-Identifier: MIT

#include "support/RecordingService.h"

#include <cstring>

#include "ipc/TesselDbusLocal.h"
#include "support/RecordingAllocator.h"
#include "support/RecordingInside.h"
#include "support/RecordingLog.h"

namespace recording {

std::string Text(const std::string& name, const std::string& id) {
    return name + "\t" + id + "\n";
}

std::vector<char> Frame(const std::string& payload, int id) {
    std::vector<char> buffer(payload.begin(), payload.end());
    char trailer[4];
    static_assert(sizeof(id) == sizeof(trailer), "the id is four bytes");
    std::memcpy(trailer, &id, sizeof(trailer));
    buffer.insert(buffer.end(), trailer, trailer + sizeof(trailer));
    return buffer;
}

RecordingService::RecordingService() {
    Journal::Get().Restart();
    RestartLog();
    ForgetWatched();
    ObserveDeletes(&RecordingService::EnterDelete, this);
    m_service = std::make_unique<LocalAppListModel>(&m_model);
    m_observed = m_service.get();
    m_constructionEvents = TakeEvents();
}

RecordingService::~RecordingService() {
    m_service.reset();
    ObserveDeletes(nullptr, nullptr);
    EXPECT_EQ(0u, WatchedCount()) << "items that the model was given were never freed";
    ForgetWatched();
}

std::string RecordingService::Deliver(std::vector<char> buffer) {
    const std::vector<char> reply = TesselDbusLocal::Newest()->HandleMessage(buffer);
    return std::string(reply.begin(), reply.end());
}

std::string RecordingService::Call(int id, const std::string& payload) {
    return Deliver(Frame(payload, id));
}

void RecordingService::AddReceived(const std::string& name, const std::string& id) {
    Call(APPLIST_ADD_ITEM_AT_END_FNC, Text(name, id));
    TakeEvents();
}

std::string RecordingService::RegistryNumbers() {
    std::string numbers;
    for (const RemoteAppListItem* item : RegistryOf(*m_observed)) {
        numbers += (numbers.empty() ? "" : " ") + Journal::Get().NameOf(item);
    }
    return numbers;
}

std::string RecordingService::RegistryContent() {
    std::string content;
    for (RemoteAppListItem* item : RegistryOf(*m_service)) {
        content += (content.empty() ? "" : " ") + NameAndId(*item);
    }
    return content;
}

void RecordingService::DestroyService() {
    m_service.reset();
}

// Shows the registry as it is at this moment, by numbers, since some of its items may be freed.
void RecordingService::EnterDelete(const void* item, void* context) {
    const ExemptFromFailing exempt;
    RecordingService& self = *static_cast<RecordingService*>(context);
    Journal::Get().Add("delete " + Journal::Get().NameOf(item) + " of " + self.RegistryNumbers());
}

}  // namespace recording
