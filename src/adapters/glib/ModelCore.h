// SPDX-License-Identifier: MIT

// What is behind an ApplistModel: follows the service for it, and emits its signals.
//
// Threads: the model's. Lifetime: the GObject's, which it keeps alive while handlers run.

#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

#include "adapters/glib/ListRows.h"
#include "partner/RemoteAppListModel.h"

namespace applist {

class ModelCore : public RowListener,
                  public ItemSelectionListener,
                  public ServiceListener,
                  public ListReadListener,
                  public WriteListener {
public:
    // Emits the signals of `object`, which is not ready to yet; Connect is called when it is.
    explicit ModelCore(GObject* object) noexcept;
    ~ModelCore() override;
    ModelCore(const ModelCore&) = delete;
    ModelCore& operator=(const ModelCore&) = delete;

    // Looks for a bus if there is none, and again later.
    void Connect() noexcept;

    const ListRows& Rows() const { return m_rows; }
    ApplistItem* Selection() const { return m_selection.get(); }
    bool IsServiceThere() const { return m_isThere; }
    bool IsLoading() const { return m_isLoading; }
    const char* Error() const { return m_error.empty() ? nullptr : m_error.c_str(); }

    // The item with the id that is shown as `id`; if there is none, one that is not in the list.
    RemoteAppListItem Find(const char* id) const;

    void Select(RemoteAppListItem item);
    void Append(RemoteAppListItem item);
    void Remove(RemoteAppListItem item);
    void Replace(RemoteAppListItem item, RemoteAppListItem newItem);

    void RowsChanged(RemoteAppListModel* model, const std::vector<RowChange>& changes) override;
    void ItemSelected(AppListModel* model) override;
    void ServiceChanged(RemoteAppListModel* model) override;
    void ListReadChanged(RemoteAppListModel* model) override;
    void WriteFailed(RemoteAppListModel* model, const FailedWrite& write) override;

private:
    template <class Write>
    void Send(FailedWrite::Operation operation, const RemoteAppListItem& item, Write write);
    void Listen();
    void TakeSelection(AppListModel& model);
    void TakeState(const RemoteAppListModel& model);
    void SetError(std::string error);
    void ConnectLater();
    static gboolean ConnectAgain(gpointer core);

    GObject* const m_object;
    ListRows m_rows;
    ListRows::Item m_selection;
    bool m_isThere = false;
    bool m_isLoading = false;
    std::string m_error;
    guint m_nextTry = 1;  // in seconds
    GSource* m_retry = nullptr;
    std::unique_ptr<RemoteAppListModel> m_model;  // goes first, and calls nobody then
};

}  // namespace applist
