// SPDX-License-Identifier: MIT

#include "LauncherRun.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "NowNanoseconds.h"

namespace bench {

namespace {

using Kind = LauncherEvent::Kind;

constexpr std::int64_t kStartTimeout = 30000000000;
constexpr std::int64_t kLost = 2000000000;
constexpr int kMostLost = 20;  // then there is nothing to measure

// What a window has left to do when it has come up, or got the keys; also the time for which the
// QML launcher takes no answer to an own move that is overtaken.
constexpr std::int64_t kSettle = 500000000;

// Between two presses, about as keys repeat. By a golden section of a frame more each time: what
// kept step with the frames would always meet them at the same age.
constexpr std::int64_t kPause = 30000000;
constexpr std::int64_t kFrame = 16666667;
constexpr std::int64_t kShift = 10300566;

double Milliseconds(std::int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e6;
}

}  // namespace

LauncherRun::LauncherRun(std::size_t items, Way way)
    : m_items(items),
      m_way(way),
      m_list([this](int readyFd) { RunLauncherList(Place(), readyFd); }),
      m_qml([this](int readyFd) { RunQmlLauncher(Place(), readyFd); }),
      m_gtk([this](int readyFd) { RunGtkLauncher(Place(), readyFd); }),
      m_keyboard(m_screen.Display()) {
    const auto stands = [this](LauncherPart part) {
        return State(part).opened.number >= 0 &&
               State(part).selected.number == static_cast<std::int64_t>(Place().FirstRow());
    };
    const std::int64_t deadline = NowNanoseconds() + kStartTimeout;
    if (!ReadUntil(deadline,
                   [&] { return stands(LauncherPart::Qml) && stands(LauncherPart::Gtk); })) {
        throw std::runtime_error("the launchers do not come to show the list");
    }
}

LauncherPlace LauncherRun::Place() const {
    return {m_screen.Display(), m_bus.Address(), m_way, m_items, m_events.WriteFd()};
}

void LauncherRun::Take(const LauncherEvent& event) {
    PartState& part = State(event.part);
    const Seen seen = {event.number, event.at};
    switch (event.kind) {
        case Kind::Opened: part.opened = seen; break;
        case Kind::Active: part.active = seen; break;
        case Kind::Selected: part.selected = seen; break;
        case Kind::Drawn: part.drawn = seen; break;
        case Kind::Hidden: part.hidden = seen; break;
    }
}

bool LauncherRun::ReadUntil(std::int64_t deadline, const std::function<bool()>& done) {
    LauncherEvent event;
    while (!done()) {
        if (!m_events.Read(&event, sizeof(event), deadline)) return false;
        Take(event);
    }
    return true;
}

void LauncherRun::GiveKeys(LauncherPart part) {
    m_keyboard.Focus(State(part).opened.number);
    const std::int64_t deadline = NowNanoseconds() + kStartTimeout;
    if (!ReadUntil(deadline, [&] { return State(part).active.number == 1; })) {
        throw std::runtime_error("a launcher does not take keys");
    }
    ReadUntil(NowNanoseconds() + kSettle, [] { return false; });
}

Presses LauncherRun::Press(LauncherPart from, LauncherPart to, int count) {
    GiveKeys(from);
    Presses presses;
    std::int64_t shift = 0;
    while (presses.pressed < count) {
        PressOnce(to, presses);
        if (presses.Lost() > kMostLost) {
            throw std::runtime_error("a launcher does not show what the other one selects");
        }
        shift = (shift + kShift) % kFrame;
        std::this_thread::sleep_for(std::chrono::nanoseconds(kPause + shift));
    }
    return presses;
}

// To and fro between the ends of the list.
void LauncherRun::PressOnce(LauncherPart to, Presses& presses) {
    const PartState& list = State(LauncherPart::List);
    const PartState& other = State(to);
    const auto last = static_cast<std::int64_t>(m_items) - 1;
    if (list.selected.number == last) m_key = Keyboard::Key::Left;
    if (list.selected.number == 0) m_key = Keyboard::Key::Right;
    const std::int64_t pressed = m_keyboard.Press(m_key);
    ++presses.pressed;
    const auto isShown = [&] {
        return list.selected.at > pressed && other.drawn.at > list.selected.at &&
               other.drawn.number == list.selected.number;
    };
    if (!ReadUntil(pressed + kLost, isShown)) return;
    presses.shown.push_back(
        {Milliseconds(other.drawn.at - pressed), Milliseconds(list.selected.at - pressed),
         Milliseconds(other.selected.at - list.selected.at),
         Milliseconds(other.drawn.at - other.selected.at), other.hidden.at > pressed});
}

}  // namespace bench
