// SPDX-License-Identifier: MIT

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include "apps/applistctl/Commands.h"
#include "apps/applistctl/Failure.h"
#include "apps/applistctl/ItemFile.h"
#include "apps/applistctl/Suggestion.h"
#include "apps/applistctl/Waiting.h"
#include "apps/common/ItemLines.h"
#include "apps/common/ReadText.h"
#include "common/AppListRemoteControl.h"
#include "ipc/IPCApplist.h"
#include "remote/TesselDbusRemote.h"

namespace applist::ctl {

namespace {

// How many items a function reads.
enum class Takes { None, One, Two, Any };

struct Function {
    const char* name;
    AppListRemoteControl number;
    Takes takes;
};

const Function kFunctions[] = {
    {"SetSelection", APPLIST_SET_SELECTION_FNC, Takes::One},
    {"GetSelection", APPLIST_GET_SELECTION_FNC, Takes::None},
    {"GetAllItems", APPLIST_GET_ALL_ITEMS_FNC, Takes::None},
    {"RemoveAllItems", APPLIST_REMOVE_ALL_ITEMS_FNC, Takes::None},
    {"AddItems", APPLIST_ADD_ITEMS_FNC, Takes::Any},
    {"AddItemAtEnd", APPLIST_ADD_ITEM_AT_END_FNC, Takes::One},
    // It reads none, but the interface has one.
    {"SetClicked", APPLIST_SET_CLICKED_FNC, Takes::Any},
    {"RemoveItem", APPLIST_REMOVE_ITEM_FNC, Takes::One},
    {"ModifyItem", APPLIST_MODIFY_ITEM_FNC, Takes::Two},
};

// The channel's model: notifications that arrive while the reply is awaited interest nobody here.
class Nobody {};

class Channel : public IPCApplist<TesselDbusRemote, Nobody> {
public:
    bool IsServiceThere() const { return m_isServiceThere; }
    void HandleConnectionReady(bool state, const std::string& partner) override {
        m_isServiceThere = state;
        IPCApplist::HandleConnectionReady(state, partner);
    }

private:
    bool m_isServiceThere = false;
};

// Takes any number, also of functions that do not exist: this command is for trying things out.
std::int32_t NumberOf(const std::string& function) {
    std::int32_t number = 0;
    const char* const end = function.data() + function.size();
    const auto parsed = std::from_chars(function.data(), end, number);
    if (parsed.ec == std::errc() && parsed.ptr == end) return number;
    std::vector<std::string> names;
    for (const Function& known : kFunctions) {
        if (function == known.name) return known.number;
        names.emplace_back(known.name);
    }
    // Any number is valid, so there is nothing to propose for one that was mistyped.
    const std::string nearest = NearestOf(names, function);
    throw Failure(kWrongUsage, "unknown function " + function +
                                   (nearest.empty() ? "; give its number or name, such as 2002 or "
                                                      "GetAllItems"
                                                    : "; did you mean " + nearest + "?"));
}

const Function* Known(std::int32_t number) {
    for (const Function& known : kFunctions) {
        if (known.number == number) return &known;
    }
    return nullptr;
}

// Undoes one level of escapes, so that an item's text can be typed as for printf. Unknown escapes
// stay as they are: those of the item text itself are for the service to judge.
std::string Unescape(const std::string& typed) {
    std::string payload;
    for (std::size_t at = 0; at < typed.size(); ++at) {
        const bool isEscape = typed[at] == '\\' && at + 1 < typed.size();
        switch (isEscape ? typed[at + 1] : '\0') {
            case 't': payload += '\t'; break;
            case 'n': payload += '\n'; break;
            case '\\': payload += '\\'; break;
            default: payload += typed[at]; continue;
        }
        ++at;
    }
    return payload;
}

std::string PayloadOf(const Options& options) {
    if (!options.payload) return std::string();
    if (*options.payload != "-") return Unescape(*options.payload);
    return ReadText("-");
}

std::string CountOf(std::size_t count) {
    return count == 0 ? "none" : std::to_string(count);
}

void CheckCount(const Function& function, std::size_t count) {
    const bool fits =
        function.takes == Takes::Any || count == static_cast<std::size_t>(function.takes);
    if (fits) return;
    throw Failure(kWrongUsage, std::string(function.name) + " takes " +
                                   (function.takes == Takes::None  ? "no items"
                                    : function.takes == Takes::One ? "one item"
                                                                   : "two items") +
                                   ", and the payload holds " + CountOf(count) +
                                   "; give as many, or send it all the same with --raw");
}

// A service executes a malformed call with whatever it could read, such as an empty item.
void CheckPayload(const Function& function, const std::string& payload) {
    std::size_t count = 0;
    try {
        count = ReadItemLines(payload, "the payload").size();
    } catch (const InputError& error) {
        throw Failure(kWrongUsage, std::string(error.what()) + ", or send it as it is with --raw");
    }
    CheckCount(function, count);
}

// Nothing says what kind of reply a function gives, so it is tried: items, else bytes.
void PrintReply(const std::string& reply, const Output& output) {
    try {
        output.Print(EntriesOf(ReadItemLines(reply, "the reply")));
    } catch (const InputError&) {
        output.PrintRaw(reply);
    }
}

}  // namespace

void RunCall(const Options& options, const Output& output) {
    const std::int32_t number = NumberOf(options.function);
    // Read before connecting: standard input may take as long as a person types.
    const std::string payload = PayloadOf(options);
    const Function* const function = Known(number);
    if (function != nullptr && !options.raw) CheckPayload(*function, payload);
    Channel channel;
    channel.SetTimeout(options.timeout);
    channel.SetStartsService(!options.noStart);
    std::vector<char> reply;
    AskService(
        options, [&] { return channel.IsServiceThere(); },
        [&] { reply = channel.SendMessage(number, payload.data(), payload.size()); });
    PrintReply(std::string(reply.begin(), reply.end()), output);
    // Said after the call, as its reply, an empty one, looks like that of an edit that was carried
    // out.
    if (function == nullptr) {
        Note(std::to_string(number) +
             " is not a function of this version; services ignore unknown "
             "functions");
    } else if (number == APPLIST_SET_CLICKED_FNC) {
        Note(
            "services do not carry out clicks of partners; click where the list is shown, or "
            "select");
    } else if (reply.empty() && output.IsForPerson()) {
        Note("the reply is empty");
    }
}

}  // namespace applist::ctl
