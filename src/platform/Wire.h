// SPDX-License-Identifier: MIT

// A connection on which the object of an endpoint answers: the bus's, or that of a direct channel.
// It has its own queue of what is sent and its own calls that wait, so that one that does not drain
// keeps no other waiting.
//
// A call is executed only while nothing waits to be sent, so that replies cannot pile up in this
// process, however fast a partner calls and however slowly it reads. Its answer and its descriptors
// are made before: what has been executed is answered, or the connection ends, and never with an
// error that says it was not.
//
// Threads: the main loop's. Lifetime: goes before its endpoint, and after its last callback.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bus/BusProbe.h"
#include "bus/Outbox.h"
#include "bus/SdBus.h"
#include "bus/TransportLimits.h"
#include "platform/CallTurns.h"
#include "platform/ReplyRations.h"

namespace applist {

class Endpoint;

class Wire {
public:
    // For `partner`'s channel; for the bus, where each call names its sender, when that is empty.
    // `onFailed` is called from the loop with a negative errno when the connection cannot go on
    // although it is open: it must be given up, and this detached.
    Wire(Endpoint& endpoint, std::string partner, std::function<void(int error)> onFailed);
    ~Wire();
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    // Serves the object over `bus` from now on, on the loop `event`. Returns 0 or a negative errno.
    int Attach(sd_bus* bus, sd_event* event);

    // Takes the connection off the loop, and drops what waits.
    void Detach();

    // Executes nothing more; sends what waits, until `deadline` at most.
    void StopServing();
    void SendLast(std::chrono::steady_clock::time_point deadline);

    // Sends a notification. When it cannot be sent or kept, the connection fails.
    void Tell(const std::string& partner, const std::vector<char>& body);

    // For the endpoint's methods. Who called, and how to answer.
    std::string SenderOf(sd_bus_message* call) const;
    bool IsBus() const { return m_partner.empty(); }
    sd_bus* Bus() const { return m_bus; }
    Outbox& Out() { return m_outbox; }
    void ReplyError(sd_bus_message* call, const char* name, const std::string& text);
    // Refuses `call` when its sender `partner` has spent its ration. Returns whether it has; if
    // not, a reply that weighs `bytes` is charged to the partner by Charge.
    bool RefuseBeyondRation(sd_bus_message* call, const std::string& partner);
    void Charge(const std::string& partner, std::size_t bytes) {
        if (IsBus()) m_rations.Charge(partner, bytes);
    }

    // Executes `method` for `call`, whose turn it is.
    void Execute(sd_bus_message* call, CallTurns::Method method) noexcept;

    // Over a channel the first call must be Connect; it says that the channel works.
    void Confirm() { m_isConfirmed = true; }
    bool IsConfirmed() const { return m_isConfirmed; }

private:
    using Method = CallTurns::Method;

    static const sd_bus_vtable kVtable[];
    // What sd-bus calls for `method`.
    template <Method method>
    static int OnCall(sd_bus_message* call, void* userdata, sd_bus_error* error);
    static int OnReadSerial(sd_bus* bus, const char* path, const char* interface,
                            const char* property, sd_bus_message* reply, void* userdata,
                            sd_bus_error* error);
    static int OnReadPartners(sd_bus* bus, const char* path, const char* interface,
                              const char* property, sd_bus_message* reply, void* userdata,
                              sd_bus_error* error);

    // The methods of the interface. Each answers its call, or throws std::bad_alloc.
    void Connect(sd_bus_message* call);
    void Disconnect(sd_bus_message* call);
    void Message(sd_bus_message* call);
    void MessageFd(sd_bus_message* call);
    void Notify(sd_bus_message* call);
    void Channel(sd_bus_message* call);

    // Runs `work`, and answers `call` with an error when it throws.
    template <class Work>
    void Answer(sd_bus_message* call, Work work) noexcept;
    // Answers `call` with an error for the exception that is being handled.
    void AnswerWithFailure(sd_bus_message* call) noexcept;
    // Executes `method`, or lets it wait for its turn.
    void Take(sd_bus_message* call, Method method) noexcept;
    void Hold(CallTurns::Call held);
    bool RefuseUnconfirmed(sd_bus_message* call, Method method);
    // Reads the bytes of `call`, or refuses it. Returns whether they were read.
    bool ReadBody(sd_bus_message* call, std::vector<char>& body);
    // Refuses `call` when its body, of `size` bytes, is larger than the limits allow. Returns
    // whether it is.
    bool RefuseLarge(sd_bus_message* call, std::uint64_t size);
    // Runs the application's `handler`. When it throws, answers `call` with what it said, and
    // returns false.
    template <class Handler>
    bool RunHandler(sd_bus_message* call, Handler handler);
    // Answers `call` with what the exception that is being handled says.
    void ReplyHandlerFailed(sd_bus_message* call);
    // Answers a call that is neither executed nor held, ahead of what waits.
    void Refuse(sd_bus_message* call, const std::string& text);

    int AddObject();
    void Answered();  // the bus has taken everything
    void Stuck();     // the bus takes nothing more

    Endpoint& m_endpoint;
    const std::string m_partner;
    const std::function<void(int)> m_onFailed;
    sd_bus* m_bus = nullptr;
    UniqueSlot m_object;
    BusProbe m_probe;  // of a bus; a channel tells by itself what was read
    Outbox m_outbox;
    CallTurns m_turns;
    ReplyRations m_rations;
    bool m_isConfirmed;
};

}  // namespace applist
