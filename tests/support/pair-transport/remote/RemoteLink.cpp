// SPDX-License-Identifier: MIT

#include "remote/RemoteLink.h"

#include <cstring>
#include <utility>

#include "remote/RemoteLimits.h"

using pair::Bus;
using pair::Milliseconds;

namespace applist {

namespace {

const char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
const char kServiceUnknown[] = "org.freedesktop.DBus.Error.ServiceUnknown";
const char kHandlerFailed[] = "org.tessel.Local1.Error.HandlerFailed";

int MessageIdOf(const std::vector<char>& request) {
    int id = 0;
    if (request.size() >= sizeof(id)) {
        std::memcpy(&id, request.data() + request.size() - sizeof(id), sizeof(id));
    }
    return id;
}

// Sets a flag for as long as it lives.
class Mark {
public:
    explicit Mark(bool& flag) : m_flag(flag), m_before(std::exchange(flag, true)) {}
    ~Mark() { m_flag = m_before; }
    Mark(const Mark&) = delete;
    Mark& operator=(const Mark&) = delete;

private:
    bool& m_flag;
    const bool m_before;
};

}  // namespace

RemoteLink::RemoteLink(TesselDbusRemote& owner, const std::string& name)
    : m_name(Bus::Get().NewName()), m_session(owner, name, *this) {}

// ---- For the owner ------------------------------------------------------------------------------

void RemoteLink::Open() {
    Bus::Get().Join(shared_from_this());
}

void RemoteLink::Close() {
    m_toPartner.clear();
    m_session.Close(Now());
    m_isClosed = true;
}

void RemoteLink::Post(std::vector<char> request, ReplyHandler onReply) {
    const auto self = shared_from_this();
    m_session.Post(std::move(request), std::move(onReply));
}

std::vector<char> RemoteLink::Send(std::vector<char> request) {
    const auto self = shared_from_this();
    return m_session.Send(std::move(request));
}

void RemoteLink::CallLater(Time delay, std::function<void()> callback) {
    m_session.CallLater(delay, std::move(callback));
}

// ---- For the session ----------------------------------------------------------------------------

RemoteLink::Time RemoteLink::Now() const {
    return Bus::Get().Now();
}

int RemoteLink::SendCall(CallId call, const std::vector<char>& request) {
    return SendParcel(Kind::Message, call, request);
}

int RemoteLink::SendUnanswered(const std::vector<char>& request) {
    return SendParcel(Kind::Message, 0, request);
}

int RemoteLink::SendNotification(const std::vector<char>& body) {
    return SendParcel(Kind::Notify, 0, body);
}

int RemoteLink::AskToConnect() {
    return SendParcel(Kind::Connect);
}

int RemoteLink::AskForCount() {
    return SendParcel(Kind::Count, ++m_question);
}

int RemoteLink::SendParcel(Kind kind, std::uint64_t call, std::vector<char> body) {
    Parcel parcel;
    parcel.kind = kind;
    parcel.order = ++Bus::Get().m_order;
    parcel.call = call;
    parcel.service = Service();
    parcel.body = std::move(body);
    m_toService.push_back(std::move(parcel));
    return 0;
}

// As on a real bus: what arrives is told meanwhile, but no timer of the loop's goes off.
bool RemoteLink::Dispatch(Time deadline) {
    if (!Bus::Get().Step()) Bus::Get().WaitUntil(deadline);
    return true;
}

// ---- At the service -----------------------------------------------------------------------------

void RemoteLink::ArriveAtService() {
    Parcel parcel = std::move(m_toService.front());
    m_toService.pop_front();
    Bus& bus = Bus::Get();
    Parcel answer;
    answer.kind = parcel.kind;
    answer.call = parcel.call;
    answer.service = parcel.service;
    if (bus.m_faults.refuses) {
        answer.error = kAccessDenied;
    } else if (bus.m_service == nullptr || bus.m_serviceName != parcel.service) {
        answer.error = kServiceUnknown;
    } else if (parcel.kind == Kind::Connect) {
        bus.m_service->HandleConnectionReady(true, m_name);
    } else if (parcel.kind == Kind::Notify) {
        bus.m_service->HandleNotification(parcel.body);
    } else if (parcel.kind == Kind::Count) {
        answer.count = bus.m_serial;
    } else {
        bus.m_executed.push_back(MessageIdOf(parcel.body));
        try {
            answer.body = bus.m_service->HandleMessage(parcel.body);
        } catch (const std::exception&) {
            answer.error = kHandlerFailed;
        }
    }
    const bool isLost = parcel.kind == Kind::Count && bus.m_faults.losesSerials;
    if (parcel.kind != Kind::Notify && !isLost) Tell(std::move(answer));
}

// ---- At the partner -----------------------------------------------------------------------------

void RemoteLink::Tell(Parcel parcel) {
    if (m_isClosed) return;
    parcel.order = ++Bus::Get().m_order;
    m_toPartner.push_back(std::move(parcel));
}

void RemoteLink::ArriveAtPartner(std::size_t index) {
    const auto self = shared_from_this();
    const Mark dispatching(m_isDispatching);
    const auto at = m_toPartner.begin() + static_cast<std::ptrdiff_t>(index);
    Parcel parcel = std::move(*at);
    m_toPartner.erase(at);
    if (parcel.kind == Kind::Owner) return OnOwner(parcel.service);
    if (parcel.kind == Kind::Message) return OnReply(std::move(parcel));
    // From a service that has left.
    if (parcel.service != Service()) return;
    if (parcel.kind == Kind::Count) return OnCount(parcel);
    if (parcel.kind == Kind::Connect && parcel.error.empty()) m_session.Joined();
    if (parcel.kind == Kind::Notification) {
        m_session.Notified(std::move(parcel.body), parcel.toEveryone);
    }
}

void RemoteLink::OnOwner(const std::string& service) {
    const std::string before = Service();
    if (!before.empty() && before == service) return;
    if (!before.empty() || service.empty()) m_session.Gone("the bus in memory");
    if (!service.empty() && !m_isClosed) m_session.Appeared(service);
}

void RemoteLink::OnCount(const Parcel& parcel) {
    if (parcel.call != m_question) return;
    if (parcel.error == kServiceUnknown) return;
    if (!parcel.error.empty()) return m_session.Counted(std::nullopt, parcel.error);
    m_session.Counted(parcel.count, std::string());
}

void RemoteLink::OnReply(Parcel parcel) {
    RemoteReply reply;
    reply.body = std::move(parcel.body);
    if (!parcel.error.empty()) {
        reply.error = m_session.Errors().FromBus(parcel.error, std::string());
    }
    m_session.Answered(parcel.call, std::move(reply));
}

// ---- The bus ------------------------------------------------------------------------------------

void RemoteLink::OnTime() {
    const auto self = shared_from_this();
    const Mark dispatching(m_isDispatching);
    m_session.TimePassed();
}

void RemoteLink::LoseBus() {
    const auto self = shared_from_this();
    const Mark dispatching(m_isDispatching);
    m_toService.clear();
    m_toPartner.clear();
    m_session.Gone("the bus in memory");
}

void RemoteLink::ConnectAgain() {
    if (!Service().empty()) SendParcel(Kind::Connect);
}

}  // namespace applist
