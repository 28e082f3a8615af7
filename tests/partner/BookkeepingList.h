// SPDX-License-Identifier: MIT

// An application's list that keeps the books on the writes that arrive: none twice, and those of
// one connection in order. A bus promises no order between two connections, also when one partner
// had both. A write tells by its item's name who made it, and the how many-th of theirs it is.
//
// Threads: one.

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <set>
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

    // Whether the `number`-th write of `partner` has arrived.
    bool HasArrived(std::size_t partner, int number) const;

protected:
    // Returns over which connection of its partner the write of this name came. By default a
    // partner has only one.
    virtual std::string ConnectionOf(const std::string&) { return std::string(); }

private:
    using Write = std::pair<std::size_t, int>;  // the partner, and the number
    using Connection = std::pair<std::size_t, std::string>;

    const std::function<void(const std::string&)> m_complain;
    std::set<Write> m_arrived;
    std::map<Connection, int> m_newest;
};
