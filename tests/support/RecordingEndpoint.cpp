// SPDX-License-Identifier: MIT

#include "support/RecordingEndpoint.h"

namespace {

std::string TextOf(const std::vector<char>& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

std::vector<char> BytesOf(const std::string& text) {
    return std::vector<char>(text.begin(), text.end());
}

}  // namespace

std::vector<char> RecordingEndpoint::HandleMessage(std::vector<char>& data) {
    if (!m_recordsBodies) {
        m_events.push_back("message of " + std::to_string(data.size()) + " bytes");
        if (m_answerSize) return std::vector<char>(*m_answerSize, 'x');
        return m_answer ? BytesOf(m_answer(std::string())) : std::vector<char>();
    }
    const std::string request = TextOf(data);
    m_events.push_back("message " + request);
    // The contract lets the callee change the buffer: whoever shares it would notice.
    data.assign(3, '!');
    return BytesOf(m_answer ? m_answer(request) : request);
}

void RecordingEndpoint::HandleNotification(std::vector<char>& data) {
    const std::string body = TextOf(data);
    m_events.push_back("notification " + body);
    data.assign(3, '!');
    if (m_onNotification) m_onNotification(body);
}

void RecordingEndpoint::HandleConnectionReady(bool state, const std::string& partner) {
    m_events.push_back((state ? "ready " : "gone ") + partner);
    if (m_onReady) m_onReady(state, partner);
}

void RecordingEndpoint::Tell(const std::string& body) {
    std::vector<char> data = BytesOf(body);
    SendNotification(data);
    data.assign(data.size(), '!');  // the transport must have copied what it keeps
}

void RecordingEndpoint::Tell(const std::string& body, const std::string& partner) {
    std::vector<char> data = BytesOf(body);
    SendNotification(data, partner);
    data.assign(data.size(), '!');
}

// The bus library asks the kernel for a buffer of 8 MiB, and root gets it.
void RecordingEndpoint::Clog() {
    for (int number = 0; number < 300; ++number) {
        Tell(std::to_string(number) + std::string(65536, '.'));
    }
}
