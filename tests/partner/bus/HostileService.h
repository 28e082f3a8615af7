// SPDX-License-Identifier: MIT

// A service as no one of ours would be: it owns the endpoint's name, and a test says, call by call,
// what it answers, if anything, in plain sd-bus.
//
// Threads: one, on whose default loop it answers. Lifetime: leaves the bus with the object.

#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bus/SdBus.h"

class HostileService {
public:
    // Answers `call` and returns a negative errno when that went wrong. Not answering is an answer.
    using Answer = std::function<int(sd_bus_message* call)>;

    // Takes the name from another one of its kind.
    explicit HostileService(const std::string& address);
    ~HostileService();
    HostileService(const HostileService&) = delete;
    HostileService& operator=(const HostileService&) = delete;

    // Its unique name on the bus.
    std::string Name() const;

    // What is answered to calls of `Message` and `MessageFd` that read the list, and the selection.
    // Everything else is answered as the real service does.
    Answer m_answerList = [](sd_bus_message* call) { return ReplyText(call, ""); };
    Answer m_answerSelection = [](sd_bus_message* call) { return ReplyText(call, "\t\n"); };
    // What is answered to the other calls of them.
    Answer m_answerWrite = [](sd_bus_message* call) { return ReplyText(call, ""); };
    // What is answered to Connect.
    Answer m_answerConnect = [](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "");
    };
    // What is answered to Channel; as a rule, what an older service answers. GiveChannel gives one.
    Answer m_answerChannel = [](sd_bus_message* call) {
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_METHOD, "no");
    };
    // What is answered to a read of the property `Serial`; as a rule, the truth.
    Answer m_answerSerial = [this](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "v", "t", m_serial);
    };

    // Replies with `text` as an array of bytes.
    static int ReplyText(sd_bus_message* call, const std::string& text);

    // Replies with one end of a direct channel, over whose other end calls are answered as over the
    // bus. Another one ends the first.
    int GiveChannel(sd_bus_message* call);
    // From now on it gives one to whoever asks.
    void GiveChannels() {
        m_answerChannel = [this](sd_bus_message* call) { return GiveChannel(call); };
    }
    // Ends it at once, without reading what lies in it; or leaves it after a flush, as the real
    // one.
    void CutChannel();
    void LeaveChannel();
    // Reads nothing of it any more.
    void IgnoreChannel();
    sd_bus* Channel() const { return m_channel.get(); }

    // Notifies everyone, over the channel if there is one, with this body.
    void Notify(const std::string& body);
    void TellOfChange() { Notify(std::string("\1\0\0\0", 4)); }
    // Announces itself, which makes a partner compare soon, and do nothing else.
    void Announce() { Notify(std::string("\4\0\0\0", 4)); }

    // Says that it had to drop some, over the channel if there is one.
    void SayLost();

    // Broadcasts one over the bus, whether or not there is a channel.
    void NotifyOverBus(const std::string& body) { Signal(m_bus, body, nullptr); }

    // As Notify, but the bus loses it.
    void NotifyInVain() { ++m_serial; }

    // Notifies `partner` alone, which is not counted.
    void NotifyOnly(const std::string& partner, const std::string& body);

    // Returns when the bus has all that was sent.
    void Flush();

    // The members that were called, in order.
    std::vector<std::string> m_calls;
    std::size_t CountOf(const std::string& member) const;

    // Those of them that came over the bus, and over a channel.
    std::vector<std::string> m_overBus;
    std::vector<std::string> m_overChannel;
    // The bodies of the calls that were neither reads of the list nor of the selection, in order.
    std::vector<std::string> m_written;

    // The bus name of who called over it last.
    std::string m_lastCaller;

private:
    static void Signal(sd_bus* connection, const std::string& body, const char* destination);
    sd_bus* Connection() const {
        return m_channel && sd_bus_is_open(m_channel.get()) > 0 ? m_channel.get() : m_bus;
    }
    static int OnCall(sd_bus_message* call, void* userdata, sd_bus_error* error);
    int Handle(sd_bus_message* call);

    sd_bus* m_bus = nullptr;
    sd_bus_slot* m_object = nullptr;
    applist::UniqueBus m_channel;
    std::uint64_t m_serial = 0;
};
