// SPDX-License-Identifier: MIT

// The service over the open transport, where the two meet: lists as long as only devices that went
// wrong have them.

#include "applist/LocalAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "support/EndpointTest.h"

namespace {

// `count` items of 100 bytes each, the way they are written.
class LongList : public AppListModel {
public:
    explicit LongList(std::size_t count) {
        for (std::size_t number = 0; number < count; ++number) {
            std::string id = std::to_string(number);
            id.resize(49, '-');
            m_items.emplace_back(std::string(49, 'n'), id);
        }
    }

    std::vector<AppListItem*> GetAllItems() override {
        std::vector<AppListItem*> items;
        for (RemoteAppListItem& item : m_items) items.push_back(&item);
        return items;
    }
    AppListItem* GetSelection() override { return &m_items.front(); }

    void SetSelection(AppListItem*) override {}
    void SetClicked(AppListItem*) override {}
    void RemoveAllItems() override {}
    void AddItems(const std::vector<AppListItem*>&) override {}
    void AddItemAtEnd(AppListItem*) override {}
    void RemoveItem(AppListItem*) override {}
    void ModifyItem(AppListItem*, AppListItem*) override {}
    int GetItemsCount() override { return static_cast<int>(m_items.size()); }
    void AddItemSelectionListener(ItemSelectionListener*) override {}
    void RemoveItemSelectionListener(ItemSelectionListener*) override {}
    void AddItemChangeListener(ItemChangeListener*) override {}
    void RemoveItemChangeListener(ItemChangeListener*) override {}
    void AddItemClickedListener(ItemClickListener*) override {}
    void RemoveItemClickedListener(ItemClickListener*) override {}

private:
    std::vector<RemoteAppListItem> m_items;
};

std::string Request(std::int32_t id) {
    return std::string(reinterpret_cast<const char*>(&id), sizeof(id));
}

}  // namespace

class AServiceWithFortyMegabytes : public EndpointTest {
protected:
    AServiceWithFortyMegabytes() {
        EndEndpoint();
        m_service = std::make_unique<LocalAppListModel>(&m_list);
    }

    LongList m_list{400'000};
    std::unique_ptr<LocalAppListModel> m_service;
    std::unique_ptr<BusClient> m_client = NewClient();
};

// Both buses once: what differs between their limits is seen with shorter lists.
INSTANTIATE_TEST_SUITE_P(OnBothBuses, AServiceWithFortyMegabytes,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn},
                                           BusVariety{BusProgram::Broker, BusLimits::BuiltIn}),
                         NameOfBus);

TEST_P(AServiceWithFortyMegabytes, RefusesTheListAsAMessageAndGoesOn) {
    EXPECT_EQ(kTooLarge, m_client->Message(Request(APPLIST_GET_ALL_ITEMS_FNC)).error);

    const Answer selection = m_client->Message(Request(APPLIST_GET_SELECTION_FNC));
    EXPECT_EQ("", selection.error) << selection.text;
    EXPECT_EQ(100u, selection.body.size());
}

TEST_P(AServiceWithFortyMegabytes, SendsTheListInAMemfd) {
    const TestFd request = MemfdOf(Request(APPLIST_GET_ALL_ITEMS_FNC));

    const Answer answer = m_client->MessageFd(request.Get());

    ASSERT_EQ("", answer.error) << answer.text;
    const std::string list = ContentOf(answer.fd->Get());
    EXPECT_EQ(40'000'000u, list.size());
    EXPECT_EQ(std::string(49, 'n') + "\t399999" + std::string(43, '-') + "\n",
              list.substr(list.size() - 100));
}
