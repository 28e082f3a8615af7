// SPDX-License-Identifier: MIT

// Files of items, read one after another as applistd reads its --items: a good one becomes the
// list, a bad one is refused with its line, and the list stays.

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "apps/applistd/ApplicationList.h"
#include "apps/common/ItemLines.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "fuzz/PlainItems.h"

using applist::InputError;
using applist::ReadItemLines;
using applist::daemon::ApplicationList;
using namespace applist::fuzz;
using std::string;

namespace {

using Items = std::vector<RemoteAppListItem>;

// Planted: a carriage return before the line feed is taken for a part of the line's end.
string Spoilt(string text) {
    for (std::size_t at; kFaultIsPlanted && (at = text.find("\r\n")) != string::npos;) {
        text.erase(at, 1);
    }
    return text;
}

std::vector<PlainItem> Plain(Items items) {
    std::vector<PlainItem> plain;
    for (RemoteAppListItem& item : items) plain.push_back(PlainItemOf(item));
    return plain;
}

// Returns nothing when the file was refused.
std::optional<Items> Read(const string& text) {
    const PlainText plain = ReadPlainText(text);
    const string place = "FILE:" + std::to_string(plain.badLine) + ": ";
    try {
        Items items = ReadItemLines(Spoilt(text), "FILE");
        Check(plain.badLine == 0, "only a file whose lines are all items is taken");
        Check(Plain(items) == plain.items, "the items are those in the file");
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

void CheckSelection(ApplicationList& list, const Counter& counter, const AppListItem* before) {
    const std::vector<AppListItem*> items = list.GetAllItems();
    AppListItem* const selection = list.GetSelection();
    const auto found = std::count(items.begin(), items.end(), selection);
    Check(found == (items.empty() ? 0 : 1), "the selection is in the list, if that has any item");
    Check(counter.m_selections == (selection == before ? 0 : 1), "told when it is another one");
    Check(!items.empty() || PlainItemOf(*selection) == PlainItem(), "else empty");
}

void Publish(ApplicationList& list, const Items& items) {
    Counter counter;
    list.AddItemChangeListener(&counter);
    list.AddItemSelectionListener(&counter);
    const std::vector<AppListItem*> objects = list.GetAllItems();
    const bool isTheSame = PlainItemsOf(objects) == Plain(items);
    const AppListItem* const selection = list.GetSelection();

    list.SetOwnItems(items);
    Check(PlainItemsOf(list.GetAllItems()) == Plain(items), "the list is the file");
    Check(counter.m_changes == (isTheSame ? 0 : 1), "told once, when it differs");
    Check(!isTheSame || list.GetAllItems() == objects, "the same items are the same objects");
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
