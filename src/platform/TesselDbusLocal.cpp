// SPDX-License-Identifier: MIT

#include "ipc/TesselDbusLocal.h"

#include "platform/Endpoint.h"

TesselDbusLocal::TesselDbusLocal(std::string endpointName)
    : m_endpoint(new applist::Endpoint(*this, endpointName)) {}

TesselDbusLocal::~TesselDbusLocal() = default;

void TesselDbusLocal::SendNotification(std::vector<char>& data) {
    m_endpoint->SendNotification(data, std::string());
}

void TesselDbusLocal::SendNotification(std::vector<char>& data, const std::string& partner) {
    m_endpoint->SendNotification(data, partner);
}
