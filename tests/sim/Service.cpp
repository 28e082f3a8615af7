#include "sim/Service.h"

#include "sim/Memory.h"

namespace sim {

namespace {

constexpr std::size_t kMostItems = 12;

}  // namespace

ServiceList::ServiceList(World& world, const Complain& complain)
    : BookkeepingList(complain), m_world(world) {
    AddItemChangeListener(this);
    AddItemSelectionListener(this);
    Add("First", "a");
}

void ServiceList::AddItemAtEnd(AppListItem* item) {
    if (IsSigned(item->GetVisibleName())) return BookkeepingList::AddItemAtEnd(item);
    EditableList::AddItemAtEnd(item);
}

void ServiceList::Note() {
    const MemoryLasts lasts;
    m_versions.Note(m_world.Now(), Content::Of(*this));
}

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
