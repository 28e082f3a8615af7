// SPDX-License-Identifier: MIT

#include "partner/bus/HostileService.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "bus/ChannelEnd.h"
#include "common/AppListRemoteControl.h"
#include "support/TestFd.h"
#include "support/TestLoop.h"

namespace {

void Check(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
}

// The body of a call of Message or MessageFd.
std::string BodyOf(sd_bus_message* call) {
    if (sd_bus_message_has_signature(call, "h") > 0) {
        int fd = -1;
        Check(sd_bus_message_read(call, "h", &fd), "reading a descriptor");
        return ContentOf(fd);
    }
    const void* bytes = nullptr;
    std::size_t size = 0;
    Check(sd_bus_message_read_array(call, 'y', &bytes, &size), "reading a body");
    return std::string(static_cast<const char*>(bytes), size);
}

int MessageIdOf(const std::string& body) {
    int id = 0;
    if (body.size() >= sizeof(id)) {
        std::memcpy(&id, body.data() + body.size() - sizeof(id), sizeof(id));
    }
    return id;
}

}  // namespace

HostileService::HostileService(const std::string& address) {
    Check(sd_bus_new(&m_bus), "a connection");
    Check(sd_bus_set_address(m_bus, address.c_str()), "the address");
    Check(sd_bus_set_bus_client(m_bus, 1), "a client");
    Check(sd_bus_start(m_bus), "starting");
    Check(sd_bus_add_object(m_bus, &m_object, "/org/tessel/Local/Applist", OnCall, this), "object");
    Check(sd_bus_request_name(m_bus, "org.tessel.Local.Applist",
                              SD_BUS_NAME_ALLOW_REPLACEMENT | SD_BUS_NAME_REPLACE_EXISTING),
          "the name");
    Check(sd_bus_attach_event(m_bus, TestLoop(), SD_EVENT_PRIORITY_NORMAL), "the loop");
}

HostileService::~HostileService() {
    sd_bus_slot_unref(m_object);
    sd_bus_flush_close_unref(m_bus);
}

int HostileService::ReplyText(sd_bus_message* call, const std::string& text) {
    if (sd_bus_message_is_method_call(call, nullptr, "MessageFd") > 0) {
        const TestFd fd = MemfdOf(text);
        return sd_bus_reply_method_return(call, "h", fd.Get());
    }
    sd_bus_message* reply = nullptr;
    int result = sd_bus_message_new_method_return(call, &reply);
    if (result >= 0) result = sd_bus_message_append_array(reply, 'y', text.data(), text.size());
    if (result >= 0) result = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return result;
}

int HostileService::GiveChannel(sd_bus_message* call) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) < 0) return -errno;
    const TestFd partners(ends[1]);
    m_channel = applist::OpenServiceEnd(applist::OwnedFd(ends[0]));
    Check(sd_bus_add_object(m_channel.get(), nullptr, "/org/tessel/Local/Applist", OnCall, this),
          "the object on a channel");
    Check(sd_bus_attach_event(m_channel.get(), TestLoop(), SD_EVENT_PRIORITY_NORMAL), "the loop");
    return sd_bus_reply_method_return(call, "h", partners.Get());
}

void HostileService::CutChannel() {
    m_channel.reset();
}

void HostileService::LeaveChannel() {
    Check(sd_bus_flush(m_channel.get()), "flushing a channel");
    Check(shutdown(sd_bus_get_fd(m_channel.get()), SHUT_WR), "shutting a channel down");
}

void HostileService::IgnoreChannel() {
    sd_bus_detach_event(m_channel.get());
}

void HostileService::Notify(const std::string& body) {
    Signal(Connection(), body, nullptr);
    ++m_serial;
}

void HostileService::SayLost() {
    Check(sd_bus_emit_signal(Connection(), "/org/tessel/Local/Applist", "org.tessel.Local1", "Lost",
                             ""),
          "saying so");
}

void HostileService::NotifyOnly(const std::string& partner, const std::string& body) {
    Signal(m_bus, body, partner.c_str());
}

void HostileService::Signal(sd_bus* connection, const std::string& body, const char* destination) {
    sd_bus_message* signal = nullptr;
    Check(sd_bus_message_new_signal(connection, &signal, "/org/tessel/Local/Applist",
                                    "org.tessel.Local1", "Notification"),
          "a signal");
    Check(sd_bus_message_append_array(signal, 'y', body.data(), body.size()), "its body");
    Check(destination == nullptr ? sd_bus_send(connection, signal, nullptr)
                                 : sd_bus_send_to(connection, signal, destination, nullptr),
          "sending it");
    sd_bus_message_unref(signal);
}

std::string HostileService::Name() const {
    const char* name = nullptr;
    Check(sd_bus_get_unique_name(m_bus, &name), "its name");
    return name;
}

void HostileService::Flush() {
    Check(sd_bus_flush(m_bus), "flushing");
}

std::size_t HostileService::CountOf(const std::string& member) const {
    return static_cast<std::size_t>(std::count(m_calls.begin(), m_calls.end(), member));
}

int HostileService::OnCall(sd_bus_message* call, void* userdata, sd_bus_error*) {
    const int result = static_cast<HostileService*>(userdata)->Handle(call);
    return result < 0 ? result : 1;
}

int HostileService::Handle(sd_bus_message* call) {
    const std::string member = sd_bus_message_get_member(call);
    m_calls.push_back(member);
    const char* const sender = sd_bus_message_get_sender(call);
    (sender == nullptr ? m_overChannel : m_overBus).push_back(member);
    if (sender != nullptr) m_lastCaller = sender;
    if (member == "Channel") return m_answerChannel(call);
    if (member == "Connect") return m_answerConnect(call);
    if (member == "Get") return m_answerSerial(call);
    if (member != "Message" && member != "MessageFd") return sd_bus_reply_method_return(call, "");
    const std::string body = BodyOf(call);
    switch (MessageIdOf(body)) {
        case APPLIST_GET_ALL_ITEMS_FNC: return m_answerList(call);
        case APPLIST_GET_SELECTION_FNC: return m_answerSelection(call);
        default: m_written.push_back(body); return m_answerWrite(call);
    }
}
