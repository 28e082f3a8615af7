#include "PairLink.h"

#include <algorithm>
#include <cstring>
#include <utility>

using applist::RemoteError;
using applist::RemoteReply;
using applist::TesselDbusRemote;

using Cause = RemoteError::Cause;

namespace pair {

namespace {

constexpr Milliseconds kCompareAtRest{3000};
constexpr Milliseconds kCompareInBurst{100};

RemoteError ErrorOf(Cause cause) {
    switch (cause) {
        case Cause::NoService: return RemoteError(cause, "Applist: no service; start it");
        case Cause::Refused: return RemoteError(cause, "Applist: refused; ask for a policy");
        case Cause::TimedOut: return RemoteError(cause, "Applist: no answer in time; try again");
        case Cause::OutcomeUnknown: return RemoteError(cause, "Applist: unknown; read the list");
        case Cause::NotUnderstood: return RemoteError(cause, "Applist: not understood; check it");
        case Cause::Failed: return RemoteError(cause, "Applist: failed; look into the service");
        case Cause::TooMuch: return RemoteError(cause, "Applist: too much waits; let it run");
    }
    return RemoteError(cause, "Applist: unheard of");
}

RemoteReply FailureOf(Cause cause) {
    RemoteReply reply;
    reply.error = ErrorOf(cause);
    return reply;
}

int MessageIdOf(const Bytes& request) {
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

Link::Link(TesselDbusRemote& owner, std::string name) : m_owner(&owner), m_name(std::move(name)) {}

void Link::Close() {
    m_owner = nullptr;
    m_later = nullptr;
    m_laterAt.reset();
    m_compareAt.reset();
    m_toPartner.clear();
    m_calls.clear();
}

// ---- Calls --------------------------------------------------------------------------------------

void Link::Post(Bytes request, ReplyHandler onReply) {
    const auto self = shared_from_this();
    RemoteReply refusal;
    if (m_isKnown && m_service.empty()) refusal = FailureOf(Cause::NoService);
    if (!m_isKnown && m_calls.size() >= Bus::Get().m_faults.maxWaiting) {
        refusal = FailureOf(Cause::TooMuch);
    }
    if (refusal.error) return onReply(refusal);
    m_calls.push_back(std::make_unique<Call>());
    Call& call = *m_calls.back();
    call.id = ++m_callIds;
    call.request = std::move(request);
    call.onReply = std::move(onReply);
    SendWaiting();
}

void Link::SendWaiting() {
    if (m_service.empty()) return;
    for (const auto& call : m_calls) {
        if (call->deadline) continue;
        call->timeout = m_timeout;
        call->deadline = Bus::Get().Now() + m_timeout;
        SendParcel(Kind::Message, call->id, call->request);
    }
}

// As the real one: what arrives before the reply is told meanwhile, but no timer goes off but the
// reply's own.
Bytes Link::Send(Bytes request) {
    const auto self = shared_from_this();
    const Milliseconds deadline = Bus::Get().Now() + m_timeout;
    const auto reply = std::make_shared<RemoteReply>();
    const auto isDone = std::make_shared<bool>(false);
    Post(std::move(request), [reply, isDone](RemoteReply& answer) {
        *reply = std::move(answer);
        *isDone = true;
    });
    if (!*isDone && m_isDispatching) throw ErrorOf(Cause::Failed);
    while (!*isDone && m_owner != nullptr && Bus::Get().Step()) continue;
    if (!*isDone && m_owner == nullptr) throw ErrorOf(Cause::OutcomeUnknown);
    if (reply->error) throw RemoteError(*reply->error);
    if (*isDone) return reply->body;
    Bus::Get().Pass(deadline - Bus::Get().Now());
    if (*isDone && !reply->error) return reply->body;
    m_isSuspect = true;
    throw ErrorOf(Cause::TimedOut);
}

void Link::Notify(Bytes body) {
    if (!m_service.empty()) SendParcel(Kind::Notify, 0, std::move(body));
}

void Link::CallLater(std::chrono::microseconds delay, std::function<void()> callback) {
    m_laterAt = Bus::Get().Now() + std::chrono::ceil<Milliseconds>(delay);
    m_later = std::move(callback);
}

void Link::SendParcel(Kind kind, std::uint64_t call, Bytes body) {
    Parcel parcel;
    parcel.kind = kind;
    parcel.order = ++Bus::Get().m_order;
    parcel.call = call;
    parcel.service = m_service;
    parcel.body = std::move(body);
    m_toService.push_back(std::move(parcel));
}

void Link::Answer(std::uint64_t id, RemoteReply reply) {
    const auto call = std::find_if(m_calls.begin(), m_calls.end(),
                                   [&](const auto& each) { return each->id == id; });
    if (call == m_calls.end() || (*call)->isDone) return;
    (*call)->isDone = true;
    (*call)->reply = std::move(reply);
    Deliver();
}

void Link::Deliver() {
    if (m_isDelivering) return;
    const auto self = shared_from_this();
    const Mark delivering(m_isDelivering);
    while (!m_calls.empty() && m_calls.front()->isDone) {
        const std::unique_ptr<Call> call = std::move(m_calls.front());
        m_calls.pop_front();
        if (m_owner != nullptr) call->onReply(call->reply);
    }
}

// ---- At the service -----------------------------------------------------------------------------

void Link::ArriveAtService() {
    Parcel parcel = std::move(m_toService.front());
    m_toService.pop_front();
    Bus& bus = Bus::Get();
    Parcel answer;
    answer.kind = parcel.kind;
    answer.call = parcel.call;
    answer.service = parcel.service;
    if (bus.m_faults.refuses) {
        answer.error = ErrorOf(Cause::Refused);
    } else if (bus.m_service == nullptr || bus.m_serviceName != parcel.service) {
        answer.error = ErrorOf(Cause::NoService);
    } else if (parcel.kind == Kind::Connect) {
        bus.m_service->HandleConnectionReady(true, m_name);
    } else if (parcel.kind == Kind::Notify) {
        bus.m_service->HandleNotification(parcel.body);
    } else if (parcel.kind == Kind::Compare) {
        answer.serial = bus.m_serial;
    } else {
        bus.m_executed.push_back(MessageIdOf(parcel.body));
        try {
            answer.body = bus.m_service->HandleMessage(parcel.body);
        } catch (const std::exception&) {
            answer.error = ErrorOf(Cause::Failed);
        }
    }
    if (parcel.kind == Kind::Compare && bus.m_faults.losesSerials) return;
    if (parcel.kind == Kind::Compare || parcel.kind == Kind::Message) Tell(std::move(answer));
}

// ---- At the partner -----------------------------------------------------------------------------

void Link::Tell(Parcel parcel) {
    if (m_owner == nullptr) return;
    parcel.order = ++Bus::Get().m_order;
    m_toPartner.push_back(std::move(parcel));
}

void Link::ArriveAtPartner(std::size_t index) {
    const auto self = shared_from_this();
    const Mark dispatching(m_isDispatching);
    const auto at = m_toPartner.begin() + static_cast<std::ptrdiff_t>(index);
    Parcel parcel = std::move(*at);
    m_toPartner.erase(at);
    switch (parcel.kind) {
        case Kind::Owner: return OnOwner(parcel.service);
        case Kind::Compare: return OnSerial(parcel);
        case Kind::Notification: return OnNotification(std::move(parcel.body));
        default: return Answer(parcel.call, RemoteReply{std::move(parcel.body), parcel.error});
    }
}

void Link::OnOwner(const std::string& service) {
    if (m_isKnown && m_service == service) return;
    if (!m_service.empty() || service.empty()) Gone();
    if (m_owner == nullptr || service.empty()) return;
    m_isKnown = true;
    m_service = service;
    SendParcel(Kind::Connect);
    Compare();
    SendWaiting();
}

void Link::Gone() {
    const std::string service = std::exchange(m_service, std::string());
    m_isKnown = true;
    m_isReady = m_isSuspect = m_isComparing = m_comparesSoon = false;
    m_compareAt.reset();
    for (const auto& call : m_calls) {
        if (call->isDone) continue;
        call->isDone = true;
        call->reply = FailureOf(call->deadline ? Cause::OutcomeUnknown : Cause::NoService);
    }
    Deliver();
    if (!service.empty() && m_owner != nullptr) m_owner->HandleConnectionReady(false, service);
}

void Link::Compare() {
    if (m_isComparing || m_service.empty()) return;
    m_isComparing = true;
    SendParcel(Kind::Compare);
}

void Link::OnSerial(const Parcel& parcel) {
    if (parcel.service != m_service) return;
    m_isComparing = false;
    m_compareAt = Bus::Get().Now() + kCompareAtRest;
    if (parcel.error) return;
    const bool lost = parcel.serial != m_serial + m_received;
    m_serial = parcel.serial;
    m_received = 0;
    const bool wasReady = std::exchange(m_isReady, true);
    const bool wasSuspect = std::exchange(m_isSuspect, false);
    if (!wasReady || lost || wasSuspect) m_owner->HandleConnectionReady(true, m_service);
}

void Link::OnNotification(Bytes body) {
    ++m_received;
    if (!m_isReady) return;
    if (!std::exchange(m_comparesSoon, true)) m_compareAt = Bus::Get().Now() + kCompareInBurst;
    m_owner->HandleNotification(body);
}

// ---- Time ---------------------------------------------------------------------------------------

std::optional<Milliseconds> Link::Due() const {
    std::optional<Milliseconds> due = m_compareAt;
    if (m_laterAt && (!due || *m_laterAt < *due)) due = m_laterAt;
    for (const auto& call : m_calls) {
        if (!call->isDone && call->deadline && (!due || *call->deadline < *due)) {
            due = call->deadline;
        }
    }
    return due;
}

void Link::OnTime() {
    const auto self = shared_from_this();
    const Milliseconds now = Bus::Get().Now();
    bool silence = false;
    for (const auto& call : m_calls) {
        if (call->isDone || !call->deadline || *call->deadline > now) continue;
        call->isDone = silence = true;
        call->reply = FailureOf(Cause::TimedOut);
    }
    if (m_laterAt && *m_laterAt <= now) {
        m_laterAt.reset();
        const std::function<void()> later = std::exchange(m_later, nullptr);
        later();
    }
    const bool compares = m_compareAt && *m_compareAt <= now;
    if (compares) {
        m_compareAt.reset();
        m_comparesSoon = false;
    }
    if (silence) m_isSuspect = true;
    if (silence || compares) Compare();
    const Mark dispatching(m_isDispatching);
    Deliver();
}

// ---- The bus ------------------------------------------------------------------------------------

void Link::LoseBus() {
    const auto self = shared_from_this();
    const Mark dispatching(m_isDispatching);
    m_toService.clear();
    m_toPartner.clear();
    Gone();
}

void Link::ConnectAgain() {
    if (m_service.empty()) return;
    SendParcel(Kind::Connect);
    m_isSuspect = true;
    Compare();
}

}  // namespace pair

// ---- The transport's class ----------------------------------------------------------------------

namespace applist {

using pair::Bus;
using pair::Link;

TesselDbusRemote::TesselDbusRemote(std::string) : m_link(Bus::Get().NewLink(*this)) {}

TesselDbusRemote::~TesselDbusRemote() {
    m_link->Close();
}

void TesselDbusRemote::PostMessage(std::vector<char> data, ReplyHandler onReply) {
    m_link->Post(std::move(data), std::move(onReply));
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

std::chrono::microseconds TesselDbusRemote::Now() const {
    return Bus::Get().Now();
}

void TesselDbusRemote::CallLater(std::chrono::microseconds delay, std::function<void()> callback) {
    m_link->CallLater(delay, std::move(callback));
}

}  // namespace applist
