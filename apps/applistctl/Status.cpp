// SPDX-License-Identifier: MIT

// Asks the bus and the service directly, and never calls Connect: a partner that only looks would
// be counted among the partners.

#include "apps/applistctl/Status.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

#include "apps/applistctl/Commands.h"
#include "apps/applistctl/ItemFile.h"
#include "apps/applistctl/Waiting.h"
#include "apps/common/ItemLines.h"
#include "bus/BusLink.h"
#include "bus/BusNames.h"
#include "bus/EndpointNames.h"
#include "bus/SealedMemfd.h"
#include "common/AppListRemoteControl.h"
#include "remote/RemoteErrors.h"

namespace applist::ctl {

namespace {

const char kEndpoint[] = "Applist";
const char kProperties[] = "org.freedesktop.DBus.Properties";

using Append = std::function<int(sd_bus_message* call)>;

// An answer to a question: a reply, or an error that the other end gave.
struct Answer {
    UniqueMessage reply;
    std::string error;  // its D-Bus name; empty for a reply
    std::string text;
};

// Whether the other end does not know, or will not tell. A connection that has ended is an error,
// too, and no reason to leave something out.
bool IsUntold(const Answer& answer) {
    for (const char* name :
         {SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_NOT_SUPPORTED, SD_BUS_ERROR_UNKNOWN_INTERFACE,
          SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNIX_PROCESS_ID_UNKNOWN}) {
        if (answer.error == name) return true;
    }
    return false;
}

class Questions {
public:
    explicit Questions(const Options& options)
        : m_timeout(std::chrono::microseconds(options.timeout)),
          m_link([this] { SetUp(); }, [this] { m_changes.reset(); }) {
        m_link.Open();
    }
    ~Questions() { m_link.Close(); }
    Questions(const Questions&) = delete;
    Questions& operator=(const Questions&) = delete;

    // Since the last question for the owner somebody has become it, or may have.
    bool HasNewOwner() const { return m_hasNewOwner; }

    Status Ask();

private:
    static int OnOwnerChanged(sd_bus_message* signal, void* self, sd_bus_error* error);

    void SetUp();
    Answer Call(const std::string& callee, const char* path, const char* interface,
                const char* member, const Append& append) const;
    UniqueMessage Required(Answer answer) const;
    std::string Owner();
    std::optional<std::uint32_t> PidOf(const std::string& owner) const;
    std::optional<std::string> ProgramOf(std::uint32_t pid) const;
    std::vector<Entry> ItemsFrom(const std::string& owner, std::int32_t function) const;
    std::vector<char> LargeReply(const std::string& owner, const std::vector<char>& request) const;
    void ReadProperties(Status& status) const;
    void ReadProperty(sd_bus_message* reply, Status& status) const;

    const std::chrono::microseconds m_timeout;
    const RemoteErrors m_errors = RemoteErrors(kEndpoint);
    const std::string m_name = endpoint_names::BusNameOf(kEndpoint);
    const std::string m_path = endpoint_names::PathOf(kEndpoint);
    bool m_hasNewOwner = false;
    BusLink m_link;
    UniqueSlot m_changes;
};

void Questions::SetUp() {
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

int Questions::OnOwnerChanged(sd_bus_message* signal, void* self, sd_bus_error*) {
    if (bus_names::IsFromDriver(signal)) static_cast<Questions*>(self)->m_hasNewOwner = true;
    return 0;
}

// Calls nobody by a name that the bus could start somebody for.
Answer Questions::Call(const std::string& callee, const char* path, const char* interface,
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

UniqueMessage Questions::Required(Answer answer) const {
    if (!answer.error.empty()) throw m_errors.FromBus(answer.error, answer.text);
    return std::move(answer.reply);
}

std::string Questions::Owner() {
    m_hasNewOwner = false;
    Answer answer = Call(
        bus_names::kDriver, bus_names::kDriverPath, bus_names::kDriver, "GetNameOwner",
        [this](sd_bus_message* call) { return sd_bus_message_append(call, "s", m_name.c_str()); });
    if (answer.error == SD_BUS_ERROR_NAME_HAS_NO_OWNER) {
        throw m_errors.NoService(m_link.Location().description);
    }
    const char* owner = nullptr;
    const UniqueMessage reply = Required(std::move(answer));
    if (sd_bus_message_read(reply.get(), "s", &owner) < 0) throw m_errors.NotUnderstood();
    return owner;
}

std::optional<std::uint32_t> Questions::PidOf(const std::string& owner) const {
    Answer answer = Call(bus_names::kDriver, bus_names::kDriverPath, bus_names::kDriver,
                         "GetConnectionUnixProcessID", [&](sd_bus_message* call) {
                             return sd_bus_message_append(call, "s", owner.c_str());
                         });
    if (IsUntold(answer)) return std::nullopt;
    std::uint32_t pid = 0;
    const UniqueMessage reply = Required(std::move(answer));
    if (sd_bus_message_read(reply.get(), "u", &pid) < 0) throw m_errors.NotUnderstood();
    return pid;
}

// The number means something on the machine of the bus, and that is this one only behind a socket
// of this machine.
std::optional<std::string> Questions::ProgramOf(std::uint32_t pid) const {
    if (m_link.Location().address.compare(0, 5, "unix:") != 0) return std::nullopt;
    try {
        std::string program = ReadText("/proc/" + std::to_string(pid) + "/comm");
        if (!program.empty() && program.back() == '\n') program.pop_back();
        return program;
    } catch (const InputError&) {
        return std::nullopt;
    }
}

std::vector<char> Questions::LargeReply(const std::string& owner,
                                        const std::vector<char>& request) const {
    if (sd_bus_can_send(m_link.Bus(), SD_BUS_TYPE_UNIX_FD) <= 0) throw m_errors.ReplyTooLarge();
    const OwnedFd body = MakeSealedBody(request);
    if (body.Get() < 0) throw m_errors.NotSent(-body.Get());
    const UniqueMessage reply = Required(
        Call(owner, m_path.c_str(), endpoint_names::kInterface, "MessageFd",
             [&](sd_bus_message* call) { return sd_bus_message_append(call, "h", body.Get()); }));
    int fd = -1;
    std::vector<char> bytes;
    if (sd_bus_message_read(reply.get(), "h", &fd) < 0 ||
        !WhyNoSealedBody(fd, transport_limits::kMaxFdBytes).empty() ||
        ReadSealedBody(fd, bytes) < 0) {
        throw m_errors.NotUnderstood();
    }
    return bytes;
}

std::vector<Entry> Questions::ItemsFrom(const std::string& owner, std::int32_t function) const {
    std::vector<char> request(sizeof(function));
    std::memcpy(request.data(), &function, sizeof(function));
    Answer answer = Call(
        owner, m_path.c_str(), endpoint_names::kInterface, "Message", [&](sd_bus_message* call) {
            return sd_bus_message_append_array(call, 'y', request.data(), request.size());
        });
    std::string text;
    if (answer.error == endpoint_names::kTooLarge) {
        const std::vector<char> bytes = LargeReply(owner, request);
        text.assign(bytes.begin(), bytes.end());
    } else {
        const UniqueMessage reply = Required(std::move(answer));
        const void* bytes = nullptr;
        std::size_t size = 0;
        if (sd_bus_message_read_array(reply.get(), 'y', &bytes, &size) < 0) {
            throw m_errors.NotUnderstood();
        }
        text.assign(static_cast<const char*>(bytes), size);
    }
    try {
        return EntriesOf(ReadItemLines(text, "the reply"));
    } catch (const InputError&) {
        throw m_errors.NotUnderstood();
    }
}

// A service that is not of this project, or a policy, may keep them to itself.
void Questions::ReadProperties(Status& status) const {
    Answer answer =
        Call(status.owner, m_path.c_str(), kProperties, "GetAll", [](sd_bus_message* call) {
            return sd_bus_message_append(call, "s", endpoint_names::kInterface);
        });
    if (IsUntold(answer)) return;
    const UniqueMessage owned = Required(std::move(answer));
    sd_bus_message* const reply = owned.get();
    if (sd_bus_message_enter_container(reply, 'a', "{sv}") < 0) throw m_errors.NotUnderstood();
    while (sd_bus_message_enter_container(reply, 'e', "sv") > 0) {
        ReadProperty(reply, status);
        if (sd_bus_message_exit_container(reply) < 0) throw m_errors.NotUnderstood();
    }
}

void Questions::ReadProperty(sd_bus_message* reply, Status& status) const {
    const char* name = "";
    const char* contents = "";
    int result = sd_bus_message_read(reply, "s", &name);
    if (result >= 0) result = sd_bus_message_peek_type(reply, nullptr, &contents);
    if (result < 0) throw m_errors.NotUnderstood();
    if (std::strcmp(name, "Partners") == 0 && std::strcmp(contents, "u") == 0) {
        result = sd_bus_message_read(reply, "v", "u", &status.partners.emplace());
    } else if (std::strcmp(name, "Serial") == 0 && std::strcmp(contents, "t") == 0) {
        result = sd_bus_message_read(reply, "v", "t", &status.serial.emplace());
    } else {
        result = sd_bus_message_skip(reply, "v");
    }
    if (result < 0) throw m_errors.NotUnderstood();
}

Status Questions::Ask() {
    Status status;
    status.bus = m_link.Location().description;
    status.owner = Owner();
    status.items = ItemsFrom(status.owner, APPLIST_GET_ALL_ITEMS_FNC).size();
    const std::vector<Entry> selection = ItemsFrom(status.owner, APPLIST_GET_SELECTION_FNC);
    if (selection.empty()) throw m_errors.NotUnderstood();
    if (status.items > 0 || !(selection.front() == Entry())) status.selection = selection.front();
    status.pid = PidOf(status.owner);
    if (status.pid) status.program = ProgramOf(*status.pid);
    ReadProperties(status);
    return status;
}

}  // namespace

void RunStatus(const Options& options, const Output& output) {
    Questions questions(options);
    Status status;
    AskService(
        options, [&] { return questions.HasNewOwner(); }, [&] { status = questions.Ask(); });
    output.Print(status);
}

}  // namespace applist::ctl
