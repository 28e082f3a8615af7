// SPDX-License-Identifier: MIT

#include "sim/Versions.h"

#include <cstddef>
#include <utility>

namespace sim {

namespace {

// Longer than anybody asks back for: who synchronizes may be stopped for a minute and more.
constexpr Usec kKeptFor = 600 * kSecond;

std::string Shortened(std::string text) {
    constexpr std::size_t kLong = 160;
    if (text.size() <= kLong) return text;
    return text.substr(0, kLong / 2) + "..." + text.substr(text.size() - kLong / 2);
}

}  // namespace

Content Content::Of(AppListModel& model) {
    Content content;
    for (AppListItem* item : model.GetAllItems()) {
        content.items += item->GetVisibleName() + "/" + item->GetUnigueId() + " ";
    }
    content.selection = model.GetSelection()->GetUnigueId();
    return content;
}

std::string Content::Text() const {
    return Shortened(items) + "(" + Shortened(selection) + ")";
}

void Versions::Note(Usec now, Content content) {
    if (!m_versions.empty() && m_versions.back().content == content) return;
    while (m_versions.size() > 1 && m_versions[1].since + kKeptFor < now) m_versions.pop_front();
    m_versions.push_back({now, std::move(content)});
}

bool Versions::HasShown(const Content& content, Usec from) const {
    bool areItemsFound = false;
    for (std::size_t at = 0; at < m_versions.size(); ++at) {
        const bool isLast = at + 1 == m_versions.size();
        if (!isLast && m_versions[at + 1].since < from) continue;  // replaced before
        const Content& version = m_versions[at].content;
        areItemsFound = areItemsFound || version.items == content.items;
        if (areItemsFound && version.selection == content.selection) return true;
    }
    return false;
}

}  // namespace sim
