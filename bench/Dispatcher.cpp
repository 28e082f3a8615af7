// SPDX-License-Identifier: MIT

// Remote calls through channel and dispatcher, with nothing below and no log: what the service
// itself adds to a call.

#include "Dispatcher.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "ByHand.h"
#include "Interleaved.h"
#include "SimpleModel.h"
#include "applist/ApplistItemComparator.h"
#include "applist/LocalAppListModel.h"
#include "common/AppListRemoteControl.h"

namespace bench {

namespace {

std::vector<char> Request(AppListRemoteControl function, const std::string& payload) {
    std::vector<char> request(payload.begin(), payload.end());
    const std::int32_t id = function;
    const char* const bytes = reinterpret_cast<const char*>(&id);
    request.insert(request.end(), bytes, bytes + sizeof(id));
    return request;
}

// The channel takes its buffer apart, so each call gets a copy, as each message off a bus does.
std::vector<char> Call(const std::vector<char>& request) {
    std::vector<char> message(request);
    return TesselDbusLocal::Newest()->HandleMessage(message);
}

void GetSelection(benchmark::State& state) {
    SimpleModel model(SampleItems(100));
    const LocalAppListModel service(&model);
    const std::vector<char> request = Request(APPLIST_GET_SELECTION_FNC, "");
    if (Call(request).empty()) state.SkipWithError("no selection came back");
    while (state.KeepRunning()) benchmark::DoNotOptimize(Call(request));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(GetSelection)->Name("Dispatcher/2001_GetSelection");

void GetAllItems(benchmark::State& state) {
    SimpleModel model(SampleItems(static_cast<std::size_t>(state.range(0))));
    const LocalAppListModel service(&model);
    const std::vector<char> request = Request(APPLIST_GET_ALL_ITEMS_FNC, "");
    const std::size_t size = Call(request).size();
    if (size == 0) state.SkipWithError("no items came back");
    while (state.KeepRunning()) benchmark::DoNotOptimize(Call(request));
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}
BENCHMARK(GetAllItems)->Name("Dispatcher/2002_GetAllItems")->Arg(100)->Arg(10000);

// A pair, so that the list does not grow with the number of iterations.
void AddAndRemove(benchmark::State& state) {
    SimpleModel model(SampleItems(100));
    const LocalAppListModel service(&model);
    const std::vector<char> add = Request(APPLIST_ADD_ITEM_AT_END_FNC, "Maps\torg.example.maps\n");
    const std::vector<char> remove = Request(APPLIST_REMOVE_ITEM_FNC, "\torg.example.maps\n");
    while (state.KeepRunning()) {
        Call(add);
        Call(remove);
    }
    if (model.GetItemsCount() != 100) state.SkipWithError("an item was added and not removed");
    state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK(AddAndRemove)->Name("Dispatcher/2005_2007_AddAndRemove");

constexpr std::size_t kTargetCount = 10000;
constexpr double kListTarget = 1.4;
constexpr double kSearchTarget = 0.1;

void CompareList(std::size_t count, const Rounds& plan) {
    const std::vector<PlainItem> items = SampleItems(count);
    SimpleModel model(items);
    const LocalAppListModel service(&model);
    const std::vector<char> request = Request(APPLIST_GET_ALL_ITEMS_FNC, "");
    const Comparison list = Compare(
        plan, [&] { benchmark::DoNotOptimize(Call(request)); },
        [&] {
            std::string text;
            for (const PlainItem& item : items) AppendByHand(item, text);
            benchmark::DoNotOptimize(text);
        });
    PrintTableHead(plan);
    const std::string what = "reply to 2002, " + std::to_string(count) + " items";
    if (count == kTargetCount) {
        PrintTableLine(what.c_str(), list, kListTarget);
    } else {
        PrintTableLine(what.c_str(), list);
    }
}

// Items of a partner's, of usual length and with a common beginning, which is what comparing them
// byte by byte takes longest for.
std::vector<RemoteAppListItem> PartnersItems() {
    std::vector<RemoteAppListItem> items;
    for (std::size_t item = kTargetCount; item < 2 * kTargetCount; ++item) {
        items.emplace_back("Application", "org.example.application." + std::to_string(item));
    }
    return items;
}

// A whole removal that finds nothing, with the predicate's search over the same items, which takes
// two copies of ids for each.
void CompareSearch(const Rounds& plan) {
    SimpleModel model(SampleItems(1));
    const LocalAppListModel service(&model);
    std::vector<RemoteAppListItem> items = PartnersItems();
    std::string all;
    for (const RemoteAppListItem& item : items) {
        all += item.VisibleName() + '\t' + item.UniqueId() + '\n';
    }
    Call(Request(APPLIST_ADD_ITEMS_FNC, all));
    RemoteAppListItem absent("", "org.example.application.absnt");
    const std::vector<char> request =
        Request(APPLIST_REMOVE_ITEM_FNC, '\t' + absent.UniqueId() + '\n');
    std::vector<RemoteAppListItem*> pointers;
    for (RemoteAppListItem& item : items) pointers.push_back(&item);
    const Comparison search = Compare(
        plan, [&] { benchmark::DoNotOptimize(Call(request)); },
        [&] {
            benchmark::DoNotOptimize(
                std::find_if(pointers.begin(), pointers.end(), ApplistItemComparator(&absent)));
        });
    const std::string huge(std::size_t{16} << 20, 'i');
    const std::vector<char> hugeRequest = Request(APPLIST_REMOVE_ITEM_FNC, '\t' + huge + '\n');
    const Comparison hugeSearch = Compare(
        plan, [&] { benchmark::DoNotOptimize(Call(hugeRequest)); },
        [&] { benchmark::DoNotOptimize(std::string(huge)); });
    PrintTableHead(plan);
    PrintTableLine("2007, not among 10,000 items", search, kSearchTarget);
    PrintTableLine("2007, id of 16 MiB; one copy of it", hugeSearch);
}

}  // namespace

// By hand, the text is made of strings that are there; the service asks its model for each.
void PrintDispatcherRatios() {
    CompareList(100, {21, 100, 10});
    CompareList(kTargetCount, {21, 10, 1});
    CompareSearch({21, 5, 1});
}

}  // namespace bench
