// SPDX-License-Identifier: MIT

#include "fuzz/ServicePair.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "common/AppListRemoteControl.h"
#include "fuzz/Check.h"
#include "ipc/TesselDbusLocal.h"
#include "support/RecordingAllocator.h"
#include "support/RecordingInside.h"
#include "support/RecordingJournal.h"
#include "support/RecordingLog.h"

using recording::Journal;
using recording::RegistryOf;
using std::string;

namespace applist::fuzz {

namespace {

bool IsTheSame(const ReferenceService::Item& expected, AppListItem& actual) {
    return expected.name == actual.GetVisibleName() && expected.id == actual.GetUnigueId();
}

template <class Item>
bool AreTheSame(const std::vector<ReferenceService::Item>& expected,
                const std::vector<Item*>& actual) {
    return std::equal(expected.begin(), expected.end(), actual.begin(), actual.end(),
                      [](const auto& left, Item* right) { return IsTheSame(left, *right); });
}

}  // namespace

string ServicePair::Deliver(const string& buffer) {
    std::vector<char> data(buffer.begin(), buffer.end());
    const std::vector<char> reply = TesselDbusLocal::Newest()->HandleMessage(data);
    return string(reply.begin(), reply.end());
}

ServicePair::ServicePair(Carrier carrier) : m_carrier(std::move(carrier)) {
    Journal::Get().Restart();
    recording::RestartLog();
    recording::ObserveDeletes(&EnterDelete, this);
    m_model.m_raisesEvents = true;
    m_service = std::make_unique<LocalAppListModel>(&m_model);
    m_observed = m_service.get();
    Journal::Get().Take();
}

ServicePair::~ServicePair() {
    m_service.reset();
    m_reference.Destroy();
    recording::ObserveDeletes(nullptr, nullptr);
    Check(m_reference.TakeEvents() == Journal::Get().Take(), "both end in the same way");
    Check(recording::WatchedCount() == 0, "every item that the model was given is freed");
}

void ServicePair::Message(const string& buffer) {
    const string reply = m_carrier(buffer);
    Check(m_reference.Message(buffer) == reply, "both give the same reply");
    Compare();
}

void ServicePair::Call(int id, const string& payload) {
    char trailer[sizeof(id)];
    std::memcpy(trailer, &id, sizeof(id));
    Message(payload + string(trailer, sizeof(trailer)));
}

void ServicePair::Notification(const string& buffer) {
    std::vector<char> data(buffer.begin(), buffer.end());
    TesselDbusLocal::Newest()->HandleNotification(data);
    m_reference.Notification(buffer);
    Compare();
}

void ServicePair::Connection(bool state, const string& partner) {
    TesselDbusLocal::Newest()->HandleConnectionReady(state, partner);
    m_reference.Connection(state, partner);
    Compare();
}

void ServicePair::AddOwn(const string& name, const string& id) {
    m_model.Own(name, id);
    m_reference.AddOwn(name, id);
    Compare();
}

void ServicePair::RaiseSelected() {
    m_model.RaiseSelected();
    m_reference.RaiseSelected();
    Compare();
}

void ServicePair::RaiseChanged() {
    m_model.RaiseChanged();
    m_reference.RaiseChanged();
    Compare();
}

void ServicePair::RaiseClicked() {
    m_model.RaiseClicked();
    m_reference.RaiseClicked();
    Compare();
}

void ServicePair::Compare() {
    Check(m_reference.TakeEvents() == Journal::Get().Take(), "both do the same, in one order");
    Check(AreTheSame(m_reference.Model(), m_model.Items()), "both lists are the same");
    Check(AreTheSame(m_reference.Received(), RegistryOf(*m_service)), "so are both registries");
    Check(IsTheSame(m_reference.Selected(), *m_model.Selected()), "and both selections");
    CheckInvariants();
    recording::RestartLog();
}

void ServicePair::CheckInvariants() {
    const std::vector<AppListItem*>& items = m_model.Items();
    AppListItem* const selected = m_model.Selected();
    Check(
        std::count(items.begin(), items.end(), selected) == 1 || IsTheSame({0, "", ""}, *selected),
        "the selection is in the list, or empty");
    for (AppListItem* item : RegistryOf(*m_service)) {
        Check(std::count(items.begin(), items.end(), item) == 1, "a received item is listed once");
    }
}

// As the reference tells it: the registry still holds the item.
void ServicePair::EnterDelete(const void* item, void* self) {
    const recording::ExemptFromFailing exempt;
    string numbers;
    for (const RemoteAppListItem* each : RegistryOf(*static_cast<ServicePair*>(self)->m_observed)) {
        numbers += " " + Journal::Get().NameOf(each);
    }
    Journal::Get().Add("delete " + Journal::Get().NameOf(item) + " of" + numbers);
}

}  // namespace applist::fuzz
