// SPDX-License-Identifier: MIT

#include "sim/Round.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "common/AppListLog.h"

namespace sim {

namespace {

const char kServiceName[] = "org.tessel.Local.Applist";

// The service looks for a bus that went away at least this often, and gives up one that is silent
// after as long.
constexpr Usec kLongestSearch = 11 * kSecond;
constexpr Usec kSilentBus = 25 * kSecond;

// As long as the partners' library lets an answer take: for the count of events.
constexpr Usec kLongestAnswer = 60 * kSecond;

// How long programs take to find each other when nothing is wrong.
constexpr Usec kLongestStart = kSecond;

// An answer that was lost is waited for until its time is up.
constexpr Usec kLostReply = kLongestAnswer + 5 * kSecond;

// What is promised: whatever was lost, all is equal again after this time.
constexpr Usec kConverged = 5 * kSecond;

constexpr std::size_t kLargeName = 70000;
constexpr std::size_t kHugeName = std::size_t{17} << 20;

}  // namespace

Round::Round(std::uint64_t seed, std::FILE* history, const std::string& only)
    : m_world(seed, history),
      m_bus(m_world),
      m_weather(Weather::Draw(m_world.m_random, only)),
      m_service(m_world, [this](const std::string& what) { Complain("service: " + what); }),
      m_reader(m_world, [this](const std::string& what) { Complain("reader: " + what); }),
      m_calls(m_bus, m_service.List(), [this](const std::string& what) { Complain(what); }),
      m_attacker(m_world, m_bus, kServiceName) {
    const std::size_t partners = 1 + m_world.m_random.Below(2);
    for (std::size_t number = 1; number <= partners; ++number) {
        const std::string name = "partner" + std::to_string(number);
        m_partners.push_back(std::make_unique<Partner>(
            m_world, name, m_service, m_weather,
            [this, name](const std::string& what) { Complain(name + ": " + what); }));
        m_followers.push_back(m_partners.back().get());
    }
    if (m_world.m_random.Below(3) == 0) m_followers.push_back(&m_reader);
    m_programs.assign(m_followers.begin(), m_followers.end());
    m_programs.push_back(&m_service);
}

std::string Round::Run() {
    Begin();
    for (int step = 0; step < kSteps && !IsOver(); ++step) Step();
    if (!IsOver()) Heal();
    if (!IsOver()) AwaitReturn();
    if (!IsOver()) Verify();
    if (!IsOver()) VerifySynchronize();
    Finish();
    return m_verdict;
}

std::uint64_t Round::Synchronized() const {
    std::uint64_t count = 0;
    for (const auto& partner : m_partners) count += partner->Synchronized();
    return count;
}

void Round::Complain(const std::string& what) {
    m_world.Log("COMPLAINT: %s", what.c_str());
    if (m_verdict.empty()) {
        m_verdict = what + " (at " + std::to_string(m_world.Now()) + " us)";
    }
}

void Round::Log(int priority, const char* text) {
    const Process* const process = m_world.Running();
    m_world.Log("%s logs %d %s", process == nullptr ? "?" : process->name.c_str(), priority, text);
    if (priority < applist::logging::kError) return;
    ++m_errorLines;
    if (m_weather.IsGood() && !m_weather.attacks) {
        Complain(std::string("logs in good weather: ") + text);
    }
}

// ---- Steps --------------------------------------------------------------------------------------

void Round::Begin() {
    m_world.m_faults = m_weather.faults;
    m_bus.m_kind = m_weather.bus;
    setenv("APPLIST_DIRECT", m_weather.hasChannels ? "1" : "0", 1);
    m_service.List().m_isChatty = m_weather.isChatty;
    LetMemoryEnd();
    for (Program* program : m_programs) program->Start();
    if (m_weather.IsGood()) AwaitStart();
}

// The reader's does not: it would have to know how to live with that.
void Round::LetMemoryEnd() {
    if (m_weather.faults.refuseMemory == 0) return;
    Program* const program = &AnyProgram();
    if (program != &m_reader) program->Where()->lacksMemory = true;
}

// On a good day everybody is there before anything is asked of them.
void Round::AwaitStart() {
    const auto isThere = [this] {
        return std::all_of(m_followers.begin(), m_followers.end(),
                           [](const Follower* each) { return each->SeesService(); });
    };
    m_world.RunUntil(isThere, m_world.Now() + kLongestStart);
    if (!isThere()) Complain("not there in good weather");
}

void Round::Step() {
    Act(m_world.m_random.Below(100));
    m_world.RunFor(AnyTime());
    Check();
}

void Round::Act(std::uint64_t dice) {
    Random& random = m_world.m_random;
    if (dice < 30) return Edit();
    if (dice < 45) {
        const std::uint64_t what = random.Next();
        const std::string name = AnyName();
        return AnyPartner().Write(what, name, AnyId());
    }
    if (dice < 50) return AnyPartner().Synchronize();
    if (dice < 70) return Disturb();
    if (dice < 80 && m_weather.attacks) return m_attacker.Attack();
    if (dice >= 95) return AnyProgram().Start();
}

void Round::Edit() {
    Random& random = m_world.m_random;
    for (unsigned count = 1;; ++count) {
        const std::uint64_t what = random.Next();
        const std::uint64_t where = random.Next();
        const std::string name = AnyName();
        m_service.Edit(what, where, name, AnyId());
        if (count == m_weather.editsInARow) return;
        m_world.RunFor(random.Below(2 * kMillisecond));
        Check();
    }
}

void Round::Check() {
    for (const auto& partner : m_partners) partner->Check();
    for (const Follower* each : m_followers) CheckStaying(*each, m_weather.forgivesPartners);
    CheckStaying(m_service, m_weather.forgivesService);
    CheckReturn();
}

// The others do not suffer from it for long.
void Round::CheckReturn() {
    if (m_weather.backWithin == kNever || !m_service.IsUp()) return;
    if (m_stuck == 0 || m_world.Now() < m_stuck + m_weather.backWithin) return;
    const Usec since = m_world.Now() - m_weather.backWithin;
    for (Follower* each : m_followers) {
        if (each->IsUp() && !m_service.List().Past().HasShown(each->Shown(), since)) {
            Complain(each->Where()->name + " shows what is old, long after the bus stuck");
        }
    }
}

// A connection that works is not given up because somebody else comes, goes, fails or attacks.
void Round::CheckStaying(const Program& program, bool isForgiven) {
    const Process& process = *program.Where();
    if (!process.hasGivenUp || process.wasHeldUp || isForgiven) return;
    Complain(process.name + " gave up a connection that worked");
}

Partner& Round::AnyPartner() {
    return *m_partners[m_world.m_random.Below(m_partners.size())];
}

Program& Round::AnyProgram() {
    return *m_programs[m_world.m_random.Below(m_programs.size())];
}

// Few, so that many items have the same one.
std::string Round::AnyId() {
    return std::string(1, static_cast<char>('a' + m_world.m_random.Below(8)));
}

std::string Round::AnyName() {
    if (m_world.m_random.Permille(m_weather.largeNames)) return std::string(kLargeName, 'x');
    if (m_weather.hasHugeName && m_world.m_random.Permille(150)) {
        m_weather.hasHugeName = false;
        m_world.Fault("huge name");
        return std::string(kHugeName, 'y');
    }
    return "Name" + AnyId();
}

// Mostly short, so that one thing happens in the middle of another.
Usec Round::AnyTime() {
    const std::uint64_t dice = m_world.m_random.Below(100);
    if (dice < 50) return m_world.m_random.Below(2 * kMillisecond);
    if (dice < 90) return m_world.m_random.Below(200 * kMillisecond);
    if (dice < 99) return m_world.m_random.Below(4 * kSecond);
    return m_world.m_random.Below(100 * kSecond);
}

// ---- What befalls them --------------------------------------------------------------------------

void Round::Disturb() {
    switch (m_world.m_random.Below(11)) {
        case 0: return RestartBus();
        case 1: return Kill();
        case 2: return Stop();
        case 3: return Stall();
        case 4: return JumpInTime();
        case 5: return Disconnect();
        case 6: return TakeName();
        case 7: return RefuseCalls();
        case 8: return BeAway();
        case 9: return Stick();
        default: return RefuseNames();
    }
}

void Round::RestartBus() {
    if (!m_weather.restarts) return;
    m_world.Fault("bus restart");
    m_bus.Stop();
    m_world.At(m_world.Now() + m_world.m_random.Below(1500 * kMillisecond),
               [this] { m_bus.Start(); });
}

void Round::Kill() {
    if (!m_weather.kills) return;
    m_world.Fault("kill");
    AnyProgram().Kill();
}

// Sometimes for longer than any call may take.
void Round::Stop() {
    if (!m_weather.stops) return;
    m_world.Fault("stop");
    const Usec call = m_world.m_random.Permille(250) ? 100 * kSecond : 12 * kSecond;
    const Usec longest = m_world.m_random.Permille(400) ? call : 1500 * kMillisecond;
    AnyProgram().Where()->StopUntil(m_world.Now() + m_world.m_random.Below(longest));
}

// A partner has just come to the bus and asks a service that stands. Then it does not look at its
// loop for longer than the library lets any answer take, and loses the bus meanwhile.
void Round::BeAway() {
    if (!m_weather.absences) return;
    m_world.Fault("absence");
    Random& random = m_world.m_random;
    Process* const partner = AnyPartner().Where();
    const Usec leaves = m_world.Now() + random.Below(kSecond);
    const Usec returns = leaves + kLongestAnswer + random.Below(30 * kSecond);
    m_service.Where()->StopUntil(returns + random.Below(kSecond));
    m_bus.Disconnect(partner);
    Later(leaves, [partner, returns] { partner->StopUntil(returns); });
    Later(leaves + random.Below(kLongestAnswer), [this, partner] { m_bus.Disconnect(partner); });
}

// Unless all is healed by then.
void Round::Later(Usec time, std::function<void()> disturbance) {
    m_world.At(time, [this, disturbance = std::move(disturbance)] {
        if (!m_isHealed) disturbance();
    });
}

void Round::Stall() {
    if (!m_weather.stalls) return;
    m_world.Fault("stalled bus");
    const Usec until = m_world.Now() + m_world.m_random.Below(1500 * kMillisecond);
    Process* const client = AnyProgram().Where();
    client->wasHeldUp = true;
    m_bus.StallUntil(client, until);
}

// What the service has sent to somebody who does not read fills the bus, which then reads nothing
// more from this connection, and does not even see it end.
void Round::Stick() {
    if (!m_weather.sticks) return;
    m_world.Fault("stuck bus");
    m_stuck = m_world.Now();
    m_service.Where()->wasHeldUp = true;
    m_bus.StallUntil(m_service.Where(), m_stuck + 10 * kLongestAnswer);
}

// Somebody sets the clock; or the machine was suspended, and all stood still.
void Round::JumpInTime() {
    if (!m_weather.jumps) return;
    m_world.Fault("clock jump");
    m_world.m_realtimeOffset += static_cast<std::int64_t>(m_world.m_random.Below(7200 * kSecond)) -
                                static_cast<std::int64_t>(3600 * kSecond);
    if (!m_weather.stops || !m_world.m_random.Permille(500)) return;
    const Usec until = m_world.Now() + m_world.m_random.Below(1500 * kMillisecond);
    for (const Program* program : m_programs) program->Where()->StopUntil(until);
}

void Round::Disconnect() {
    if (!m_weather.disconnects) return;
    m_world.Fault("disconnect");
    m_bus.Disconnect(AnyProgram().Where());
}

void Round::TakeName() {
    if (!m_weather.squats) return;
    m_world.Fault("name taken");
    m_bus.Squat(kServiceName);
    m_world.At(m_world.Now() + m_world.m_random.Below(1500 * kMillisecond),
               [this] { m_bus.EndSquatting(kServiceName); });
}

void Round::RefuseCalls() {
    if (m_weather.refusesCalls) m_bus.m_refusesCalls = !m_bus.m_refusesCalls;
}

void Round::RefuseNames() {
    if (m_weather.refusesNames) m_bus.m_refusesNames = !m_bus.m_refusesNames;
}

// ---- Afterwards ---------------------------------------------------------------------------------

void Round::Heal() {
    m_world.Log("heal");
    m_isHealed = true;
    m_world.m_faults = Faults();
    m_world.Hurry(false);
    m_bus.Start();
    m_bus.EndSquatting(kServiceName);
    m_bus.m_refusesCalls = m_bus.m_refusesNames = false;
    // Not always: partners of a service that is gone must know that, too.
    if (m_world.m_random.Permille(900)) m_service.Start();
    for (Follower* each : m_followers) {
        if (m_world.m_random.Permille(800)) each->Start();
    }
}

// Until all who are meant to be there are back on the bus, which takes as long as the longest pause
// between two attempts, and the time after which an attempt, or a call, is given up.
void Round::AwaitReturn() {
    const auto& faults = m_world.Past().Faults();
    // To garbage instead of a greeting the bus library goes on waiting, too.
    const bool wasSilent = faults.count("silent bus") + faults.count("garbage") != 0;
    if (wasSilent) m_world.RunFor(kSilentBus);
    if (faults.count("lost reply") != 0) m_world.RunFor(kLostReply);
    const auto isBack = [this] {
        return m_service.IsWanted() == m_service.IsUp() &&
               m_service.IsWanted() == !m_bus.OwnerOf(kServiceName).empty();
    };
    m_world.RunUntil(isBack, m_world.Now() + kLongestSearch);
    if (!isBack()) Complain("the service is not back");
}

void Round::Verify() {
    m_world.RunFor(kConverged);
    if (!AllAgree()) return Complain("not equal 5 s after the service is back: " + Show());
    Check();
    // It stays so, also when serials are compared.
    m_world.RunFor(4 * kSecond);
    if (!AllAgree()) return Complain("equal, and then not: " + Show());
    Check();
}

bool Round::AllAgree() {
    const Content truth = m_service.Truth();
    return m_service.IsWanted() == m_service.IsUp() &&
           std::all_of(m_followers.begin(), m_followers.end(), [&](Follower* each) {
               if (each->IsWanted() != each->IsUp()) return false;
               return !each->IsUp() ||
                      (each->Shown() == truth && each->SeesService() == m_service.IsUp());
           });
}

std::string Round::Show() {
    std::string text = m_service.IsUp() ? "service up" : "service down";
    text += " " + m_service.Truth().Text();
    for (Follower* each : m_followers) {
        text += "; " + each->Where()->name;
        if (!each->IsUp()) {
            text += " down";
            continue;
        }
        text += (each->SeesService() ? " sees " : " does not see ") + each->Shown().Text();
    }
    return text;
}

// Twice: the first time may tell of writes that failed before.
void Round::VerifySynchronize() {
    for (const auto& partner : m_partners) {
        if (!partner->IsUp() || !m_service.IsUp()) continue;
        const std::uint64_t before = partner->Synchronized();
        partner->Synchronize();
        partner->Synchronize();
        m_world.RunFor(100 * kMillisecond);
        if (partner->Synchronized() == before) {
            Complain(partner->Where()->name + " does not synchronize");
        }
    }
}

// Whatever the verdict: the next round begins from nothing.
void Round::Finish() {
    if (m_world.IsStuck()) return Complain("somebody runs without end");
    m_world.m_faults = Faults();
    m_world.Hurry(true);
    m_reader.Finish();  // in every round: its process is there
    m_service.Finish();
    for (const auto& partner : m_partners) partner->Finish();
    const auto isDone = [this] {
        return m_reader.Where()->IsDone() &&
               std::all_of(m_programs.begin(), m_programs.end(),
                           [](const Program* program) { return program->Where()->IsDone(); });
    };
    m_world.RunUntil(isDone, m_world.Now() + 60 * kSecond);
    if (!isDone()) return Complain("somebody does not end");
    m_world.RunFor(kSecond);
    if (m_world.m_openFiles != 0) Complain("files are left open");
    if (m_bus.ConnectionsOfProcesses() != 0) Complain("connections are left open");
}

}  // namespace sim
