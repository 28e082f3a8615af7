// SPDX-License-Identifier: MIT

#include "sim/Reader.h"

#include <chrono>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "common/AppListRemoteControl.h"
#include "common/ItemText.h"

using applist::ItemText;
using applist::RemoteError;
using applist::RemoteReply;

namespace sim {

namespace {

constexpr std::chrono::seconds kRetry{1};

std::vector<char> Request(AppListRemoteControl id) {
    std::vector<char> request(sizeof(id));
    std::memcpy(request.data(), &id, sizeof(id));
    return request;
}

Content ContentOf(const std::vector<char>& items, const std::vector<char>& selection) {
    Content content;
    std::string_view text(items.data(), items.size());
    while (const std::optional<ItemText> item = ItemText::Take(text)) {
        content.items += item->VisibleName() + "/" + item->UniqueId() + " ";
    }
    text = std::string_view(selection.data(), selection.size());
    if (const std::optional<ItemText> item = ItemText::Take(text)) {
        content.selection = item->UniqueId();
    }
    return content;
}

}  // namespace

class Reader::Remote : public applist::TesselDbusRemote {
public:
    Remote() : TesselDbusRemote("Applist") {}

    std::vector<char> HandleMessage(std::vector<char>&) override { return {}; }
    void HandleNotification(std::vector<char>&) override { Read(); }
    void HandleConnectionReady(bool state, const std::string&) override {
        m_isThere = state;
        m_content = state ? m_content : Content();
        if (state) Read();
    }

    bool m_isThere = false;
    Content m_content;

private:
    // Once more when it has ended, if asked again meanwhile.
    void Read() {
        m_isWanted = true;
        if (std::exchange(m_isReading, true)) return;
        m_isWanted = false;
        PostMessage(Request(APPLIST_GET_ALL_ITEMS_FNC),
                    [this](RemoteReply& items) { m_items = std::move(items); });
        PostMessage(Request(APPLIST_GET_SELECTION_FNC), [this](RemoteReply& selection) {
            m_isReading = false;
            Take(selection);
        });
    }

    void Take(const RemoteReply& selection) {
        const RemoteReply& first = m_items.error ? m_items : selection;
        if (first.error) {
            Fail(first.error->GetCause());
        } else {
            m_content = ContentOf(m_items.body, selection.body);
        }
        if (m_isWanted) Read();
    }

    // That the service is there again, or answers again, the transport tells by itself.
    void Fail(RemoteError::Cause cause) {
        using Cause = RemoteError::Cause;
        if (cause == Cause::NoService || cause == Cause::OutcomeUnknown ||
            cause == Cause::TimedOut) {
            return;
        }
        CallLater(kRetry, [this] { Read(); });
    }

    bool m_isReading = false;
    bool m_isWanted = false;
    RemoteReply m_items;
};

Reader::Reader(World& world, const Complain& complain) : Follower(world, "reader", complain) {}

Reader::~Reader() = default;

bool Reader::SeesService() const {
    return IsUp() && m_remote->m_isThere;
}

Content Reader::Shown() {
    return m_remote->m_content;
}

void Reader::Open() {
    m_remote = std::make_unique<Remote>();
}

void Reader::Close() {
    m_remote.reset();
}

}  // namespace sim
