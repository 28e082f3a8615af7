// A partner's connection to its service: who the service is, whether it is there, and whether all
// of its notifications arrived.
//
// TesselDbusRemote.h holds the contract. Threads: the main loop's.
// Lifetime: shared with whatever callback of its own is running; Close ends it for its owner.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bus/BusLink.h"
#include "remote/RemoteCalls.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

class RemoteLink : public std::enable_shared_from_this<RemoteLink> {
public:
    RemoteLink(TesselDbusRemote& owner, const std::string& name);
    RemoteLink(const RemoteLink&) = delete;
    RemoteLink& operator=(const RemoteLink&) = delete;

    // Throws TransportError.
    void Open() { m_link.Open(); }

    // Calls the owner no more, and sends what waits, for remote_limits::kFlushTimeout at most.
    void Close();

    void Post(std::vector<char> request, TesselDbusRemote::ReplyHandler onReply);
    std::vector<char> Send(std::vector<char> request);
    void SetTimeout(std::chrono::microseconds timeout);
    void Notify(const std::vector<char>& body);
    void CallLater(std::chrono::microseconds delay, std::function<void()> callback);

private:
    using ReplyHandler = TesselDbusRemote::ReplyHandler;
    using Callback = void (RemoteLink::*)(sd_bus_message* message);
    template <Callback callback>
    static int On(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnCompareTime(sd_event_source* source, std::uint64_t now, void* userdata);
    static int OnLater(sd_event_source* source, std::uint64_t now, void* userdata);

    // Installed anew on each connection.
    void SetUp();
    void Lost();
    void OnBusProcess(sd_bus_message* answer);
    void OnMatchInstalled(sd_bus_message* answer);

    // Who the service is.
    void AskForOwner();
    void OnOwner(sd_bus_message* answer);
    void OnOwnerChanged(sd_bus_message* signal);
    void OwnedBy(const std::string& service);
    void Appeared(const std::string& service);
    void Gone();
    void OnConnected(sd_bus_message* answer);

    // Whether all notifications arrived.
    void OnNotification(sd_bus_message* signal);
    void Compare();
    void CompareIn(std::chrono::microseconds delay);
    void OnSerial(sd_bus_message* answer);
    bool IsUsableWithout(const sd_bus_error& error);

    bool IsInsideCallback() const;
    // Dispatches the bus until `done`, or until `deadline`; false when it cannot be dispatched.
    bool DispatchUntil(const std::function<bool()>& done,
                       std::chrono::steady_clock::time_point deadline);

    void AwaitBus(std::chrono::steady_clock::time_point deadline) const;
    void CallDriver(UniqueSlot& slot, const char* member, const std::string& argument,
                    sd_bus_message_handler_t onAnswer);
    UniqueMessage NewCall(const char* interface, const char* member) const;

    TesselDbusRemote* m_owner;  // null once closed
    const std::string m_name;
    std::chrono::microseconds m_timeout;

    BusLink m_link;
    RemoteCalls m_calls;

    UniqueSlot m_ownerMatch;
    UniqueSlot m_ownerAnswer;
    UniqueSlot m_busAnswer;
    std::string m_service;  // its unique name; empty while there is none
    UniqueSlot m_signalMatch;
    UniqueSlot m_connectAnswer;
    UniqueSlot m_serialAnswer;  // set while a comparison is under way
    UniqueSource m_compareTimer;
    UniqueSource m_laterTimer;
    std::function<void()> m_later;

    bool m_isReady = false;         // reported as usable
    bool m_isConnected = false;     // it answered Connect
    bool m_isCountRefused = false;  // by the bus's policy
    bool m_isSuspect = false;       // something was not answered in time
    bool m_comparesSoon = false;
    std::uint64_t m_serial = 0;    // the service's count when it was last asked for
    std::uint64_t m_received = 0;  // and how many have come since
};

}  // namespace applist
