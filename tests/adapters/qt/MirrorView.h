// SPDX-License-Identifier: MIT

// A view that believes what a model tells: it reads a row when it hears that the row is new or has
// changed, and never otherwise. So it differs from the model when that has kept something back.
//
// Threads: the model's. Lifetime: the model outlives it.

#pragma once

#include <QAbstractItemModel>
#include <QObject>
#include <QVariant>
#include <algorithm>
#include <vector>

class MirrorView : public QObject {
public:
    // `roles` are what it shows of a row.
    MirrorView(const QAbstractItemModel& model, std::vector<int> roles)
        : m_model(model), m_roles(std::move(roles)) {
        using Model = QAbstractItemModel;
        connect(&model, &Model::rowsInserted, this, &MirrorView::Insert);
        connect(&model, &Model::rowsRemoved, this, &MirrorView::Remove);
        connect(&model, &Model::rowsMoved, this, &MirrorView::Move);
        connect(&model, &Model::dataChanged, this, &MirrorView::Change);
        connect(&model, &Model::modelReset, this, [this] { ++m_resets; });
    }

    int Resets() const { return m_resets; }
    int Moves() const { return m_moves; }

    // Whether the model would show the same to a view that reads it now.
    bool IsTrue() const {
        std::vector<Row> rows;
        for (int row = 0; row < m_model.rowCount(); ++row) rows.push_back(Read(row));
        return rows == m_rows;
    }

private:
    using Row = std::vector<QVariant>;

    Row Read(int row) const {
        Row values;
        for (const int role : m_roles) values.push_back(m_model.index(row, 0).data(role));
        return values;
    }

    void Insert(const QModelIndex&, int first, int last) {
        for (int row = first; row <= last; ++row) m_rows.insert(m_rows.begin() + row, Read(row));
    }

    void Remove(const QModelIndex&, int first, int last) {
        m_rows.erase(m_rows.begin() + first, m_rows.begin() + last + 1);
    }

    // `to` counts the rows as they were before.
    void Move(const QModelIndex&, int first, int last, const QModelIndex&, int to) {
        ++m_moves;
        const auto begin = m_rows.begin();
        if (to > last) {
            std::rotate(begin + first, begin + last + 1, begin + to);
        } else {
            std::rotate(begin + to, begin + first, begin + last + 1);
        }
    }

    // Of the roles that it was told of, and of all when it was told of none.
    void Change(const QModelIndex& first, const QModelIndex& last, const QList<int>& roles) {
        for (int row = first.row(); row <= last.row(); ++row) {
            Row& values = m_rows[static_cast<std::size_t>(row)];
            const Row now = Read(row);
            for (std::size_t at = 0; at < m_roles.size(); ++at) {
                if (roles.isEmpty() || roles.contains(m_roles[at])) values[at] = now[at];
            }
        }
    }

    const QAbstractItemModel& m_model;
    const std::vector<int> m_roles;
    std::vector<Row> m_rows;
    int m_resets = 0;
    int m_moves = 0;
};
