#include "partner/TesselDbusRemote.h"

#include <utility>

#include "partner/RemoteLink.h"

TesselDbusRemote::TesselDbusRemote(std::string endpointName)
    : m_link(std::make_shared<Link>(*this, endpointName)) {
    m_link->Open();
}

TesselDbusRemote::~TesselDbusRemote() {
    m_link->Close();
}

void TesselDbusRemote::PostMessage(std::vector<char>& data, ReplyHandler onReply) {
    m_link->Post(data, std::move(onReply));
}

std::vector<char> TesselDbusRemote::SendMessage(std::vector<char>& data) {
    return m_link->Send(data);
}

void TesselDbusRemote::SetTimeout(std::chrono::milliseconds timeout) {
    m_link->SetTimeout(timeout);
}

void TesselDbusRemote::SendNotification(std::vector<char>& data) {
    m_link->Notify(data);
}

void TesselDbusRemote::SendNotification(std::vector<char>& data, const std::string&) {
    m_link->Notify(data);
}

void TesselDbusRemote::CallLater(std::chrono::milliseconds delay, std::function<void()> callback) {
    m_link->CallLater(delay, std::move(callback));
}
