// An endpoint on D-Bus: the object that partners call, the name by which they find it, and its
// return after the bus went away. TesselDbusLocal.h holds the contract.
//
// A call is executed only while nothing waits to be sent, so that replies cannot pile up in this
// process, however fast a partner calls and however slowly it reads. Everything that its answer
// needs and that may be lacking is made before: what has been executed can be answered.
//
// Threads: the main loop's. Lifetime: its owner's, whose entry points it calls only from the loop.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bus/BusLink.h"
#include "bus/BusProbe.h"
#include "bus/Outbox.h"
#include "bus/TransportLimits.h"
#include "ipc/TesselDbusLocal.h"
#include "platform/CallTurns.h"
#include "platform/PartnerTracker.h"
#include "platform/ReplyRations.h"

namespace applist {

class Endpoint {
public:
    // Comes up on the selected bus, or throws TransportError.
    Endpoint(TesselDbusLocal& owner, const std::string& name);

    // Sends what waits, for transport_limits::kFlushTimeout at most, and leaves the bus.
    ~Endpoint();

    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    // Sends `body` to `partner`, or to everyone who listens when that is empty.
    void SendNotification(const std::vector<char>& body, const std::string& partner);

private:
    using Method = void (Endpoint::*)(sd_bus_message* call);

    static const sd_bus_vtable kVtable[];
    // What sd-bus calls for `method`: executes it, or lets it wait for its turn.
    template <Method method>
    static int OnCall(sd_bus_message* call, void* userdata, sd_bus_error* error);
    static int OnReadSerial(sd_bus* bus, const char* path, const char* interface,
                            const char* property, sd_bus_message* reply, void* userdata,
                            sd_bus_error* error);
    static int OnNameAnswer(sd_bus_message* message, void* userdata, sd_bus_error* error);

    // The methods of the interface. Each answers its call, or throws std::bad_alloc.
    void Connect(sd_bus_message* call);
    void Disconnect(sd_bus_message* call);
    void Message(sd_bus_message* call);
    void MessageFd(sd_bus_message* call);
    void Notify(sd_bus_message* call);

    // Runs `work`, and answers `call` with an error when it throws.
    template <class Work>
    void Answer(sd_bus_message* call, Work work) noexcept;
    template <Method method>
    static void Execute(Endpoint& endpoint, sd_bus_message* call) noexcept;
    void Hold(CallTurns::Call held);
    // Refuses `call` when its body is larger than the limits allow. Returns whether it is.
    bool RefuseLarge(sd_bus_message* call);
    // The same when its sender `partner` has spent its ration.
    bool RefuseBeyondRation(sd_bus_message* call, const std::string& partner);
    // Runs the application's `handler`. When it throws, answers `call` with what it said, and
    // returns false.
    template <class Handler>
    bool RunHandler(sd_bus_message* call, Handler handler);
    void ReplyError(sd_bus_message* call, const char* name, const std::string& text);
    // Answers a call that is neither executed nor held, ahead of what waits.
    void Refuse(sd_bus_message* call, const std::string& text);
    void Report(bool state, const std::string& partner);

    int AddObject();
    void Export();  // on a connection that has just come up
    int TakeNameBack();
    void Lost();      // undoes it all
    void Answered();  // the bus has taken everything
    void Stuck();     // the bus takes nothing more

    TesselDbusLocal& m_owner;
    const std::string m_busName;
    const std::string m_path;
    const TransportLimits m_limits;  // those in force when it was built

    BusLink m_link;
    UniqueSlot m_object;
    UniqueSlot m_nameAnswer;
    BusProbe m_probe;
    Outbox m_outbox;
    PartnerTracker m_partners;
    CallTurns m_turns;
    ReplyRations m_rations;
    int m_retakes = 0;       // how often the name is still asked for again on this connection
    bool m_owned = false;    // there is a bus now, and the name on it is ours
    bool m_isBuilt = false;  // the constructor has finished
    // Notifications to the default destination so far, merged and dropped ones included.
    std::uint64_t m_serial = 0;
};

}  // namespace applist
