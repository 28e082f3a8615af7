// An application's list that keeps the books on the writes that arrive: each partner's in order,
// and none twice. A write tells by its item's name who made it, and the how many-th of theirs it
// is.
//
// Threads: one.

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "partner/EditableList.h"

class BookkeepingList : public EditableList {
public:
    // `complain` is told what is wrong with a write.
    explicit BookkeepingList(std::function<void(const std::string&)> complain)
        : m_complain(std::move(complain)) {}

    // The name for the `number`-th item that `partner` adds.
    static std::string SignedName(std::size_t partner, int number);
    static bool IsSigned(const std::string& name);

    void AddItemAtEnd(AppListItem* item) override;

    // The number of the newest write of `partner` that has arrived; 0 for none.
    int Newest(std::size_t partner) const;

private:
    const std::function<void(const std::string&)> m_complain;
    std::map<std::size_t, int> m_newest;
};
