// SPDX-License-Identifier: MIT

#include "apps/applistctl/Onlooker.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "apps/applistctl/ItemFile.h"
#include "apps/common/ItemLines.h"
#include "apps/common/ReadText.h"
#include "bus/BusNames.h"
#include "bus/EndpointNames.h"
#include "bus/SealedMemfd.h"

namespace applist::ctl {

namespace {

const char kEndpoint[] = "Applist";

}  // namespace

bool IsUntold(const Answer& answer) {
    for (const char* name : {SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_NOT_SUPPORTED,
                             SD_BUS_ERROR_UNKNOWN_INTERFACE, SD_BUS_ERROR_UNKNOWN_METHOD,
                             SD_BUS_ERROR_UNKNOWN_PROPERTY, SD_BUS_ERROR_UNIX_PROCESS_ID_UNKNOWN}) {
        if (answer.error == name) return true;
    }
    return false;
}

Onlooker::Onlooker(const Options& options)
    : m_timeout(std::chrono::microseconds(options.timeout)),
      m_errors(kEndpoint),
      m_name(endpoint_names::BusNameOf(kEndpoint)),
      m_path(endpoint_names::PathOf(kEndpoint)),
      m_link([this] { SetUp(); }, [this] { m_changes.reset(); }) {
    m_link.Open();
}

void Onlooker::SetUp() {
    sd_bus_slot* slot = nullptr;
    int result = sd_bus_attach_event(m_link.Bus(), m_link.Loop(), SD_EVENT_PRIORITY_NORMAL);
    if (result >= 0) {
        // Not waited for: the bus handles it before whatever is asked afterwards.
        result =
            sd_bus_add_match_async(m_link.Bus(), &slot, bus_names::OwnerChangesOf(m_name).c_str(),
                                   OnOwnerChanged, nullptr, this);
    }
    m_changes.reset(slot);
    if (result < 0) throw m_errors.NotSent(-result);
    m_hasNewOwner = true;
    m_link.Settled();
}

int Onlooker::OnOwnerChanged(sd_bus_message* signal, void* self, sd_bus_error*) {
    if (bus_names::IsFromDriver(signal)) static_cast<Onlooker*>(self)->m_hasNewOwner = true;
    return 0;
}

// Calls nobody by a name that the bus could start somebody for.
Answer Onlooker::Call(const std::string& callee, const char* path, const char* interface,
                      const char* member, const Append& append) const {
    sd_bus_message* made = nullptr;
    int result = m_link.Bus() == nullptr ? -ENOTCONN : 0;
    if (result >= 0) {
        result = sd_bus_message_new_method_call(m_link.Bus(), &made, callee.c_str(), path,
                                                interface, member);
    }
    const UniqueMessage call(made);
    if (result >= 0) result = sd_bus_message_set_auto_start(made, 0);
    if (result >= 0) result = append(made);
    if (result < 0) throw m_errors.NotSent(-result);
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    result = sd_bus_call(m_link.Bus(), made, static_cast<std::uint64_t>(m_timeout.count()), &error,
                         &reply);
    Answer answer = {UniqueMessage(reply), error.name == nullptr ? "" : error.name,
                     error.message == nullptr ? "" : error.message};
    sd_bus_error_free(&error);
    if (result == -ETIMEDOUT) throw m_errors.NoAnswer();
    if (result >= 0 && !bus_names::IsAnswerOf(callee, reply)) throw m_errors.NotUnderstood();
    if (result < 0 && answer.error.empty()) throw m_errors.NotSent(-result);
    return answer;
}

Answer Onlooker::AskService(const std::string& owner, const char* interface, const char* member,
                            const Append& append) const {
    return Call(owner, m_path.c_str(), interface, member, append);
}

Answer Onlooker::AskBus(const char* member, const std::string& name) const {
    return Call(
        bus_names::kDriver, bus_names::kDriverPath, bus_names::kDriver, member,
        [&](sd_bus_message* call) { return sd_bus_message_append(call, "s", name.c_str()); });
}

UniqueMessage Onlooker::Required(Answer answer) const {
    if (!answer.error.empty()) throw m_errors.FromBus(answer.error, answer.text);
    return std::move(answer.reply);
}

std::string Onlooker::Owner() {
    m_hasNewOwner = false;
    Answer answer = AskBus("GetNameOwner", m_name);
    if (answer.error == SD_BUS_ERROR_NAME_HAS_NO_OWNER) {
        throw m_errors.NoService(m_link.Location().description);
    }
    const char* owner = nullptr;
    const UniqueMessage reply = Required(std::move(answer));
    if (sd_bus_message_read(reply.get(), "s", &owner) < 0) throw m_errors.NotUnderstood();
    return owner;
}

std::string Onlooker::LargeReply(const std::string& owner, const std::vector<char>& request) const {
    if (sd_bus_can_send(m_link.Bus(), SD_BUS_TYPE_UNIX_FD) <= 0) throw m_errors.ReplyTooLarge();
    const OwnedFd body = MakeSealedBody(request);
    if (body.Get() < 0) throw m_errors.NotSent(-body.Get());
    const UniqueMessage reply = Required(AskService(
        owner, endpoint_names::kInterface, "MessageFd",
        [&](sd_bus_message* call) { return sd_bus_message_append(call, "h", body.Get()); }));
    int fd = -1;
    std::vector<char> bytes;
    if (sd_bus_message_read(reply.get(), "h", &fd) < 0 ||
        !WhyNoSealedBody(fd, transport_limits::kMaxFdBytes).empty() ||
        ReadSealedBody(fd, bytes) < 0) {
        throw m_errors.NotUnderstood();
    }
    return std::string(bytes.begin(), bytes.end());
}

std::string Onlooker::TextFrom(const std::string& owner, std::int32_t function) const {
    std::vector<char> request(sizeof(function));
    std::memcpy(request.data(), &function, sizeof(function));
    Answer answer =
        AskService(owner, endpoint_names::kInterface, "Message", [&](sd_bus_message* call) {
            return sd_bus_message_append_array(call, 'y', request.data(), request.size());
        });
    if (answer.error == endpoint_names::kTooLarge) return LargeReply(owner, request);
    const UniqueMessage reply = Required(std::move(answer));
    const void* bytes = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_read_array(reply.get(), 'y', &bytes, &size) < 0) {
        throw m_errors.NotUnderstood();
    }
    return std::string(static_cast<const char*>(bytes), size);
}

std::vector<Entry> Onlooker::ItemsFrom(const std::string& owner, std::int32_t function) const {
    const std::string text = TextFrom(owner, function);
    try {
        return EntriesOf(ReadItemLines(text, "the reply"));
    } catch (const InputError&) {
        throw m_errors.NotUnderstood();
    }
}

}  // namespace applist::ctl
