// SPDX-License-Identifier: MIT

// What a partner and the application do one after another. Each step begins with a byte: one of the
// letters in Step, or else a function of the protocol with items from a small stock, so that items
// meet.

#include <iterator>
#include <string>

#include "common/AppListRemoteControl.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "fuzz/ServicePair.h"

using applist::fuzz::Input;
using applist::fuzz::kFaultIsPlanted;
using applist::fuzz::ServicePair;
using std::string;

namespace {

constexpr int kMostSteps = 100;

// Those that a careless comparison would take for each other.
const char* const kStock[] = {"A\ta\n",  "B\tb\n", "b\tb\n", "\t\n",       "B\tB\n",
                              "A\ta \n", "\\\t\n", "a\n",    "\\t\t\\n\n", "C\tc\n"};

// Planted: keeps the reply that tells the selection until a partner selects something, as if a
// selected item could not be removed or replaced.
class Cache {
public:
    string Carry(const string& buffer) {
        if (!kFaultIsPlanted || buffer.size() < 4) return ServicePair::Deliver(buffer);
        const char function = buffer[buffer.size() - 4];
        if (function == '\xD0') m_selection.clear();
        const string reply = ServicePair::Deliver(buffer);
        if (function != '\xD1') return reply;
        if (m_selection.empty() || m_selection == "\t\n") m_selection = reply;
        return m_selection;
    }

private:
    string m_selection;
};

string Items(Input& input) {
    string items;
    for (unsigned left = input.Byte() % 4; left != 0; --left) {
        items += kStock[input.Byte() % std::size(kStock)];
    }
    return items;
}

void ActAsApplication(ServicePair& pair, unsigned choice) {
    switch (choice % 4) {
        case 0: return pair.RaiseSelected();
        case 1: return pair.RaiseChanged();
        case 2: return pair.RaiseClicked();
        default: return pair.AddOwn("own", choice < 128 ? "a" : "own");
    }
}

void CallWithBytes(ServicePair& pair, Input& input) {
    const int function = 2000 + static_cast<int>(input.Byte() % 9);
    pair.Call(function, string(input.Part()));
}

// A name on the bus has no NUL.
void Connect(ServicePair& pair, Input& input) {
    const bool state = input.Byte() % 2 == 0;
    pair.Connection(state, input.CString());
}

void Step(ServicePair& pair, Input& input) {
    const unsigned kind = input.Byte();
    switch (kind) {
        case 'm': return pair.Message(string(input.Part()));
        case 'n': return pair.Notification(string(input.Part()));
        case 'p': return CallWithBytes(pair, input);
        case 'c': return Connect(pair, input);
        case 'a': return ActAsApplication(pair, input.Byte());
        default: return pair.Call(2000 + static_cast<int>(kind % 9), Items(input));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Cache cache;
    ServicePair pair([&](const string& buffer) { return cache.Carry(buffer); });
    for (int steps = 0; steps < kMostSteps && !input.IsEmpty(); ++steps) Step(pair, input);
    pair.Call(APPLIST_GET_SELECTION_FNC);
    pair.Call(APPLIST_GET_ALL_ITEMS_FNC);
    return 0;
}
