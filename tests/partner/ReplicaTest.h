// SPDX-License-Identifier: MIT

// The fixture of the replica's tests, and the texts and sights that they share.

#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "partner/Replica.h"

namespace replica {

using applist::Replica;

using Pointers = std::vector<AppListItem*>;
using Texts = std::vector<std::string>;

inline std::vector<char> Bytes(const std::string& text) {
    return std::vector<char>(text.begin(), text.end());
}

// "b a" is the list of the items B/b and A/a.
inline std::string ListOf(const std::string& ids) {
    std::string text;
    for (const char id : ids) {
        if (id == ' ') continue;
        text += std::string(1, static_cast<char>(std::toupper(id))) + "\t" + id + "\n";
    }
    return text;
}

inline std::size_t HashOf(std::string_view line) {
    return std::hash<std::string_view>()(line);
}

// Items whose hashes all end with the same bits, so that a table holds them in one place.
inline Texts CrowdedLines(std::size_t count) {
    Texts lines;
    for (int number = 0; lines.size() < count; ++number) {
        const std::string line = "\t" + std::to_string(number);
        if ((HashOf(line) & 0xfff) == 0) lines.push_back(line + "\n");
    }
    return lines;
}

// So many that nobody looks for one of them among all the others.
inline Texts NamesOfOneId(std::size_t count) {
    Texts lines;
    for (std::size_t number = 0; number < count; ++number) {
        lines.push_back(std::to_string(count + number) + "\tid\n");
    }
    return lines;
}

inline std::string WithOrWithoutRows(const ::testing::TestParamInfo<bool>& info) {
    return info.param ? "WithRows" : "WithoutRows";
}

inline std::string Joined(const Texts& lines) {
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
}

// All that is to be seen of a replica.
struct Sight {
    explicit Sight(const Replica& replica)
        : items(replica.GetAllItems()), selection(replica.GetSelection()) {
        for (AppListItem* item : items) content += TextOf(item) + " ";
        content += "(" + TextOf(selection) + ")";
    }

    static std::string TextOf(AppListItem* item) {
        return item->GetVisibleName() + "/" + item->GetUnigueId();
    }

    bool operator==(const Sight& other) const {
        return items == other.items && selection == other.selection && content == other.content;
    }

    Pointers items;
    AppListItem* selection;
    std::string content;
};

}  // namespace replica

// With a view that asks for its rows it finds out in another way what stays.
class AReplica : public ::testing::TestWithParam<bool> {
protected:
    AReplica() { m_replica.FindRows(GetParam()); }

    // Takes over `ids`, of which the item `selection` is selected.
    applist::Replica::Change Take(const std::string& ids, const std::string& selection) {
        return TakeText(replica::ListOf(ids), replica::ListOf(selection));
    }

    applist::Replica::Change TakeText(const std::string& list, const std::string& selection) {
        std::optional<applist::Replica::Change> change =
            m_replica.Update(replica::Bytes(list), replica::Bytes(selection));
        EXPECT_TRUE(change) << "refused: " << list << "selection " << selection;
        return change ? std::move(*change) : applist::Replica::Change();
    }

    applist::Replica::Taken TakeIfWhole(const std::string& ids, const std::string& selection) {
        return m_replica.UpdateIfWhole(replica::Bytes(replica::ListOf(ids)),
                                       replica::Bytes(replica::ListOf(selection)), m_change);
    }

    bool Refuses(const std::string& list, const std::string& selection) {
        const std::string before = Content();
        const bool refused = !m_replica.Update(replica::Bytes(list), replica::Bytes(selection));
        EXPECT_EQ(before, Content());
        return refused;
    }

    std::string Content() const { return replica::Sight(m_replica).content; }

    AppListItem* At(std::size_t place) const { return m_replica.GetAllItems().at(place); }

    applist::Replica m_replica;
    applist::Replica::Change m_change;  // of TakeIfWhole
};
