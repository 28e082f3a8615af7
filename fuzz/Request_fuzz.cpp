// SPDX-License-Identifier: MIT

// One message to a service that holds items of both kinds: any bytes at all get the reply, the
// events and the list that the protocol says.

#include <cstring>
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

// Planted: the id of an item to remove ends at a NUL, as a C string does.
string Carry(const string& buffer) {
    const string remove = {'\xD7', '\x07', '\0', '\0'};
    const std::size_t nul = buffer.find('\0');
    const bool isRemove = buffer.size() > 4 && buffer.compare(buffer.size() - 4, 4, remove) == 0;
    if (!kFaultIsPlanted || !isRemove || nul >= buffer.size() - 4) {
        return ServicePair::Deliver(buffer);
    }
    return ServicePair::Deliver(buffer.substr(0, nul) + '\n' + remove);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    // By its address: the sanitizer takes a reference to a Thumb function for a misaligned one.
    ServicePair pair(&Carry);
    pair.AddOwn("Maps", "maps");
    pair.Call(APPLIST_ADD_ITEMS_FNC, "Radio\tradio\n\t\nRadio 2\tradio\n");
    pair.Call(APPLIST_SET_SELECTION_FNC, "\tradio\n");
    pair.Message(string(input.Rest()));
    pair.Call(APPLIST_GET_SELECTION_FNC);
    pair.Call(APPLIST_GET_ALL_ITEMS_FNC);
    return 0;
}
