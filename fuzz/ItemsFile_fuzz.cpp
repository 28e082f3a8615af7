// Files of items, read one after another as applistd reads its --items: a good one becomes the
// list, a bad one is refused with its line, and the list stays.

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "applist/ReferenceService.h"
#include "apps/applistd/ApplicationList.h"
#include "apps/common/ItemLines.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"

using applist::InputError;
using applist::ReadItemLines;
using applist::daemon::ApplicationList;
using applist::fuzz::Check;
using applist::fuzz::Input;
using applist::fuzz::kFaultIsPlanted;
using std::string;
using Items = std::vector<RemoteAppListItem>;

namespace {

// The items in `text`, or the number of the first line that is none.
struct Plain {
    Items items;
    std::size_t badLine = 0;
};

Plain PlainItems(const string& text) {
    Plain plain;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        ReferenceService::Item item{0, "", ""};
        if (end == string::npos || !ReferenceService::ReadLine(text.substr(at, end - at), item)) {
            plain.badLine = plain.items.size() + 1;
            break;
        }
        plain.items.emplace_back(item.name, item.id);
        at = end + 1;
    }
    return plain;
}

// Planted: a carriage return before the line feed is taken for a part of the line's end.
string Spoilt(string text) {
    for (std::size_t at; kFaultIsPlanted && (at = text.find("\r\n")) != string::npos;) {
        text.erase(at, 1);
    }
    return text;
}

// Returns nothing when the file was refused.
std::optional<Items> Read(const string& text) {
    const Plain plain = PlainItems(text);
    const string place = "FILE:" + std::to_string(plain.badLine) + ": ";
    try {
        Items items = ReadItemLines(Spoilt(text), "FILE");
        Check(plain.badLine == 0, "only a file whose lines are all items is taken");
        Check(items == plain.items, "the items are those in the file");
        return items;
    } catch (const InputError& error) {
        Check(plain.badLine != 0, "a good file is not refused");
        Check(string(error.what()).compare(0, place.size(), place) == 0, "the bad line is named");
        Check(string(error.what()).find('\n') == string::npos, "in one line");
        return std::nullopt;
    }
}

class Counter : public ItemChangeListener, public ItemSelectionListener {
public:
    void ItemChanged(AppListModel*) override { ++m_changes; }
    void ItemSelected(AppListModel*) override { ++m_selections; }

    int m_changes = 0;
    int m_selections = 0;
};

Items Copied(const std::vector<AppListItem*>& items) {
    Items copies;
    for (AppListItem* item : items) copies.emplace_back(*item);
    return copies;
}

void CheckSelection(ApplicationList& list, const Counter& counter, const AppListItem* before) {
    const std::vector<AppListItem*> items = list.GetAllItems();
    AppListItem* const selection = list.GetSelection();
    const auto found = std::count(items.begin(), items.end(), selection);
    Check(found == (items.empty() ? 0 : 1), "the selection is in the list, if that has any item");
    Check(counter.m_selections == (selection == before ? 0 : 1), "told when it is another one");
    Check(!items.empty() || RemoteAppListItem(*selection) == RemoteAppListItem(), "else empty");
}

void Publish(ApplicationList& list, const Items& items) {
    Counter counter;
    list.AddItemChangeListener(&counter);
    list.AddItemSelectionListener(&counter);
    const Items before = Copied(list.GetAllItems());
    const std::vector<AppListItem*> objects = list.GetAllItems();
    const AppListItem* const selection = list.GetSelection();

    list.SetOwnItems(items);
    Check(Copied(list.GetAllItems()) == items, "the list is the file");
    Check(counter.m_changes == (items == before ? 0 : 1), "told once, when it differs");
    Check(items != before || list.GetAllItems() == objects, "the same items are the same objects");
    CheckSelection(list, counter, selection);
    list.RemoveItemChangeListener(&counter);
    list.RemoveItemSelectionListener(&counter);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    ApplicationList list;
    while (!input.IsEmpty()) {
        const unsigned selected = input.Byte();
        const std::optional<Items> items = Read(string(input.Part()));
        if (items) Publish(list, *items);
        const std::vector<AppListItem*> listed = list.GetAllItems();
        if (!listed.empty()) list.SetSelection(listed[selected % listed.size()]);
    }
    return 0;
}
