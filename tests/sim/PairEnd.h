// SPDX-License-Identifier: MIT

// One of two sockets that are connected with each other, as those of a direct channel are. What one
// writes the other may read at once.
//
// Lifetime: see Socket.h.

#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "sim/Socket.h"

namespace sim {

class PairEnd final : public Socket {
public:
    using Socket::Socket;

    static std::pair<std::shared_ptr<PairEnd>, std::shared_ptr<PairEnd>> NewPair(World& world);

    // Whether somebody has it open, and reads what the other end writes.
    bool IsOpen() const { return m_isOpen; }
    const std::weak_ptr<PairEnd>& Other() const { return m_other; }

    void ShutDownWriting() override;
    void ShutDownReading() override;
    std::size_t Unread() const override;

    // Hears what is written.
    std::function<void(const std::string& bytes)> m_onWrite = [](const std::string&) {};

private:
    bool IsOtherEndOpen() const override;
    std::size_t WaitingBytes() const override { return Unread(); }
    void Deliver(std::string bytes, FdList fds) override;
    void Close() override;
    void Break() override;

    std::weak_ptr<PairEnd> m_other;
    bool m_isOpen = true;
    bool m_isShutDown = false;
};

}  // namespace sim
