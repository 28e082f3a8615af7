// SPDX-License-Identifier: MIT

#include <cstddef>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "applist/ReferenceService.h"
#include "ipc/TesselDbusLocal.h"
#include "support/RecordingInside.h"
#include "support/RecordingLog.h"
#include "support/RecordingService.h"

using recording::Frame;
using recording::Hex;
using recording::NameAndId;
using recording::RegistryOf;
using std::string;

namespace {

const int kMessagesPerSeed = 25000;
const unsigned kSeeds[] = {1, 20, 300, 4000};

// Every choice is a remainder of the engine's own numbers, so that a seed means the same run with
// every standard library.
class Dice {
public:
    explicit Dice(unsigned seed) : m_engine(seed) {}

    unsigned Below(std::size_t bound) { return static_cast<unsigned>(m_engine() % bound); }
    bool OneIn(unsigned n) { return Below(n) == 0; }

    template <std::size_t COUNT>
    const string& Of(const string (&choices)[COUNT]) {
        return choices[Below(COUNT)];
    }

private:
    std::mt19937 m_engine;
};

// Few ids, so that items meet; those that a careless comparison would take for each other.
const string kIds[] = {"a", "b", "c", "A", "a ", "", "maps", string("a\0b", 3)};

const string kNames[] = {"",
                         "Maps",
                         "two words",
                         "percent %s %n",
                         "back\\slash",
                         "tab\tand\nline",
                         string("n\0l", 3),
                         "\xC3\xA9t\xC3\xA9",
                         "\xFF\xFE",
                         string(60, 'x')};

string Escaped(const string& bytes) {
    string text;
    for (const char c : bytes) {
        if (c == '\\') text += "\\\\";
        if (c == '\t') text += "\\t";
        if (c == '\n') text += "\\n";
        if (c != '\\' && c != '\t' && c != '\n') text += c;
    }
    return text;
}

string RandomBytes(Dice& dice, std::size_t most) {
    string bytes(dice.Below(most + 1), '\0');
    for (char& c : bytes) c = static_cast<char>(dice.Below(256));
    return bytes;
}

string RandomItems(Dice& dice) {
    string text;
    for (unsigned left = dice.Below(4) + (dice.OneIn(3) ? 0 : 1); left != 0; --left) {
        text += Escaped(dice.Of(kNames)) + "\t" + Escaped(dice.Of(kIds)) + "\n";
    }
    return text;
}

// Damages a well-formed text where a reader can be led astray: its end, its marks, any byte.
void Damage(Dice& dice, string& text) {
    const char kMarks[] = {'\t', '\n', '\\', '\0', 'n'};
    const std::size_t at = dice.Below(text.size() + 1);
    switch (dice.Below(4)) {
        case 0: text.resize(at); break;
        case 1: text.insert(at, 1, kMarks[dice.Below(sizeof(kMarks))]); break;
        case 2: text.erase(at, 1); break;
        default:
            if (at < text.size()) text[at] = static_cast<char>(dice.Below(256));
            break;
    }
}

string RandomPayload(Dice& dice) {
    if (dice.OneIn(12)) return RandomBytes(dice, 24);
    string text = RandomItems(dice);
    if (dice.OneIn(4)) Damage(dice, text);
    return text;
}

int RandomId(Dice& dice) {
    const int kOddIds[] = {0, 1, 2, 3, 4, 5, -1, 1999, 2009, 0x7FFFFFFF, -0x7FFFFFFF - 1, 0xD007};
    if (dice.OneIn(12)) return kOddIds[dice.Below(std::size(kOddIds))];
    // A third of all calls adds one item, so that there is something to remove and to replace.
    return dice.OneIn(3) ? 2005 : 2000 + static_cast<int>(dice.Below(9));
}

string RandomBuffer(Dice& dice) {
    if (dice.OneIn(30)) return RandomBytes(dice, 7);
    const std::vector<char> buffer = Frame(RandomPayload(dice), RandomId(dice));
    return string(buffer.begin(), buffer.end());
}

bool IsTheSame(const ReferenceService::Item& expected, AppListItem& actual) {
    return expected.name == actual.GetVisibleName() && expected.id == actual.GetUnigueId();
}

template <class Item>
bool AreTheSame(const std::vector<ReferenceService::Item>& expected,
                const std::vector<Item*>& actual) {
    if (expected.size() != actual.size()) return false;
    for (std::size_t at = 0; at < expected.size(); ++at) {
        if (!IsTheSame(expected[at], *actual[at])) return false;
    }
    return true;
}

}  // namespace

class ARandomPartner : public recording::RecordingService,
                       public ::testing::WithParamInterface<unsigned> {
protected:
    ARandomPartner() : m_dice(GetParam()) { m_model.m_raisesEvents = true; }

    void Step() {
        switch (m_dice.Below(40)) {
            case 0: SendNotification(RandomBuffer(m_dice)); break;
            case 1: ReportConnection(); break;
            case 2: ActAsApplication(); break;
            default: SendMessage(RandomBuffer(m_dice)); break;
        }
    }

    void SendMessage(const string& buffer) {
        Remember("message", buffer);
        const string reply = Deliver(std::vector<char>(buffer.begin(), buffer.end()));
        EXPECT_EQ(m_reference.Message(buffer), reply);
        ++m_messages;
    }

    void SendNotification(const string& buffer) {
        Remember("notification", buffer);
        std::vector<char> data(buffer.begin(), buffer.end());
        TesselDbusLocal::Newest()->HandleNotification(data);
        m_reference.Notification(buffer);
    }

    void ReportConnection() {
        const string kPartners[] = {"", ":1.7", ":1.42"};
        const bool state = !m_dice.OneIn(3);
        const string& partner = m_dice.Of(kPartners);
        Remember("connection", partner);
        TesselDbusLocal::Newest()->HandleConnectionReady(state, partner);
        m_reference.Connection(state, partner);
    }

    void ActAsApplication() {
        const unsigned choice = m_dice.Below(4);
        Remember("application's act", std::to_string(choice));
        const string& id = m_dice.Of(kIds);
        switch (choice) {
            case 0: m_model.RaiseSelected(), m_reference.RaiseSelected(); break;
            case 1: m_model.RaiseChanged(), m_reference.RaiseChanged(); break;
            case 2: m_model.RaiseClicked(), m_reference.RaiseClicked(); break;
            default: m_model.Own("own", id), m_reference.AddOwn("own", id); break;
        }
    }

    void Compare() {
        EXPECT_EQ(m_reference.TakeEvents(), TakeEvents());
        EXPECT_TRUE(AreTheSame(m_reference.Model(), m_model.Items())) << m_model.Content();
        EXPECT_TRUE(AreTheSame(m_reference.Received(), RegistryOf(*m_service)))
            << RegistryContent();
        EXPECT_TRUE(IsTheSame(m_reference.Selected(), *m_model.Selected()))
            << NameAndId(*m_model.Selected());
        recording::RestartLog();
    }

    // For the failure text alone.
    void Remember(const char* what, const string& bytes) {
        m_what = what;
        m_bytes = bytes;
    }

    Dice m_dice;
    ReferenceService m_reference = ReferenceService(true);
    const char* m_what = "";
    string m_bytes;
    int m_messages = 0;
};

TEST_P(ARandomPartner, GetsFromTheServiceWhatItGetsFromTheReference) {
    while (m_messages < kMessagesPerSeed) {
        Step();
        Compare();
        ASSERT_FALSE(HasFailure()) << "seed " << GetParam() << ", after " << m_messages
                                   << " messages, at the " << m_what << " " << Hex(m_bytes);
    }
    DestroyService();
    m_reference.Destroy();
    EXPECT_EQ(m_reference.TakeEvents(), TakeEvents());
    std::cout << "seed " << GetParam() << ": " << m_messages << " messages, the same from both\n";
}

INSTANTIATE_TEST_SUITE_P(WithSeed, ARandomPartner, ::testing::ValuesIn(kSeeds),
                         [](const auto& seed) { return std::to_string(seed.param); });
