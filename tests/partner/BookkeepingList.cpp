// SPDX-License-Identifier: MIT

#include "partner/BookkeepingList.h"

#include <cstdio>

namespace {

bool Read(const std::string& name, std::size_t& partner, int& number) {
    return std::sscanf(name.c_str(), "partner %zu write %d", &partner, &number) == 2;
}

}  // namespace

std::string BookkeepingList::SignedName(std::size_t partner, int number) {
    return "partner " + std::to_string(partner) + " write " + std::to_string(number);
}

bool BookkeepingList::IsSigned(const std::string& name) {
    std::size_t partner = 0;
    int number = 0;
    return Read(name, partner, number);
}

void BookkeepingList::AddItemAtEnd(AppListItem* item) {
    const std::string name = item->GetVisibleName();
    std::size_t partner = 0;
    int number = 0;
    if (!Read(name, partner, number)) return m_complain("\"" + name + "\" is nobody's write");
    if (!m_arrived.insert({partner, number}).second) m_complain(name + " came twice");
    int& newest = m_newest[{partner, ConnectionOf(name)}];
    if (number < newest) {
        m_complain(name + " came out of order: after " + std::to_string(newest));
    }
    newest = number;
    EditableList::AddItemAtEnd(item);
}

bool BookkeepingList::HasArrived(std::size_t partner, int number) const {
    return m_arrived.count({partner, number}) != 0;
}
