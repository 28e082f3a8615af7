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
    // What is answered to Connect.
    Answer m_answerConnect = [](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "");
    };
    // What is answered to a read of the property `Serial`; as a rule, the truth.
    Answer m_answerSerial = [this](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "v", "t", m_serial);
    };

    // Replies with `text` as an array of bytes.
    static int ReplyText(sd_bus_message* call, const std::string& text);

    // Broadcasts a notification with this body.
    void Notify(const std::string& body);
    void TellOfChange() { Notify(std::string("\1\0\0\0", 4)); }
    // Announces itself, which makes a partner compare soon, and do nothing else.
    void Announce() { Notify(std::string("\4\0\0\0", 4)); }

    // As Notify, but the bus loses it.
    void NotifyInVain() { ++m_serial; }

    // Notifies `partner` alone, which is not counted.
    void NotifyOnly(const std::string& partner, const std::string& body);

    // Returns when the bus has all that was sent.
    void Flush();

    // The members that were called, in order.
    std::vector<std::string> m_calls;
    std::size_t CountOf(const std::string& member) const;

    // The bus name of who called last.
    std::string m_lastCaller;

private:
    void Signal(const std::string& body, const char* destination);
    static int OnCall(sd_bus_message* call, void* userdata, sd_bus_error* error);
    int Handle(sd_bus_message* call);

    sd_bus* m_bus = nullptr;
    sd_bus_slot* m_object = nullptr;
    std::uint64_t m_serial = 0;
};
