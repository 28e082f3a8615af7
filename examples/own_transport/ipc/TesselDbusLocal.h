// SPDX-License-Identifier: MIT

// An integrator's own transport: frames over standard input and output, to a partner that started
// this process with two pipes. It takes the place of the header of the same name in src/ipc.
//
// A frame is one letter, 4 bytes with the length in the host's byte order, and as many bytes.
// In: 'M', a message, and 'N', a notification. Out: 'R', the reply to a message, and 'N'.
//
// Threads: one, the one that calls Run. Lifetime: one endpoint a process. Writing waits for the
// partner: one that stops reading stops the service, which ends with its partner anyway.

#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

class TesselDbusLocal {
public:
    // Pipes have no names, so the endpoint's is not used.
    explicit TesselDbusLocal(std::string) { s_endpoint = this; }
    virtual ~TesselDbusLocal() { s_endpoint = nullptr; }
    TesselDbusLocal(const TesselDbusLocal&) = delete;
    TesselDbusLocal& operator=(const TesselDbusLocal&) = delete;

    virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;
    virtual void HandleNotification(std::vector<char>& data) = 0;
    virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

    void SendNotification(std::vector<char>& data) { Write('N', data); }
    void SendNotification(std::vector<char>& data, const std::string&) { Write('N', data); }

    // The main loop: serves the partner until it closes its end. Returns false if the partner sent
    // something that is not a frame.
    static bool Run();

private:
    // A partner must not make us allocate what it only announces.
    static constexpr std::uint32_t kMaxFrameBytes = std::uint32_t{1} << 20;

    static bool Read(char& kind, std::vector<char>& body);
    static void Write(char kind, const std::vector<char>& body);
    static bool Serve(char kind, std::vector<char>& body);

    static inline TesselDbusLocal* s_endpoint = nullptr;
};

inline bool TesselDbusLocal::Run() {
    s_endpoint->HandleConnectionReady(true, "stdin");
    char kind = 0;
    std::vector<char> body;
    while (Read(kind, body) && Serve(kind, body)) {
    }
    const bool atFrameEnd = kind == 0 && std::feof(stdin) != 0;
    s_endpoint->HandleConnectionReady(false, "stdin");
    return atFrameEnd;
}

// Leaves `kind` 0 when the data ends where a frame would begin.
inline bool TesselDbusLocal::Read(char& kind, std::vector<char>& body) {
    kind = 0;
    std::uint32_t length = 0;
    if (std::fread(&kind, 1, 1, stdin) != 1) return false;
    if (std::fread(&length, sizeof(length), 1, stdin) != 1 || length > kMaxFrameBytes) return false;
    body.resize(length);
    return length == 0 || std::fread(body.data(), length, 1, stdin) == 1;
}

inline void TesselDbusLocal::Write(char kind, const std::vector<char>& body) {
    const std::uint32_t length = static_cast<std::uint32_t>(body.size());
    std::fwrite(&kind, 1, 1, stdout);
    std::fwrite(&length, sizeof(length), 1, stdout);
    if (length > 0) std::fwrite(body.data(), length, 1, stdout);
    std::fflush(stdout);
}

inline bool TesselDbusLocal::Serve(char kind, std::vector<char>& body) {
    switch (kind) {
        case 'M': Write('R', s_endpoint->HandleMessage(body)); return true;
        case 'N': s_endpoint->HandleNotification(body); return true;
        default: return false;
    }
}
