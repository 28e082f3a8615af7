// SPDX-License-Identifier: MIT

#include "adapters/qt/ListModel.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <utility>

#include "adapters/qt/SdEventDriver.h"
#include "partner/RemoteAppListModel.h"

namespace applist::qt {

using Operation = FailedWrite::Operation;

namespace {

constexpr std::chrono::milliseconds kLastRetry{10000};

// At each step a view, or a model in between, may look at all its rows: whoever is told of more
// steps than this has less to do when it begins anew.
constexpr std::size_t kMostSteps = 1000;

QString Shown(const std::string& bytes) {
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

int ToRow(std::size_t row) {
    return static_cast<int>(row);
}

template <class Container>
auto At(Container& rows, std::size_t row) {
    return rows.begin() + static_cast<std::ptrdiff_t>(row);
}

}  // namespace

// What there is once there was a bus: the partner's model, and what it tells.
class ListModel::Link : public ItemSelectionListener,
                        public RowListener,
                        public ListReadListener,
                        public ServiceListener,
                        public WriteListener {
public:
    explicit Link(ListModel* shown) : m_shown(shown) {
        m_remote.AddItemSelectionListener(this);
        m_remote.AddRowListener(this);
        m_remote.AddListReadListener(this);
        m_remote.AddServiceListener(this);
        m_remote.AddWriteListener(this);
    }

    RemoteAppListModel& Remote() { return m_remote; }

    void ItemSelected(AppListModel*) override { m_shown->ShowSelection(); }
    void RowsChanged(RemoteAppListModel*, const std::vector<RowChange>& changes) override {
        m_shown->Apply(changes);
    }
    void ListReadChanged(RemoteAppListModel*) override { m_shown->ShowState(); }
    void ServiceChanged(RemoteAppListModel*) override { m_shown->ShowState(); }
    void WriteFailed(RemoteAppListModel*, const FailedWrite& write) override {
        Q_EMIT m_shown->writeFailed(Shown(write.Text()));
    }

private:
    ListModel* const m_shown;
    RemoteAppListModel m_remote;
};

ListModel::ListModel(QObject* parent) : QAbstractListModel(parent) {
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &ListModel::Connect);
    Connect();
}

ListModel::~ListModel() = default;

RemoteAppListModel* ListModel::remote() const {
    return m_link == nullptr ? nullptr : &m_link->Remote();
}

// Nothing may leave it: in QML, or from a timer, nobody could catch it.
void ListModel::Connect() {
    try {
        DriveSdEvent();
        m_link = std::make_unique<Link>(this);
        SetError(QString());
    } catch (const std::exception& error) {
        m_retry.start(m_wait);
        m_wait = std::min(m_wait * 2, kLastRetry);
        SetError(Shown(error.what()));
    }
}

void ListModel::SetError(const QString& error) {
    if (error == m_error) return;
    m_error = error;
    Q_EMIT errorChanged();
}

// ---- Reads --------------------------------------------------------------------------------------

int ListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ToRow(m_rows.size());
}

QVariant ListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return QVariant();
    const RemoteAppListItem& item = *At(m_rows, static_cast<std::size_t>(index.row()));
    switch (role) {
        case Qt::DisplayRole:
        case NameRole: return Shown(item.VisibleName());
        case IdRole: return Shown(item.UniqueId());
        case SelectedRole: return index.row() == m_selected.row();
        default: return QVariant();
    }
}

QHash<int, QByteArray> ListModel::roleNames() const {
    return {{NameRole, "name"}, {IdRole, "id"}, {SelectedRole, "selected"}};
}

QString ListModel::selection() const {
    return Shown(m_selectedId);
}

// ---- Writes -------------------------------------------------------------------------------------

bool ListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != SelectedRole || !value.toBool()) return false;
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return false;
    selectAt(index.row());
    return true;
}

void ListModel::select(const QString& id) {
    Select(ItemWith(id));
}

void ListModel::selectAt(int row) {
    if (IsRow(row)) Select(ItemAt(row));
}

void ListModel::append(const QString& name, const QString& id) {
    Write(Operation::Add, RemoteAppListItem(name.toStdString(), id.toStdString()),
          [](RemoteAppListModel& list, AppListItem& item) { list.AddItemAtEnd(&item); });
}

void ListModel::remove(const QString& id) {
    Remove(ItemWith(id));
}

void ListModel::removeAt(int row) {
    if (IsRow(row)) Remove(ItemAt(row));
}

void ListModel::replace(const QString& oldId, const QString& name, const QString& id) {
    Replace(ItemWith(oldId), RemoteAppListItem(name.toStdString(), id.toStdString()));
}

void ListModel::replaceAt(int row, const QString& name, const QString& id) {
    if (!IsRow(row)) return;
    Replace(ItemAt(row), RemoteAppListItem(name.toStdString(), id.toStdString()));
}

void ListModel::Select(const RemoteAppListItem& item) {
    Write(Operation::Select, item,
          [](RemoteAppListModel& list, AppListItem& sent) { list.SetSelection(&sent); });
}

void ListModel::Remove(const RemoteAppListItem& item) {
    Write(Operation::Remove, item,
          [](RemoteAppListModel& list, AppListItem& sent) { list.RemoveItem(&sent); });
}

void ListModel::Replace(const RemoteAppListItem& old, RemoteAppListItem item) {
    Write(Operation::Replace, old,
          [&item](RemoteAppListModel& list, AppListItem& sent) { list.ModifyItem(&sent, &item); });
}

// The item is a copy: what the write tells of may change the rows.
template <class Send>
void ListModel::Write(Operation operation, RemoteAppListItem item, Send send) {
    using Cause = RemoteError::Cause;
    const auto fail = [&](Cause cause, const std::string& text) {
        const FailedWrite write{operation, item, 1, RemoteError(cause, text)};
        Q_EMIT writeFailed(Shown(write.Text()));
    };
    if (m_link == nullptr) return fail(Cause::NoService, m_error.toStdString());
    try {
        send(m_link->Remote(), item);
    } catch (const std::exception& error) {
        fail(Cause::Failed, error.what());
    }
}

bool ListModel::IsRow(int row) const {
    return row >= 0 && row < rowCount();
}

const RemoteAppListItem& ListModel::ItemAt(int row) const {
    return m_rows[static_cast<std::size_t>(row)];
}

// What is shown differs from the bytes where they are no UTF-8, or begin with a byte order mark.
RemoteAppListItem ListModel::ItemWith(const QString& id) const {
    const std::string bytes = id.toStdString();
    const auto same = [&](const RemoteAppListItem& each) { return each.UniqueId() == bytes; };
    const auto alike = [&](const RemoteAppListItem& each) { return Shown(each.UniqueId()) == id; };
    auto found = std::find_if(m_rows.begin(), m_rows.end(), same);
    if (found == m_rows.end()) found = std::find_if(m_rows.begin(), m_rows.end(), alike);
    return found == m_rows.end() ? RemoteAppListItem(std::string(), bytes) : *found;
}

// ---- What the service's list tells --------------------------------------------------------------

// A view may read the rows at each step, and finds them as they are after that step.
void ListModel::Apply(const std::vector<RowChange>& changes) {
    const bool isInStep = std::exchange(m_isInStep, false);  // until all went well
    const std::vector<AppListItem*> items = remote()->GetAllItems();
    if (!isInStep || changes.size() > kMostSteps) {
        BeginAnew(items);
    } else {
        for (const RowChange& change : changes) ApplyStep(change, items);
    }
    m_isInStep = true;
    ShowSelection();
}

void ListModel::BeginAnew(const std::vector<AppListItem*>& items) {
    std::vector<RemoteAppListItem> rows;
    rows.reserve(items.size());
    for (AppListItem* item : items) rows.emplace_back(*item);
    beginResetModel();
    m_rows.swap(rows);
    endResetModel();
}

void ListModel::ApplyStep(const RowChange& change, const std::vector<AppListItem*>& items) {
    switch (change.kind) {
        case RowChange::Kind::Removed: return RemoveStep(change);
        case RowChange::Kind::Inserted: return InsertStep(change, items);
        case RowChange::Kind::Moved: return MoveStep(change);
        case RowChange::Kind::Renamed: return RenameStep(change, items);
    }
}

void ListModel::RemoveStep(const RowChange& change) {
    beginRemoveRows(QModelIndex(), ToRow(change.row), ToRow(change.row + change.count - 1));
    m_rows.erase(At(m_rows, change.row), At(m_rows, change.row + change.count));
    endRemoveRows();
}

// Insertions and new names come last, from the first row to the last: these rows are where they
// will be.
void ListModel::InsertStep(const RowChange& change, const std::vector<AppListItem*>& items) {
    std::vector<RemoteAppListItem> added;
    added.reserve(change.count);
    for (std::size_t row = change.row; row < change.row + change.count; ++row) {
        added.emplace_back(*items[row]);
    }
    // What throws does so before the view is told.
    const std::size_t size = m_rows.size() + change.count;
    if (size > m_rows.capacity()) m_rows.reserve(std::max(size, 2 * m_rows.capacity()));
    beginInsertRows(QModelIndex(), ToRow(change.row), ToRow(change.row + change.count - 1));
    m_rows.insert(At(m_rows, change.row), std::make_move_iterator(added.begin()),
                  std::make_move_iterator(added.end()));
    endInsertRows();
}

// Qt counts the row to move to before the moved ones are taken out.
void ListModel::MoveStep(const RowChange& change) {
    const bool isDown = change.to > change.row;
    const std::size_t end = change.row + change.count;
    beginMoveRows(QModelIndex(), ToRow(change.row), ToRow(end - 1), QModelIndex(),
                  ToRow(isDown ? change.to + change.count : change.to));
    if (isDown) {
        std::rotate(At(m_rows, change.row), At(m_rows, end), At(m_rows, change.to + change.count));
    } else {
        std::rotate(At(m_rows, change.to), At(m_rows, change.row), At(m_rows, end));
    }
    endMoveRows();
}

void ListModel::RenameStep(const RowChange& change, const std::vector<AppListItem*>& items) {
    const std::size_t end = change.row + change.count;
    for (std::size_t row = change.row; row < end; ++row) m_rows[row] = *items[row];
    Q_EMIT dataChanged(index(ToRow(change.row)), index(ToRow(end - 1)),
                       {Qt::DisplayRole, NameRole});
}

// By its place in the list, as ids may repeat. What is not in the list has none.
void ListModel::ShowSelection() {
    AppListItem* const selected = remote()->GetSelection();
    const std::vector<AppListItem*> items = remote()->GetAllItems();
    const std::string id = selected->GetUnigueId();
    const bool isOther = id != m_selectedId;
    m_selectedId = id;
    MoveSelectionTo(
        static_cast<int>(std::find(items.begin(), items.end(), selected) - items.begin()));
    if (isOther) Q_EMIT selectionChanged();
    if (selectedRow() == m_toldRow) return;
    m_toldRow = selectedRow();
    Q_EMIT selectedRowChanged();
}

// A row that is not there has no index, and is -1.
void ListModel::MoveSelectionTo(int row) {
    const QPersistentModelIndex before = m_selected;
    m_selected = IsRow(row) ? index(row) : QModelIndex();
    if (m_selected == before) return;
    for (const QModelIndex& each : {QModelIndex(before), QModelIndex(m_selected)}) {
        if (each.isValid()) Q_EMIT dataChanged(each, each, {SelectedRole});
    }
}

// Who hears of one finds the other as it is now, too.
void ListModel::ShowState() {
    const bool wasThere = m_isServiceThere;
    const bool wasLoading = m_isLoading;
    m_isServiceThere = remote()->IsServiceThere();
    m_isLoading = m_isServiceThere && !remote()->IsListRead();
    if (m_isServiceThere != wasThere) Q_EMIT serviceThereChanged();
    if (m_isLoading != wasLoading) Q_EMIT loadingChanged();
}

}  // namespace applist::qt
