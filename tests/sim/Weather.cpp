// SPDX-License-Identifier: MIT

#include "sim/Weather.h"

namespace sim {

namespace {

// Of ten rounds one has no faults at all. From each of these numbers on there are more.
constexpr std::uint64_t kHarmless = 1;
constexpr std::uint64_t kLosses = 3;
constexpr std::uint64_t kStorms = 4;
constexpr std::uint64_t kClimates = 10;

// A kind of fault for a climate without others.
constexpr char kEvents[] = "events";

// Draws the kinds of one round.
class Forecast {
public:
    Forecast(Random& random, const std::string& only) : m_random(random), m_only(only) {}

    bool Has(const char* kind) {
        const bool isDrawn = m_random.Permille(450);
        return m_only.empty() ? isDrawn : m_only == kind;
    }
    bool HasRarely(const char* kind, unsigned chance) {
        const bool isDrawn = m_random.Permille(chance);
        return m_only.empty() ? isDrawn : m_only == kind;
    }
    // What takes long, and is not drawn.
    bool IsAskedFor(const char* kind) const { return m_only == kind; }
    unsigned Rate(const char* kind, unsigned most) {
        const auto rate = static_cast<unsigned>(1 + m_random.Below(most));
        return Has(kind) ? rate : 0;
    }
    std::uint64_t Below(std::uint64_t count) { return m_random.Below(count); }

private:
    Random& m_random;
    const std::string& m_only;
};

// Many events, and one in a hundred is lost.
void DrawEvents(Forecast& forecast, Weather& weather) {
    if (!forecast.IsAskedFor(kEvents)) return;
    weather.faults.loseSignal = 10;
    weather.editsInARow = 500;
}

// System calls that do less than they were asked: nobody may even notice.
void DrawHarmless(Forecast& forecast, Weather& weather) {
    static const std::size_t kRooms[] = {kRoomySocket, 4096, 512, 64};
    Faults& faults = weather.faults;
    faults.shortWrite = forecast.Rate("short", 300);
    faults.partialRead = forecast.Rate("partial", 300);
    faults.writeAgain = forecast.Rate("wagain", 200);
    faults.readAgain = forecast.Rate("ragain", 200);
    faults.interrupted = forecast.Rate("eintr", 100);
    faults.socketRoom = kRooms[forecast.Has("room") ? forecast.Below(4) : 0];
    weather.jumps = forecast.Has("jump");
    weather.attacks = forecast.HasRarely("attack", 250);
}

void DrawConnections(Forecast& forecast, Faults& faults) {
    faults.writeError = forecast.Rate("epipe", 5);
    faults.readEnd = forecast.Rate("eof", 5);
    faults.breakInMessage = forecast.Rate("break", 5);
    faults.garbage =
        forecast.HasRarely("garbage", 200) ? static_cast<unsigned>(1 + forecast.Below(5)) : 0;
    faults.delay = forecast.Rate("delay", 200);
    faults.longestDelay = 1 + forecast.Below(800 * kMillisecond);
    faults.refuseConnect = forecast.Rate("refuse", 300);
    faults.refuseSocket = forecast.Rate("emfile", 200);
    faults.silentAccept = forecast.Rate("silent", 200);
    // Rare: a lost reply takes the call's timeout to be noticed, and hides much that is faster.
    faults.loseReply =
        forecast.HasRarely("losereply", 100) ? static_cast<unsigned>(1 + forecast.Below(100)) : 0;
}

void DrawProcesses(Forecast& forecast, Weather& weather) {
    weather.faults.loseFds = forecast.Rate("losefds", 300);
    weather.faults.refuseMemfd = forecast.Rate("memfd", 200);
    weather.faults.refuseMemory =
        forecast.HasRarely("memory", 200) ? static_cast<unsigned>(1 + forecast.Below(30)) : 0;
    weather.restarts = forecast.Has("restart");
    weather.kills = forecast.Has("kill");
    weather.stops = forecast.Has("stop");
    weather.stalls = forecast.Has("stall");
    weather.sticks = forecast.HasRarely("stick", 100);
    weather.disconnects = forecast.Has("disconnect");
    weather.squats = forecast.Has("squat");
    weather.refusesCalls = forecast.HasRarely("policy", 150);
    weather.refusesNames = forecast.HasRarely("namepolicy", 150);
    weather.absences = forecast.HasRarely("away", 100);
}

// Large lists go in descriptors, or slowly through a small socket; huge ones only in descriptors.
void DrawSizes(Forecast& forecast, Weather& weather) {
    const bool isSlow = weather.faults.socketRoom < 4096;
    if (!isSlow || weather.bus.passesFds) weather.largeNames = forecast.Rate("large", 15);
    const bool canBeHuge = !isSlow && weather.bus.passesFds;
    weather.hasHugeName = forecast.HasRarely("huge", 1) && canBeHuge;
}

// How late a partner may be. A frame and the read on a day without any faults; the longest pause
// between two reads when each takes long; and the time after which a loss is noticed, and mended.
Usec Promise(std::uint64_t climate, const Weather& weather) {
    if (climate >= kStorms || weather.hasHugeName) return kNever;
    if (weather.faults.loseSignal != 0) return 5 * kSecond;
    if (climate >= kHarmless || weather.largeNames != 0) return 1500 * kMillisecond;
    return 100 * kMillisecond;
}

// What arrives late or mutilated, or cannot be handled for want of memory; and the service must
// have its name.
void Forgive(Weather& weather) {
    const Faults& faults = weather.faults;
    weather.forgivesPartners = faults.garbage + faults.silentAccept + faults.delay +
                                   faults.loseFds + faults.loseReply + faults.refuseMemory !=
                               0;
    weather.forgivesService = weather.forgivesPartners || weather.squats || weather.refusesNames;
}

}  // namespace

Weather Weather::Draw(Random& random, const std::string& only) {
    Forecast forecast(random, only);
    Weather weather;
    const std::uint64_t asked = only == kEvents ? kLosses : kStorms;
    const std::uint64_t climate = only.empty() ? random.Below(kClimates) : asked;
    weather.bus.passesFds = forecast.Below(10) != 0;
    weather.bus.endsNamesFirst = forecast.Below(2) == 0;
    weather.bus.dropsSlowReaders = climate >= kStorms && forecast.Below(3) == 0;
    if (climate >= kHarmless) DrawHarmless(forecast, weather);
    if (climate >= kLosses) weather.faults.loseSignal = forecast.Rate("losesignal", 500);
    DrawEvents(forecast, weather);
    if (climate >= kStorms) DrawConnections(forecast, weather.faults);
    if (climate >= kStorms) DrawProcesses(forecast, weather);
    DrawSizes(forecast, weather);
    Forgive(weather);
    weather.isChatty = forecast.HasRarely("chatty", 50);
    weather.isGood = climate < kStorms;
    if (forecast.IsAskedFor("stick")) weather.backWithin = 10 * kSecond;
    weather.freshWithin = Promise(climate, weather);
    weather.hasChannels = forecast.Below(3) != 0;
    return weather;
}

}  // namespace sim
