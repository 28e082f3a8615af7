// SPDX-License-Identifier: MIT

#include "remote/TesselDbusRemote.h"

#include <algorithm>
#include <utility>

#include "remote/RemoteLimits.h"
#include "remote/RemoteLink.h"

namespace applist {

TesselDbusRemote::TesselDbusRemote(std::string endpointName)
    : m_link(std::make_shared<RemoteLink>(*this, endpointName)) {
    m_link->Open();
}

TesselDbusRemote::~TesselDbusRemote() {
    m_link->Close();
}

void TesselDbusRemote::PostMessage(std::vector<char> data, ReplyHandler onReply) {
    m_link->Post(std::move(data), std::move(onReply));
}

std::vector<char> TesselDbusRemote::SendMessage(std::vector<char>& data) {
    return m_link->Send(data);
}

void TesselDbusRemote::SetStartsService(bool starts) {
    m_link->SetStartsService(starts);
}

void TesselDbusRemote::SetTimeout(std::chrono::milliseconds timeout) {
    // With nothing or less, a call would be overdue as soon as it is sent.
    const std::chrono::milliseconds atLeast(1);
    const auto atMost =
        std::chrono::duration_cast<std::chrono::milliseconds>(remote_limits::kMaxTimeout);
    m_link->SetTimeout(std::clamp(timeout, atLeast, atMost));
}

void TesselDbusRemote::SendNotification(std::vector<char>& data) {
    m_link->Notify(data);
}

void TesselDbusRemote::SendNotification(std::vector<char>& data, const std::string&) {
    m_link->Notify(data);
}

std::chrono::microseconds TesselDbusRemote::Now() const {
    return m_link->Now();
}

void TesselDbusRemote::CallLater(std::chrono::microseconds delay, std::function<void()> callback) {
    m_link->CallLater(delay, std::move(callback));
}

}  // namespace applist
