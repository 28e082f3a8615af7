// SPDX-License-Identifier: MIT

#include "names/ForeignNames.h"

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace {

template <class Foreign>
int WrongIn(int round) {
    constexpr int kCount = 20;
    std::deque<Foreign> queue;
    std::vector<Foreign> row;
    std::map<int, Foreign> byNumber;
    for (int number = round; number < round + kCount; ++number) {
        queue.push_back(Foreign(number));
        row.push_back(queue.back());
        byNumber.emplace(number, row.back());
    }

    int wrong = 0;
    for (const Foreign& each : row) {
        if (!each.IsWhole() || each.m_number != queue.front().m_number) ++wrong;
        if (byNumber.at(each.m_number).m_number != each.m_number) ++wrong;
        queue.pop_front();
    }
    return wrong;
}

}  // namespace

int WrongAfterUse(int round) {
    int wrong = 0;
#define USE_FOREIGN_TYPE(Name) wrong += WrongIn<Name>(round);
    FOREIGN_TYPES(USE_FOREIGN_TYPE)
#undef USE_FOREIGN_TYPE
    return wrong;
}

int& CallsOfForeignFunctions() {
    static int calls = 0;
    return calls;
}

// Functions with the names and the arguments of the libraries' and the programs'. Nobody calls
// them: whoever means one of those finds it.
#define FOREIGN_FUNCTION(Result, Name, ...) \
    Result Name(__VA_ARGS__);               \
    Result Name(__VA_ARGS__) {              \
        ++CallsOfForeignFunctions();        \
        return Result();                    \
    }

FOREIGN_FUNCTION(int, MakeSealedBody, const std::vector<char>&)
FOREIGN_FUNCTION(int, ReadSealedBody, int, std::vector<char>&)
FOREIGN_FUNCTION(std::string, BusAddressValue, const std::string&)
FOREIGN_FUNCTION(std::string, CutTo, const std::string&, std::size_t)
FOREIGN_FUNCTION(std::string, NearestOf, const std::vector<std::string>&, const std::string&)
FOREIGN_FUNCTION(std::string, PrintableText, const std::string&)
FOREIGN_FUNCTION(std::string, ReadText, const std::string&, std::size_t)
FOREIGN_FUNCTION(std::string, ShownId, const std::string&)
FOREIGN_FUNCTION(std::string, SourceName, const std::string&)
FOREIGN_FUNCTION(std::string, WhyNoSealedBody, int, std::size_t)
FOREIGN_FUNCTION(void, MakeFoldersWatchable)
FOREIGN_FUNCTION(void, Note, const std::string&)
FOREIGN_FUNCTION(void, RequireOutput)
FOREIGN_FUNCTION(void, SelectBusAddress, const std::string&)
FOREIGN_FUNCTION(void, SetMinimumLogPriority, int)
FOREIGN_FUNCTION(void, Write, const std::string&, const std::string&)

// Inline ones reach the linker only when something needs their address.
inline std::string BusNameOf(const std::string&) {
    ++CallsOfForeignFunctions();
    return "";
}
inline std::string PathOf(const std::string&) {
    ++CallsOfForeignFunctions();
    return "";
}
std::string (*g_foreignInlineFunctions[])(const std::string&) = {&BusNameOf, &PathOf};
