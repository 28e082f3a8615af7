// SPDX-License-Identifier: MIT

// A shadow of a GListModel of ApplistItem objects that is kept by "items-changed" alone. After each
// signal it must equal the model, and no signal may tell of more than it has to.
//
// Threads: the model's. Lifetime: goes before the model.

#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "adapters/glib/ApplistItem.h"

class ListModelTester {
public:
    explicit ListModelTester(GListModel* model);
    ~ListModelTester();
    ListModelTester(const ListModelTester&) = delete;
    ListModelTester& operator=(const ListModelTester&) = delete;

    struct Row {
        std::shared_ptr<ApplistItem> item;
        std::string name;
        std::string id;

        bool operator==(const Row& other) const { return item == other.item && name == other.name; }
    };
    using Rows = std::vector<Row>;

    // The rows as they were told of.
    const Rows& Shown() const { return m_rows; }

    // How many signals there were, and how many rows they told of, since the last time.
    struct Counts {
        std::size_t signals = 0;
        std::size_t rows = 0;
    };
    Counts TakeCounts();

    // What a change from `before` to what is shown now has to tell of, if all ids are different:
    // whether it may be one signal, and the number of rows at least and at most.
    struct Bounds {
        bool isOneRegion = false;
        std::size_t least = 0;
        std::size_t most = 0;
    };
    Bounds BoundsSince(const Rows& before) const;

    // Each item that is there before and after is the same object.
    bool KeepsItemsOf(const Rows& before) const;

private:
    static void OnItemsChanged(GListModel* model, guint row, guint removed, guint added,
                               gpointer self);
    Rows Read() const;
    void Take(std::size_t row, std::size_t removed, std::size_t added);

    GListModel* const m_model;
    Rows m_rows;
    Counts m_counts;
};
