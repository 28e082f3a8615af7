// SPDX-License-Identifier: MIT

// An application at the open transport: writes down which entry points were called, in order, and
// answers as the test says.
//
// Threads: one. Lifetime: the bus's address is selected before it is built.

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ipc/TesselDbusLocal.h"

class RecordingEndpoint : public TesselDbusLocal {
public:
    explicit RecordingEndpoint(const std::string& name = "Applist") : TesselDbusLocal(name) {}

    std::vector<char> HandleMessage(std::vector<char>& data) override;
    void HandleNotification(std::vector<char>& data) override;
    void HandleConnectionReady(bool state, const std::string& partner) override;

    // Sends `body` to everyone, or to `partner`.
    void Tell(const std::string& body);
    void Tell(const std::string& body, const std::string& partner);

    // Sends so much to everyone that a bus which stands has taken what it can, and further
    // notifications wait in the endpoint. What it sends is longer than a kilobyte.
    void Clog();

    // "ready :1.5", "gone :1.5", "message BODY", "notification BODY".
    std::vector<std::string> m_events;

    // What a message is answered with; without it, the message itself.
    std::function<std::string(const std::string& request)> m_answer;
    // Or with so many bytes, which may be more than a string can hold.
    std::optional<std::size_t> m_answerSize;
    // What happens when a notification came in, or a partner was reported, after it is written
    // down.
    std::function<void(const std::string& body)> m_onNotification;
    std::function<void(bool state, const std::string& partner)> m_onReady;
    // Long bodies are not worth keeping.
    bool m_recordsBodies = true;
};
