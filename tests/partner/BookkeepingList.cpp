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
    int& newest = m_newest[partner];
    if (number <= newest) {
        m_complain(name + " came out of order, or twice: after " + std::to_string(newest));
    }
    newest = number;
    EditableList::AddItemAtEnd(item);
}

int BookkeepingList::Newest(std::size_t partner) const {
    const auto found = m_newest.find(partner);
    return found == m_newest.end() ? 0 : found->second;
}
