// SPDX-License-Identifier: MIT

// What is told is the difference between the list as it was told last and the replica as it is now.
// So nothing is told twice, and after a restart of the service only what is really different is
// told.

#include "apps/applistctl/Following.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <exception>

#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Output.h"
#include "bus/SdBus.h"
#include "partner/RemoteAppListModel.h"

namespace applist::ctl {

namespace {

// How soon to try again when a service that has just appeared does not give its list in time.
constexpr std::uint64_t kRetryMicroseconds = 1000000;

constexpr int kExitOfClosedPipe = 128 + SIGPIPE;

void Require(int result) {
    if (result < 0) throw Failure(kNotDone, std::string("cannot wait: ") + std::strerror(-result));
}

class Following : private ItemSelectionListener,
                  private ItemChangeListener,
                  private ItemClickListener,
                  private ServiceListener {
public:
    Following(const Options& options, Teller& teller) : m_options(options), m_teller(teller) {
        sd_event* event = nullptr;
        Require(sd_event_default(&event));
        m_event.reset(event);
        m_model.SetTimeout(options.timeout);
        m_model.SetStartsService(!options.noStart);
        if (!CatchUp()) Note("waiting for the service");
        m_model.AddItemSelectionListener(this);
        m_model.AddItemChangeListener(this);
        m_model.AddItemClickedListener(this);
        m_model.AddServiceListener(this);
        FollowReader();
    }

    Following(const Following&) = delete;
    Following& operator=(const Following&) = delete;

    void Run() {
        Require(sd_event_loop(m_event.get()));
        if (m_failure) std::rethrow_exception(m_failure);
    }

private:
    void ItemSelected(AppListModel*) override {
        Fenced([this] { Compare(); });
    }
    void ItemChanged(AppListModel*) override {
        Fenced([this] { Compare(); });
    }
    void ItemClicked(AppListModel*) override {
        // A selection made before the click may not have arrived yet; it is to be told first.
        if (!m_hasBegun) return;
        ++m_clicks;
        Fenced([this] { CatchUpAfter(0); });
    }
    void ServiceChanged(RemoteAppListModel*) override {
        Fenced([this] { m_model.IsServiceThere() ? Appeared() : Lost(); });
    }

    void Start() {
        m_shown = StateOf(m_model);
        m_hasBegun = true;
        m_isUpToDate = true;
        Tell([this] { m_teller.Begun(m_shown); });
    }

    void Appeared() {
        if (m_isUpToDate) return;  // it was there when we began, and is reported only now
        if (m_hasBegun) Tell([this] { m_teller.Back(); });
        CatchUpAfter(0);
    }

    void Lost() {
        m_isUpToDate = false;
        TellClicks(m_clicks);
        if (m_hasBegun) Tell([this] { m_teller.Lost(); });
    }

    // Done from the loop, as a listener must not wait. Waiting for a change event would not do:
    // there is none when the service comes back with an empty list.
    void CatchUpAfter(std::uint64_t delay) {
        sd_event_source* source = nullptr;
        Require(sd_event_add_time_relative(m_event.get(), &source, CLOCK_MONOTONIC, delay,
                                           /* accuracy */ 1000, OnCatchUp, this));
        m_catchUp.reset(source);
    }

    static int OnCatchUp(sd_event_source*, std::uint64_t, void* userdata) {
        Following* const self = static_cast<Following*>(userdata);
        self->Fenced([self] { self->CatchUp(); });
        return 0;
    }

    // Returns false when the list cannot be read now; there will be another attempt. Before the
    // first success that is only so with --wait; without it this throws.
    bool CatchUp() {
        const std::size_t clicks = m_clicks;
        try {
            m_model.Synchronize();
        } catch (const RemoteError& error) {
            const bool mayTryAgain = m_hasBegun || m_options.wait;
            if (!mayTryAgain || error.GetCause() == RemoteError::Cause::Refused) throw;
            if (m_model.IsServiceThere()) CatchUpAfter(kRetryMicroseconds);
            return false;
        }
        if (!m_hasBegun) {
            Start();
            return true;
        }
        m_isUpToDate = true;
        Compare();
        TellClicks(clicks);
        return true;
    }

    // The protocol does not say which items were clicked.
    void TellClicks(std::size_t count) {
        m_clicks -= count;
        for (; count > 0; --count) Tell([this] { m_teller.Clicked(); });
    }

    void Compare() {
        if (!m_isUpToDate || !m_model.IsServiceThere()) return;
        const ListState now = StateOf(m_model);
        Tell([&] { m_teller.Changed(m_shown, now); });
        m_shown = now;
    }

    template <class Work>
    void Tell(Work work) {
        work();
        if (m_teller.IsDone()) sd_event_exit(m_event.get(), 0);
    }

    // A reader that leaves is noticed at once, and not with the next event, which may be hours
    // away. A file cannot be polled (EPERM), but a file has no reader that could leave.
    void FollowReader() {
        sd_event_source* source = nullptr;
        const int result =
            sd_event_add_io(m_event.get(), &source, STDOUT_FILENO, 0, OnReaderGone, nullptr);
        m_reader.reset(source);
        if (result != -EPERM) Require(result);
    }

    static int OnReaderGone(sd_event_source*, int, std::uint32_t, void*) {
        std::raise(SIGPIPE);
        _exit(kExitOfClosedPipe);
    }

    // The loop and the bus library are C, through which nothing may be thrown: an exception is kept
    // until they have returned.
    template <class Work>
    void Fenced(Work work) noexcept {
        if (m_failure) return;
        try {
            work();
        } catch (...) {
            m_failure = std::current_exception();
            sd_event_exit(m_event.get(), 0);
        }
    }

    const Options& m_options;
    Teller& m_teller;
    std::exception_ptr m_failure;

    UniqueEvent m_event;
    UniqueSource m_reader;
    UniqueSource m_catchUp;
    ListState m_shown;
    std::size_t m_clicks = 0;   // not told yet
    bool m_hasBegun = false;    // m_shown has been filled
    bool m_isUpToDate = false;  // the replica is the service's list, and not an older one
    // The last member, so that it is destroyed first and calls nothing that is gone.
    RemoteAppListModel m_model;
};

}  // namespace

void FollowList(const Options& options, Teller& teller) {
    RequireOutput();
    Following(options, teller).Run();
}

}  // namespace applist::ctl
