// SPDX-License-Identifier: MIT

#include "platform/CallMessage.h"

#include <cstring>
#include <new>
#include <system_error>
#include <utility>

namespace applist {

std::string SenderOf(sd_bus_message* call) {
    const char* sender = sd_bus_message_get_sender(call);
    return sender == nullptr ? std::string() : std::string(sender);
}

// The bus library has checked the signature.
std::pair<const char*, std::size_t> BytesOf(sd_bus_message* call) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    // All that can be wanting is memory; an empty request would be answered as if it were executed.
    if (sd_bus_message_read_array(call, 'y', &bytes, &size) < 0) throw std::bad_alloc();
    return {static_cast<const char*>(bytes), size};
}

std::string ReadFdBody(sd_bus_message* call, std::size_t limit, std::vector<char>& body) {
    int fd = -1;  // the message's own: not to be closed here
    if (sd_bus_message_read(call, "h", &fd) < 0) return "the message carries no descriptor";
    std::string refusal = WhyNoSealedBody(fd, limit);
    if (!refusal.empty()) return refusal;
    const int result = ReadSealedBody(fd, body);
    return result < 0 ? std::strerror(-result) : std::string();
}

// Counts what a descriptor stands for as well: a call of a few bytes can keep a memfd of a gigabyte
// alive. What the sender claims is enough here, as a lie only costs its own share.
std::uint64_t BodyBytesOf(sd_bus_message* call) {
    const void* bytes = nullptr;
    std::size_t inMessage = 0;
    std::uint64_t inMemfd = 0;
    int fd = -1;
    int result = 0;
    if (sd_bus_message_has_signature(call, "ay") > 0) {
        result = sd_bus_message_read_array(call, 'y', &bytes, &inMessage);
    } else if (sd_bus_message_has_signature(call, "h") > 0) {
        result = sd_bus_message_read(call, "h", &fd);
        if (result >= 0) inMemfd = SizeOfMemfd(fd);
    }
    // Uncounted, it would pass every limit. As in BytesOf, all that can be wanting is memory.
    if (result < 0) throw std::bad_alloc();
    sd_bus_message_rewind(call, 1);
    return inMessage + inMemfd;
}

UniqueMessage ReplyTo(sd_bus_message* call) {
    sd_bus_message* reply = nullptr;
    if (sd_bus_message_new_method_return(call, &reply) < 0) throw std::bad_alloc();
    return UniqueMessage(reply);
}

UniqueMessage ErrorFor(sd_bus_message* call, const char* name, const std::string& text) {
    // CONST here means that the error does not own its texts; the message copies them.
    const sd_bus_error error = SD_BUS_ERROR_MAKE_CONST(name, text.c_str());
    sd_bus_message* reply = nullptr;
    if (sd_bus_message_new_method_error(call, &reply, &error) < 0) throw std::bad_alloc();
    return UniqueMessage(reply);
}

bool SetBody(const UniqueMessage& reply, const std::vector<char>& body) {
    return sd_bus_message_append_array(reply.get(), 'y', body.data(), body.size()) >= 0;
}

// The message has a duplicate of the descriptor, behind which there is the same memory.
FdReply::FdReply(sd_bus_message* call) : m_fd(MakeMemfd()), m_message(ReplyTo(call)) {
    int result = m_fd.Get();
    if (result >= 0) result = sd_bus_message_append(m_message.get(), "h", m_fd.Get());
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "no descriptor for a reply");
    }
}

UniqueMessage FdReply::With(const std::vector<char>& body) && {
    if (FillAndSeal(m_fd.Get(), body) < 0) return nullptr;
    return std::move(m_message);
}

}  // namespace applist
