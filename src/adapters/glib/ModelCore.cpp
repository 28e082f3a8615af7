// SPDX-License-Identifier: MIT

#include "adapters/glib/ModelCore.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <new>
#include <utility>

#include "adapters/glib/Loop.h"

namespace applist {

namespace {

constexpr guint kLongestWait = 30;  // seconds between two looks for a bus

// A handler may drop the last reference. Then the core, and the partner's model with it, go when
// this does: at the end of a listener's call, which may destroy the model.
class Alive {
public:
    explicit Alive(GObject* object) : m_object(G_OBJECT(g_object_ref(object))) {}
    ~Alive() { g_object_unref(m_object); }
    Alive(const Alive&) = delete;
    Alive& operator=(const Alive&) = delete;

private:
    GObject* const m_object;
};

// Which of the list's rows is selected; the number of rows when none is.
std::size_t SelectedRow(AppListModel& model) {
    const std::vector<AppListItem*> items = model.GetAllItems();
    const auto found = std::find(items.begin(), items.end(), model.GetSelection());
    return static_cast<std::size_t>(found - items.begin());
}

// For want of memory to keep the reason in, a text that needs none.
std::string ReasonOf(const std::exception& error) noexcept {
    try {
        return error.what();
    } catch (const std::bad_alloc&) {
        return "out of memory";
    }
}

}  // namespace

ModelCore::ModelCore(GObject* object) noexcept
    : m_object(object), m_rows([object](std::size_t row, std::size_t removed, std::size_t added) {
          g_list_model_items_changed(G_LIST_MODEL(object), static_cast<guint>(row),
                                     static_cast<guint>(removed), static_cast<guint>(added));
      }) {}

ModelCore::~ModelCore() {
    if (m_retry == nullptr) return;
    g_source_destroy(m_retry);
    g_source_unref(m_retry);
}

// ---- The bus ------------------------------------------------------------------------------------

void ModelCore::Connect() noexcept {
    if (m_model) return;
    const Alive alive(m_object);
    try {
        m_model = std::make_unique<RemoteAppListModel>();
        Listen();
        SetError(std::string());
    } catch (const std::exception& error) {
        m_model.reset();
        ConnectLater();
        SetError(ReasonOf(error));
    }
}

void ModelCore::Listen() {
    applist_loop_attach(g_main_context_get_thread_default());
    m_model->AddRowListener(this);
    m_model->AddItemSelectionListener(this);
    m_model->AddServiceListener(this);
    m_model->AddListReadListener(this);
    m_model->AddWriteListener(this);
}

void ModelCore::ConnectLater() {
    if (m_retry != nullptr) return;
    m_retry = g_timeout_source_new_seconds(m_nextTry);
    m_nextTry = std::min(m_nextTry * 2, kLongestWait);
    g_source_set_callback(m_retry, ConnectAgain, this, nullptr);
    g_source_attach(m_retry, g_main_context_get_thread_default());
}

gboolean ModelCore::ConnectAgain(gpointer core) {
    auto* const self = static_cast<ModelCore*>(core);
    g_source_unref(std::exchange(self->m_retry, nullptr));
    self->Connect();
    return G_SOURCE_REMOVE;
}

void ModelCore::SetError(std::string error) {
    if (m_error == error) return;
    m_error.swap(error);
    g_object_notify(m_object, "error");
}

// ---- The list -----------------------------------------------------------------------------------

void ModelCore::RowsChanged(RemoteAppListModel* model, const std::vector<RowChange>& changes) {
    const Alive alive(m_object);
    m_rows.Apply(changes, model->GetAllItems());
    TakeSelection(*model);
}

void ModelCore::ItemSelected(AppListModel* model) {
    const Alive alive(m_object);
    TakeSelection(*model);
}

// Also called when the rows have changed: the selection may have been in the list or not before,
// without being another one.
void ModelCore::TakeSelection(AppListModel& model) {
    const std::size_t row = SelectedRow(model);
    const ListRows::Item now = row < m_rows.Count() ? m_rows.At(row) : nullptr;
    if (now == m_selection) return;
    const ListRows::Item before = std::exchange(m_selection, now);
    if (before) SetSelectedOf(before.get(), false);
    if (now) SetSelectedOf(now.get(), true);
    g_object_notify(m_object, "selection");
}

void ModelCore::ServiceChanged(RemoteAppListModel* model) {
    const Alive alive(m_object);
    TakeState(*model);
}

void ModelCore::ListReadChanged(RemoteAppListModel* model) {
    const Alive alive(m_object);
    TakeState(*model);
}

// Both at once: who hears of one finds the other one right.
void ModelCore::TakeState(const RemoteAppListModel& model) {
    const bool isThere = model.IsServiceThere();
    const bool isLoading = isThere && !model.IsListRead();
    const bool isOther = std::exchange(m_isThere, isThere) != isThere;
    if (std::exchange(m_isLoading, isLoading) != isLoading) g_object_notify(m_object, "loading");
    if (isOther) g_object_notify(m_object, "service-there");
}

// ---- Writes -------------------------------------------------------------------------------------

void ModelCore::WriteFailed(RemoteAppListModel*, const FailedWrite& write) {
    const Alive alive(m_object);
    g_signal_emit_by_name(m_object, "write-failed", write.Text().c_str());
}

template <class Write>
void ModelCore::Send(FailedWrite::Operation operation, const RemoteAppListItem& item, Write write) {
    const Alive alive(m_object);
    if (m_model) return write(*m_model);
    const RemoteError error(RemoteError::Cause::NoService, m_error);
    WriteFailed(nullptr, FailedWrite{operation, item, 1, error});
}

void ModelCore::Select(RemoteAppListItem item) {
    Send(FailedWrite::Operation::Select, item,
         [&](RemoteAppListModel& model) { model.SetSelection(&item); });
}

void ModelCore::Append(RemoteAppListItem item) {
    Send(FailedWrite::Operation::Add, item,
         [&](RemoteAppListModel& model) { model.AddItemAtEnd(&item); });
}

void ModelCore::Remove(RemoteAppListItem item) {
    Send(FailedWrite::Operation::Remove, item,
         [&](RemoteAppListModel& model) { model.RemoveItem(&item); });
}

void ModelCore::Replace(RemoteAppListItem item, RemoteAppListItem newItem) {
    Send(FailedWrite::Operation::Replace, item,
         [&](RemoteAppListModel& model) { model.ModifyItem(&item, &newItem); });
}

RemoteAppListItem ModelCore::Find(const char* id) const {
    const std::string shown = id;
    for (std::size_t row = 0; row < m_rows.Count(); ++row) {
        ApplistItem* const item = m_rows.At(row).get();
        if (shown == applist_item_get_id(item)) return BytesOf(item);
    }
    return {std::string(), shown};
}

}  // namespace applist
