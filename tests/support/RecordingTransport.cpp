// SPDX-License-Identifier: MIT

#include <stdexcept>
#include <utility>

#include "ipc/TesselDbusLocal.h"
#include "support/RecordingAllocator.h"
#include "support/RecordingJournal.h"

using recording::ExemptFromFailing;
using recording::Hex;
using recording::Journal;

namespace {

TesselDbusLocal* g_newest = nullptr;

std::string TakeBytes(std::vector<char>& data) {
    std::string bytes(data.begin(), data.end());
    data.assign(3, '!');
    return bytes;
}

}  // namespace

TesselDbusLocal::TesselDbusLocal(std::string endpointName)
    : m_endpointName(std::move(endpointName)) {
    g_newest = this;
    Journal::Get().Add("transport opens " + m_endpointName);
}

TesselDbusLocal::~TesselDbusLocal() {
    if (g_newest == this) g_newest = nullptr;
    Journal::Get().Add("transport closes " + m_endpointName);
}

void TesselDbusLocal::SendNotification(std::vector<char>& data) {
    const ExemptFromFailing exempt;
    if (m_refusesToSend) throw std::runtime_error("the bus is on fire");
    Journal::Get().Add("send " + Hex(TakeBytes(data)));
}

void TesselDbusLocal::SendNotification(std::vector<char>& data, const std::string& partner) {
    const ExemptFromFailing exempt;
    if (m_refusesToSend) throw std::runtime_error("the bus is on fire");
    Journal::Get().Add("send " + Hex(TakeBytes(data)) + " to " + partner);
}

TesselDbusLocal* TesselDbusLocal::Newest() {
    return g_newest;
}
