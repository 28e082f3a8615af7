// SPDX-License-Identifier: MIT

#include "sim/Service.h"

#include <algorithm>

#include "common/Guarded.h"
#include "sim/Attacker.h"
#include "sim/Memory.h"

namespace sim {

namespace {

constexpr std::size_t kMostItems = 12;
constexpr int kEventsOfAChat = 80;

}  // namespace

// ---- The list -----------------------------------------------------------------------------------

ServiceList::ServiceList(World& world, const Complain& complain)
    : BookkeepingList(complain), m_world(world), m_complain(complain) {
    EditableList::AddItemChangeListener(this);
    EditableList::AddItemSelectionListener(this);
    EditableList::AddItemClickedListener(this);
    Add("First", "a");
}

void ServiceList::SetSelection(AppListItem* selection) {
    const MemoryLasts lasts;
    EditableList::SetSelection(selection);
}

std::vector<AppListItem*> ServiceList::GetAllItems() {
    const MemoryLasts lasts;
    return EditableList::GetAllItems();
}

void ServiceList::SetClicked(AppListItem* clicked) {
    const MemoryLasts lasts;
    EditableList::SetClicked(clicked);
}

void ServiceList::RemoveAllItems() {
    const MemoryLasts lasts;
    EditableList::RemoveAllItems();
}

void ServiceList::AddItems(const std::vector<AppListItem*>& items) {
    const MemoryLasts lasts;
    EditableList::AddItems(items);
}

// Not only partners add items: attackers do, too.
void ServiceList::AddItemAtEnd(AppListItem* item) {
    const MemoryLasts lasts;
    if (item->GetVisibleName() == Attacker::kForbiddenName) m_complain("read what is not sealed");
    if (IsSigned(item->GetVisibleName())) {
        BookkeepingList::AddItemAtEnd(item);
    } else {
        EditableList::AddItemAtEnd(item);
    }
    if (m_isChatty) Chat();
}

// In turns, as equal ones would be told once.
void ServiceList::Chat() {
    const std::string selected = GetSelection()->GetUnigueId();
    for (int times = 0; times < kEventsOfAChat; times += 2) {
        SelectOutside("Chat", selected);
        TellOfNothing();
    }
    Click();
}

void ServiceList::RemoveItem(AppListItem* item) {
    const MemoryLasts lasts;
    EditableList::RemoveItem(item);
}

void ServiceList::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    const MemoryLasts lasts;
    EditableList::ModifyItem(oldItem, newItem);
}

void ServiceList::AddItemSelectionListener(ItemSelectionListener* listener) {
    const MemoryLasts lasts;
    m_selectionListeners.Add(listener);
}

void ServiceList::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListeners.Remove(listener);
}

void ServiceList::AddItemChangeListener(ItemChangeListener* listener) {
    const MemoryLasts lasts;
    m_changeListeners.Add(listener);
}

void ServiceList::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.Remove(listener);
}

void ServiceList::AddItemClickedListener(ItemClickListener* listener) {
    const MemoryLasts lasts;
    m_clickListeners.Add(listener);
}

void ServiceList::RemoveItemClickedListener(ItemClickListener* listener) {
    m_clickListeners.Remove(listener);
}

void ServiceList::Expect(const WireMessage& call, const Connection& over) {
    constexpr std::size_t kLength = 4;  // before the bytes of an array
    const std::string item = call.body.substr(std::min(kLength, call.body.size()));
    const std::string name = item.substr(0, item.find('\t'));
    if (!IsSigned(name)) return;
    if (!m_sent.emplace(name, over).second) m_complain(name + " was sent twice");
}

// The writer knows since then that the outcome is unknown, and may have written again.
std::string ServiceList::ConnectionOf(const std::string& write) {
    const auto found = m_sent.find(write);
    if (found == m_sent.end()) {
        m_complain(write + " was never sent");
        return std::string();
    }
    const Connection& over = found->second;
    if (!over.isOpen()) m_complain(write + " came over a connection that has ended");
    return over.name;
}

void ServiceList::Note() {
    const MemoryLasts lasts;
    m_versions.Note(m_world.Now(), Content::Of(*this));
}

void ServiceList::ItemChanged(AppListModel*) {
    Note();
    m_changeListeners.ForEach(
        [this](ItemChangeListener* each) { Tell([this, each] { each->ItemChanged(this); }); });
}

void ServiceList::ItemSelected(AppListModel*) {
    Note();
    m_selectionListeners.ForEach(
        [this](ItemSelectionListener* each) { Tell([this, each] { each->ItemSelected(this); }); });
}

void ServiceList::ItemClicked(AppListModel*) {
    m_lastClick = m_world.Now();
    m_clickListeners.ForEach(
        [this](ItemClickListener* each) { Tell([this, each] { each->ItemClicked(this); }); });
}

// What the service does when it is told is under test again.
void ServiceList::Tell(const std::function<void()>& listener) {
    const Process* const process = m_world.Running();
    const MemoryEnds ends(process != nullptr && process->lacksMemory);
    const bool isTold = applist::Guarded("telling the service", listener);
    const MemoryLasts lasts;
    if (!isTold) m_complain("the service throws at the list that tells it of a change");
}

// ---- The process --------------------------------------------------------------------------------

Service::Service(World& world, const Complain& complain)
    : Program(world, "service", complain), m_list(world, complain) {}

Content Service::Truth() {
    return IsUp() ? Content::Of(m_list) : Content();
}

void Service::Open() {
    m_model = std::make_unique<LocalAppListModel>(&m_list);
}

void Service::Close() {
    m_list.ForgetPartnersItems();
    m_list.Note();
    m_model.reset();
}

void Service::Edit(std::uint64_t what, std::uint64_t where, const std::string& name,
                   const std::string& id) {
    Do([=] {
        m_world.Log("the application edits: %d", static_cast<int>(what % 9));
        const std::string failure = Try([&] { EditNow(what, where, name, id); });
        if (!failure.empty()) m_world.Log("the edit failed: %s", failure.c_str());
    });
}

void Service::EditNow(std::uint64_t what, std::uint64_t where, const std::string& name,
                      const std::string& id) {
    const MemoryLasts lasts;
    const auto size = static_cast<std::size_t>(m_list.GetItemsCount());
    if (size > kMostItems) return m_list.RemoveAllItemsOfItsOwn();
    if (what % 9 < 3 || size == 0) return m_list.Insert(where % (size + 1), name, id);
    const std::size_t place = where % size;
    switch (what % 9) {
        case 3: return m_list.RemoveAt(place);
        case 4: return m_list.Rename(m_list.GetAllItems()[place]->GetUnigueId(), name);
        case 5: return m_list.Move(place, (where >> 32) % size);
        case 6: return m_list.SelectOutside(name, id);
        case 7: return m_list.Click();
        default: return m_list.Select(id);
    }
}

}  // namespace sim
