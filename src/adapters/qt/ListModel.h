// SPDX-License-Identifier: MIT

// The service's list as a model of Qt's, for views in QML and in widgets. Its rows follow the
// service with insertions, removals, moves and changes; with a reset only where it would take more
// than a thousand of those, or memory was short. It drives the
// thread's default sd-event loop (adapters/qt/SdEventDriver.h), so that a program needs nothing
// else but Qt's event loop.
//
// Names and ids are bytes. They are shown as UTF-8, with U+FFFD in place of what is not; inside,
// and to the service, they stay what they are. Two ids may look the same then: the functions with
// At in their name go by the row, and always mean the right one.
//
// Threads: the one that built it, which has Qt's event loop. Lifetime: whoever wants to destroy it
// from inside one of its signals uses deleteLater.

#pragma once

#include <QAbstractListModel>
#include <QPersistentModelIndex>
#include <QString>
#include <QTimer>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "common/Export.h"
#include "partner/FailedWrite.h"
#include "partner/RowChange.h"

namespace applist {
class RemoteAppListModel;
}

namespace applist::qt {

class APPLIST_EXPORT ListModel : public QAbstractListModel {
    Q_OBJECT

    // The id of what is selected, which is empty when nothing is; and its row, -1 when it is not in
    // the list.
    Q_PROPERTY(QString selection READ selection NOTIFY selectionChanged)
    Q_PROPERTY(int selectedRow READ selectedRow NOTIFY selectedRowChanged)

    // Whether there is a service, and whether its list is still on the way: an empty list is empty
    // when there is a service and nothing is loading.
    Q_PROPERTY(bool serviceThere READ isServiceThere NOTIFY serviceThereChanged)
    Q_PROPERTY(bool loading READ isLoading NOTIFY loadingChanged)

    // Why there is no bus, in one line, perhaps already when the model has been built; empty as
    // soon as there was one. It is tried again by itself, first after a second, and at last every
    // ten.
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)

public:
    // Qt::DisplayRole is the name, too. Setting SelectedRole of a row to true selects it, also
    // through a model between this one and the view.
    enum Role {
        NameRole = Qt::UserRole,  // "name", a string
        IdRole,                   // "id", a string
        SelectedRole,             // "selected", a bool; true for one row at most
    };
    Q_ENUM(Role)

    // Connects to the selected bus (bus/BusSelection.h) and follows its service, now or when it
    // appears. Waits for the bus as RemoteAppListModel does, here and when it tries again, but
    // never for a service. Does not throw when there is no bus: see the property error. REQUIRES:
    // there is a QCoreApplication.
    explicit ListModel(QObject* parent = nullptr);
    ~ListModel() override;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    QHash<int, QByteArray> roleNames() const override;

    QString selection() const;
    int selectedRow() const { return m_selected.row(); }
    bool isServiceThere() const { return m_isServiceThere; }
    bool isLoading() const { return m_isLoading; }
    QString error() const { return m_error; }

    // Write to the service, without waiting; the rows show it when the service has told of it. The
    // service removes and replaces only what partners have added. An id is the first row's that
    // shows it; where none does, it is sent as UTF-8. A row that is not there is left alone.
    Q_INVOKABLE void select(const QString& id);
    Q_INVOKABLE void selectAt(int row);
    Q_INVOKABLE void append(const QString& name, const QString& id);
    Q_INVOKABLE void remove(const QString& id);
    Q_INVOKABLE void removeAt(int row);
    Q_INVOKABLE void replace(const QString& oldId, const QString& name, const QString& id);
    Q_INVOKABLE void replaceAt(int row, const QString& name, const QString& id);

    // What this model follows, for all that is not here, such as its timeout; nullptr as long as
    // there was no bus. It stays this model's.
    RemoteAppListModel* remote() const;

Q_SIGNALS:
    void selectionChanged();
    void selectedRowChanged();
    void serviceThereChanged();
    void loadingChanged();
    void errorChanged();

    // A write was not carried out, or may not have been: a sentence for whoever looks at the
    // screen, in English and without a full stop (FailedWrite::Text). It may come from inside the
    // write.
    void writeFailed(const QString& message);

private:
    class Link;

    void Connect();
    void SetError(const QString& error);

    void Select(const RemoteAppListItem& item);
    void Remove(const RemoteAppListItem& item);
    void Replace(const RemoteAppListItem& old, RemoteAppListItem item);
    template <class Send>
    void Write(FailedWrite::Operation operation, RemoteAppListItem item, Send send);
    bool IsRow(int row) const;
    const RemoteAppListItem& ItemAt(int row) const;
    RemoteAppListItem ItemWith(const QString& id) const;

    void Apply(const std::vector<RowChange>& changes);
    void ApplyStep(const RowChange& change, const std::vector<AppListItem*>& items);
    void BeginAnew(const std::vector<AppListItem*>& items);
    void RemoveStep(const RowChange& change);
    void InsertStep(const RowChange& change, const std::vector<AppListItem*>& items);
    void MoveStep(const RowChange& change);
    void RenameStep(const RowChange& change, const std::vector<AppListItem*>& items);
    void ShowSelection();
    void MoveSelectionTo(int row);
    void ShowState();

    std::vector<RemoteAppListItem> m_rows;
    bool m_isInStep = true;  // the rows are those that the next changes start from
    QPersistentModelIndex m_selected;
    std::string m_selectedId;
    int m_toldRow = -1;
    bool m_isServiceThere = false;
    bool m_isLoading = false;
    QString m_error;
    QTimer m_retry;
    std::chrono::milliseconds m_wait{1000};  // until it is tried again
    std::unique_ptr<Link> m_link;
};

}  // namespace applist::qt
