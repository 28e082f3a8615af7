// SPDX-License-Identifier: MIT

// A partner of the plainest kind, on the transport alone: it keeps a copy of the list, which it
// reads whenever the transport says that it should, and at no other time. So what the transport
// does not tell of, it never learns.
//
// Its memory does not end.

#pragma once

#include <memory>

#include "remote/TesselDbusRemote.h"
#include "sim/Follower.h"

namespace sim {

class Reader : public Follower {
public:
    Reader(World& world, const Complain& complain);
    ~Reader() override;

    bool IsUp() const override { return m_remote != nullptr; }
    bool SeesService() const override;
    Content Shown() override;

private:
    class Remote;

    void Open() override;
    void Close() override;

    std::unique_ptr<Remote> m_remote;
};

}  // namespace sim
