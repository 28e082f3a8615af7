// SPDX-License-Identifier: MIT

// A process that follows and edits the service's list: the real model over the real transport, and
// a shadow that checks what it is told.

#pragma once

#include <memory>
#include <string>

#include "partner/RemoteAppListModel.h"
#include "partner/Shadow.h"
#include "sim/Follower.h"
#include "sim/Service.h"
#include "sim/Weather.h"

namespace sim {

class Partner : public Follower, private ItemClickListener {
public:
    Partner(World& world, const std::string& name, Service& service, const Weather& weather,
            const Complain& complain);

    bool IsUp() const override { return m_model != nullptr; }
    bool SeesService() const override { return IsUp() && m_model->IsServiceThere(); }
    Content Shown() override { return Content::Of(*m_model); }
    std::uint64_t Synchronized() const { return m_synchronized; }

    // The partner changes the list. Most changes are signed, so that they can be followed.
    void Write(std::uint64_t what, const std::string& name, const std::string& id);
    void Synchronize();

    // Whether listeners know what is shown, and whether it is as fresh as promised.
    void Check();

private:
    class CheckedShadow;

    void Open() override;
    void Close() override;
    void ItemClicked(AppListModel*) override { m_lastClick = m_world.Now(); }
    void WriteNow(std::uint64_t what, const std::string& name, const std::string& id);
    void WriteSigned(const std::string& id);
    void SynchronizeNow();
    void CheckSynchronized(Usec started, int newest);
    void CheckFailure(const std::string& failure, bool sawService);
    void CheckFreshness();
    void CheckClicks(Usec until);

    Service& m_service;
    const Weather& m_weather;
    std::unique_ptr<applist::RemoteAppListModel> m_model;
    std::unique_ptr<Shadow> m_shadow;
    std::size_t m_id = 0;  // a new one for each model
    int m_written = 0;
    int m_newest = 0;           // of the writes since the last Synchronize; 0 when there is none
    Usec m_seenSince = kNever;  // the service
    Usec m_lastClick = 0;       // that it was told of
    std::uint64_t m_synchronized = 0;
};

}  // namespace sim
