// SPDX-License-Identifier: MIT

#include "sim/Wire.h"

#include <cstring>

namespace sim {

namespace {

constexpr std::size_t kFixedHeader = 16;

enum Field : unsigned {
    kPath = 1,
    kInterface = 2,
    kMember = 3,
    kErrorName = 4,
    kReplySerial = 5,
    kDestination = 6,
    kSender = 7,
    kSignature = 8,
    kFdCount = 9,
};

std::uint32_t Padded(std::uint32_t size) {
    return (size + 7) / 8 * 8;
}

std::uint32_t NumberAt(const std::string& bytes, std::size_t at) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data() + at, sizeof(number));
    return number;
}

class Writer {
public:
    void Align(std::size_t to) {
        while (m_bytes.size() % to != 0) m_bytes += '\0';
    }
    void Byte(unsigned value) { m_bytes += static_cast<char>(value); }
    void Number(std::uint32_t value) {
        Align(4);
        m_bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
    }
    void Text(const std::string& text) {
        Number(static_cast<std::uint32_t>(text.size()));
        m_bytes.append(text.c_str(), text.size() + 1);
    }
    void Signature(const std::string& text) {
        Byte(static_cast<unsigned>(text.size()));
        m_bytes.append(text.c_str(), text.size() + 1);
    }

    // Header fields; one that is empty is left out.
    void Field(unsigned code, const char* type, const std::string& value) {
        if (value.empty()) return;
        BeginField(code, type);
        if (*type == 'g') return Signature(value);
        Text(value);
    }
    void Field(unsigned code, std::uint32_t value) {
        if (value == 0) return;
        BeginField(code, "u");
        Number(value);
    }

    std::string m_bytes;

private:
    void BeginField(unsigned code, const char* type) {
        Align(8);
        Byte(code);
        Signature(type);
    }
};

// Reads nothing past the end; whoever tries is told so by IsBad.
class Reader {
public:
    Reader(const char* data, std::size_t size) : m_data(data), m_size(size) {}

    void Align(std::size_t to) { m_at = (m_at + to - 1) / to * to; }
    unsigned Byte() {
        if (m_at >= m_size) return Bad();
        return static_cast<unsigned char>(m_data[m_at++]);
    }
    std::uint32_t Number() {
        Align(4);
        if (m_at >= m_size || m_size - m_at < 4) return Bad();
        std::uint32_t value = 0;
        std::memcpy(&value, m_data + m_at, sizeof(value));
        m_at += sizeof(value);
        return value;
    }
    std::string Text() { return Take(Number()); }
    std::string Signature() { return Take(Byte()); }

    bool IsBad() const { return m_isBad; }
    bool AtEnd() const { return m_at >= m_size; }

private:
    unsigned Bad() {
        m_isBad = true;
        m_at = m_size;
        return 0;
    }
    // With the NUL that follows.
    std::string Take(std::size_t size) {
        if (m_at >= m_size || m_size - m_at <= size) return Bad(), std::string();
        const std::string text(m_data + m_at, size);
        m_at += size + 1;
        return text;
    }

    const char* const m_data;
    const std::size_t m_size;
    std::size_t m_at = 0;
    bool m_isBad = false;
};

void WriteFields(const WireMessage& message, Writer& out) {
    out.Field(kPath, "o", message.path);
    out.Field(kInterface, "s", message.interface);
    out.Field(kMember, "s", message.member);
    out.Field(kErrorName, "s", message.error);
    out.Field(kReplySerial, message.replySerial);
    out.Field(kDestination, "s", message.destination);
    out.Field(kSender, "s", message.sender);
    out.Field(kSignature, "g", message.signature);
    out.Field(kFdCount, message.fdCount);
}

void SetField(WireMessage& message, unsigned code, const std::string& value) {
    switch (code) {
        case kPath: message.path = value; return;
        case kInterface: message.interface = value; return;
        case kMember: message.member = value; return;
        case kErrorName: message.error = value; return;
        case kDestination: message.destination = value; return;
        case kSignature: message.signature = value; return;
        default: return;  // the sender is the bus's to fill in
    }
}

void ReadField(Reader& reader, WireMessage& message) {
    const unsigned code = reader.Byte();
    const std::string type = reader.Signature();
    if (type == "u") {
        const std::uint32_t value = reader.Number();
        if (code == kReplySerial) message.replySerial = value;
        if (code == kFdCount) message.fdCount = value;
        return;
    }
    SetField(message, code, type == "g" ? reader.Signature() : reader.Text());
}

}  // namespace

std::string Serialized(const WireMessage& message) {
    Writer out;
    out.m_bytes.reserve(256 + message.body.size());
    out.Byte('l');
    out.Byte(static_cast<unsigned>(message.type));
    out.Byte(message.flags);
    out.Byte(1);
    out.Number(static_cast<std::uint32_t>(message.body.size()));
    out.Number(message.serial);
    out.Number(0);  // the size of the fields, as soon as it is known
    WriteFields(message, out);
    const auto size = static_cast<std::uint32_t>(out.m_bytes.size() - kFixedHeader);
    std::memcpy(&out.m_bytes[12], &size, sizeof(size));
    out.Align(8);
    return out.m_bytes + message.body;
}

std::size_t SizeOfFirst(const std::string& bytes) {
    if (bytes.size() < kFixedHeader) return 0;
    const std::size_t size = kFixedHeader + Padded(NumberAt(bytes, 12)) + NumberAt(bytes, 4);
    return bytes.size() < size ? 0 : size;
}

bool Parse(const std::string& bytes, std::size_t size, WireMessage& message) {
    const std::uint32_t fields = NumberAt(bytes, 12);
    message.type = static_cast<MessageType>(bytes[1]);
    message.flags = static_cast<std::uint8_t>(bytes[2]);
    message.serial = NumberAt(bytes, 8);
    Reader reader(bytes.data() + kFixedHeader, fields);
    while (!reader.AtEnd()) {
        ReadField(reader, message);
        reader.Align(8);
    }
    message.body = bytes.substr(kFixedHeader + Padded(fields), NumberAt(bytes, 4));
    return !reader.IsBad() && bytes[0] == 'l' && size >= kFixedHeader;
}

std::vector<std::string> StringsOf(const WireMessage& message) {
    std::vector<std::string> strings;
    Reader reader(message.body.data(), message.body.size());
    for (const char type : message.signature) {
        if (type != 's' || reader.IsBad()) break;
        strings.push_back(reader.Text());
    }
    return strings;
}

std::string BodyOf(const std::vector<std::string>& strings) {
    Writer body;
    for (const std::string& each : strings) body.Text(each);
    return body.m_bytes;
}

std::string BodyOf(std::uint32_t number) {
    Writer body;
    body.Number(number);
    return body.m_bytes;
}

std::string ByteArrayBody(const std::string& bytes) {
    return BodyOf(static_cast<std::uint32_t>(bytes.size())) + bytes;
}

}  // namespace sim
