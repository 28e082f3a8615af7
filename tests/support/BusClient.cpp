// SPDX-License-Identifier: MIT

#include "support/BusClient.h"

#include <fcntl.h>

#include <chrono>
#include <cstring>
#include <stdexcept>

#include "support/TestLoop.h"

namespace {

const char kService[] = "org.tessel.Local.Applist";
const char kPath[] = "/org/tessel/Local/Applist";
const char kInterface[] = "org.tessel.Local1";
const char kDriver[] = "org.freedesktop.DBus";
const char kDriverPath[] = "/org/freedesktop/DBus";

std::string BytesOf(sd_bus_message* message) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_read_array(message, 'y', &bytes, &size) < 0) return "not an array of bytes";
    return std::string(static_cast<const char*>(bytes), size);
}

// A variant that holds a number of 32 or of 64 bits.
void ReadNumber(sd_bus_message* message, std::uint64_t& number) {
    const char* contents = "";
    sd_bus_message_peek_type(message, nullptr, &contents);
    if (std::string(contents) == "t") {
        sd_bus_message_read(message, "v", "t", &number);
        return;
    }
    std::uint32_t small = 0;
    sd_bus_message_read(message, "v", "u", &small);
    number = small;
}

void ReadReply(sd_bus_message* message, Answer& answer) {
    answer.signature = sd_bus_message_get_signature(message, 1);
    if (answer.signature == "ay") {
        answer.body = BytesOf(message);
    } else if (answer.signature == "s") {
        const char* text = "";
        sd_bus_message_read(message, "s", &text);
        answer.body = text;
    } else if (answer.signature == "u" || answer.signature == "b") {
        std::uint32_t number = 0;
        sd_bus_message_read(message, answer.signature.c_str(), &number);
        answer.number = number;
    } else if (answer.signature == "v") {
        ReadNumber(message, answer.number);
    } else if (answer.signature == "h") {
        int fd = -1;
        sd_bus_message_read(message, "h", &fd);
        answer.fd = std::make_shared<TestFd>(fcntl(fd, F_DUPFD_CLOEXEC, 3));
    }
}

int AppendBytes(sd_bus_message* message, const std::string& body) {
    return sd_bus_message_append_array(message, 'y', body.data(), body.size());
}

}  // namespace

struct BusClient::Pending {
    ~Pending() { sd_bus_slot_unref(slot); }
    BusClient* client;
    std::string member;
    PendingAnswer answer;
    sd_bus_slot* slot;
};

BusClient::BusClient(const std::string& address) {
    sd_bus* made = nullptr;
    Check(sd_bus_new(&made), "sd_bus_new");
    m_bus.reset(made);
    Check(sd_bus_set_address(m_bus.get(), address.c_str()), "sd_bus_set_address");
    Check(sd_bus_set_bus_client(m_bus.get(), 1), "sd_bus_set_bus_client");
    Check(sd_bus_set_close_on_exit(m_bus.get(), 0), "sd_bus_set_close_on_exit");
    Check(sd_bus_start(m_bus.get()), "sd_bus_start");
    Check(sd_bus_add_filter(m_bus.get(), nullptr, OnSignal, this), "sd_bus_add_filter");
    Check(sd_bus_attach_event(m_bus.get(), TestLoop(), SD_EVENT_PRIORITY_NORMAL),
          "sd_bus_attach_event");
    if (!RunUntil([this] { return sd_bus_is_ready(m_bus.get()) != 0; }) ||
        sd_bus_is_ready(m_bus.get()) < 0) {
        throw std::runtime_error("a client cannot reach the bus at " + address);
    }
    const char* name = nullptr;
    Check(sd_bus_get_unique_name(m_bus.get(), &name), "sd_bus_get_unique_name");
    m_name = name;
}

BusClient::~BusClient() {
    m_pending.clear();
}

void BusClient::Check(int result, const char* what) const {
    if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
}

void BusClient::Match(const std::string& rule) {
    const Answer answer =
        Wait(StartAny(kDriver, kDriverPath, kDriver, "AddMatch", [&](sd_bus_message* call) {
            return sd_bus_message_append(call, "s", rule.c_str());
        }));
    if (!answer.error.empty()) throw std::runtime_error("AddMatch: " + answer.text);
}

void BusClient::Subscribe() {
    if (m_channel) return;
    Match(std::string("type='signal',interface='") + kInterface + "'");
}

Answer BusClient::TakeChannel() {
    Answer answer = Wait(Start("Channel"));
    if (!answer.error.empty()) return answer;
    const int socket = fcntl(answer.fd->Get(), F_DUPFD_CLOEXEC, 3);
    answer.fd.reset();
    sd_bus* made = nullptr;
    Check(sd_bus_new(&made), "sd_bus_new");
    m_channel.reset(made);
    Check(sd_bus_set_fd(made, socket, socket), "sd_bus_set_fd");
    Check(sd_bus_negotiate_fds(made, 1), "sd_bus_negotiate_fds");
    Check(sd_bus_set_close_on_exit(made, 0), "sd_bus_set_close_on_exit");
    Check(sd_bus_start(made), "sd_bus_start");
    Check(sd_bus_add_filter(made, nullptr, OnSignal, this), "sd_bus_add_filter");
    Check(sd_bus_attach_event(made, TestLoop(), SD_EVENT_PRIORITY_NORMAL), "sd_bus_attach_event");
    return answer;
}

sd_bus* BusClient::Carrier(const char* destination) const {
    return std::strcmp(destination, kService) == 0 ? ToEndpoint() : m_bus.get();
}

void BusClient::StopReading() {
    Check(sd_bus_detach_event(ToEndpoint()), "sd_bus_detach_event");
}

void BusClient::ReadAgain() {
    Check(sd_bus_attach_event(ToEndpoint(), TestLoop(), SD_EVENT_PRIORITY_NORMAL),
          "sd_bus_attach_event");
}

void BusClient::ReadAside() {
    StopReading();
    m_reader = std::make_unique<ReaderAside>(sd_bus_get_fd(m_channel.get()));
    ReadAgain();
}

BusClient::PendingAnswer BusClient::StartRead(const char* property) {
    return StartAny(kService, kPath, "org.freedesktop.DBus.Properties", "Get",
                    [property](sd_bus_message* call) {
                        return sd_bus_message_append(call, "ss", kInterface, property);
                    });
}

BusClient::PendingAnswer BusClient::Start(const char* member) {
    return StartAny(kService, kPath, kInterface, member, [](sd_bus_message*) { return 0; });
}

BusClient::PendingAnswer BusClient::Start(const char* member, const std::string& body) {
    return StartAny(kService, kPath, kInterface, member,
                    [&](sd_bus_message* call) { return AppendBytes(call, body); });
}

BusClient::PendingAnswer BusClient::StartFd(int fd) {
    return StartAny(kService, kPath, kInterface, "MessageFd",
                    [fd](sd_bus_message* call) { return sd_bus_message_append(call, "h", fd); });
}

BusClient::PendingAnswer BusClient::StartAny(const char* destination, const char* path,
                                             const char* interface, const char* member,
                                             const Appender& append) {
    using std::chrono::microseconds;
    sd_bus_message* call = nullptr;
    sd_bus* const carrier = Carrier(destination);
    Check(sd_bus_message_new_method_call(carrier, &call, destination, path, interface, member),
          "sd_bus_message_new_method_call");
    std::unique_ptr<Pending> pending(
        new Pending{this, member, std::make_shared<Answer>(), nullptr});
    const PendingAnswer answer = pending->answer;
    int result = append(call);
    if (result >= 0) {
        result = sd_bus_call_async(carrier, &pending->slot, call, OnAnswer, pending.get(),
                                   static_cast<std::uint64_t>(microseconds(kTestDeadline).count()));
    }
    sd_bus_message_unref(call);
    Check(result, member);
    m_pending.emplace(pending.get(), std::move(pending));
    return answer;
}

Answer BusClient::Wait(const PendingAnswer& answer) {
    if (!RunUntil([&] { return answer->arrived; })) {
        answer->error = "no answer before the test's deadline";
    }
    return *answer;
}

void BusClient::SendWithoutReply(const char* member, const std::string& body) {
    sd_bus_message* call = nullptr;
    sd_bus* const carrier = Carrier(kService);
    Check(sd_bus_message_new_method_call(carrier, &call, kService, kPath, kInterface, member),
          "sd_bus_message_new_method_call");
    int result = AppendBytes(call, body);
    if (result >= 0) result = sd_bus_message_set_expect_reply(call, 0);
    if (result >= 0) result = sd_bus_send(carrier, call, nullptr);
    sd_bus_message_unref(call);
    Check(result, member);
}

bool BusClient::Own(const std::string& name) {
    const std::uint32_t doNotQueue = 4;
    const Answer answer =
        Wait(StartAny(kDriver, kDriverPath, kDriver, "RequestName", [&](sd_bus_message* call) {
            return sd_bus_message_append(call, "su", name.c_str(), doNotQueue);
        }));
    return answer.error.empty() && answer.number == 1;
}

bool BusClient::WaitForOwner(const std::string& name) {
    return WaitForOwned(name, true);
}

bool BusClient::WaitForNoOwner(const std::string& name) {
    return WaitForOwned(name, false);
}

bool BusClient::WaitForOwned(const std::string& name, bool owned) {
    m_owners.erase(name);
    Match(std::string("type='signal',sender='") + kDriver + "',member='NameOwnerChanged',arg0='" +
          name + "'");
    const Answer answer =
        Wait(StartAny(kDriver, kDriverPath, kDriver, "NameHasOwner", [&](sd_bus_message* call) {
            return sd_bus_message_append(call, "s", name.c_str());
        }));
    if (m_owners.count(name) == 0) m_owners[name] = answer.number == 1 ? "somebody" : "";
    return RunUntil([&] { return m_owners[name].empty() != owned; });
}

int BusClient::OnAnswer(sd_bus_message* message, void* userdata, sd_bus_error*) {
    Pending* const pending = static_cast<Pending*>(userdata);
    BusClient& client = *pending->client;
    Answer& answer = *pending->answer;
    const sd_bus_error* error = sd_bus_message_get_error(message);
    if (error != nullptr) {
        answer.error = error->name;
        answer.text = error->message == nullptr ? "" : error->message;
        client.m_arrivals.push_back("error " + answer.error);
    } else {
        ReadReply(message, answer);
        client.m_arrivals.push_back("reply " + pending->member);
    }
    answer.arrived = true;
    client.m_pending.erase(pending);
    return 1;  // a reply's callback, see bus/SdBus.h
}

int BusClient::OnSignal(sd_bus_message* message, void* userdata, sd_bus_error*) {
    BusClient& client = *static_cast<BusClient*>(userdata);
    if (sd_bus_message_is_signal(message, kInterface, "Notification") > 0) {
        client.m_arrivals.push_back("notification " + BytesOf(message));
    } else if (sd_bus_message_is_signal(message, kInterface, "Lost") > 0) {
        client.m_arrivals.push_back("lost");
    } else if (sd_bus_message_is_signal(message, kDriver, "NameOwnerChanged") > 0) {
        const char* name = nullptr;
        const char* before = nullptr;
        const char* now = nullptr;
        if (sd_bus_message_read(message, "sss", &name, &before, &now) >= 0) {
            client.m_owners[name] = now;
        }
        sd_bus_message_rewind(message, 1);
    }
    return 0;
}
