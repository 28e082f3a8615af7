// One partner's connection to the bus in memory: its calls, what is on its way in both directions,
// and how it learns that the service is there and that nothing was lost.
//
// Internal to pair-transport. Threads: one. Lifetime: shared by its owner, the bus, and whoever
// is calling it.

#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "PairBus.h"
#include "remote/TesselDbusRemote.h"

namespace pair {

using applist::RemoteError;
using applist::RemoteReply;
using applist::TesselDbusRemote;

class Link : public std::enable_shared_from_this<Link> {
public:
    using ReplyHandler = TesselDbusRemote::ReplyHandler;
    enum class Kind { Owner, Connect, Compare, Message, Notify, Notification };
    enum class Direction { ToService, ToPartner };

    Link(TesselDbusRemote& owner, std::string name);

    void Close();
    void Post(Bytes request, ReplyHandler onReply);
    Bytes Send(Bytes request);
    void SetTimeout(Milliseconds timeout) { m_timeout = timeout; }
    void Notify(Bytes body);
    void CallLater(std::chrono::microseconds delay, std::function<void()> callback);

    const std::string& Name() const { return m_name; }
    const std::string& Service() const { return m_service; }
    bool IsClosed() const { return m_owner == nullptr; }

    // What is on its way, in either direction.
    struct Parcel {
        Kind kind = Kind::Owner;
        std::uint64_t order = 0;
        std::uint64_t call = 0;
        std::uint64_t serial = 0;
        std::string service;  // from or to; for Owner, who it is now
        Bytes body;
        std::optional<RemoteError> error;
    };
    std::deque<Parcel> m_toService;
    std::deque<Parcel> m_toPartner;

    // Lets what is at `index` arrive.
    void ArriveAtService();
    void ArriveAtPartner(std::size_t index);
    void Tell(Parcel parcel);

    // When something is due; nothing when nothing is.
    std::optional<Milliseconds> Due() const;
    void OnTime();

    void LoseBus();
    // Who the service is, is not known yet.
    void FindBus() { m_isKnown = false; }
    void ConnectAgain();

private:
    struct Call {
        std::uint64_t id;
        Bytes request;
        ReplyHandler onReply;
        Milliseconds timeout;
        std::optional<Milliseconds> deadline;  // when sent
        bool isDone = false;
        RemoteReply reply;
    };

    void SendParcel(Kind kind, std::uint64_t call = 0, Bytes body = Bytes());
    void SendWaiting();
    void Answer(std::uint64_t call, RemoteReply reply);
    void Deliver();
    void OnOwner(const std::string& service);
    void Gone();
    void OnSerial(const Parcel& parcel);
    void OnNotification(Bytes body);
    void Compare();

    TesselDbusRemote* m_owner;
    const std::string m_name;
    Milliseconds m_timeout{5000};
    bool m_isDispatching = false;
    bool m_isDelivering = false;

    bool m_isKnown = false;  // who the service is, if anyone
    std::string m_service;
    bool m_isReady = false;
    bool m_isSuspect = false;
    bool m_isComparing = false;
    bool m_comparesSoon = false;
    std::uint64_t m_serial = 0;
    std::uint64_t m_received = 0;

    std::deque<std::unique_ptr<Call>> m_calls;
    std::uint64_t m_callIds = 0;
    std::optional<Milliseconds> m_compareAt;
    std::optional<Milliseconds> m_laterAt;
    std::function<void()> m_later;
};

}  // namespace pair
