// SPDX-License-Identifier: MIT

// Item text: the stream operators against the same text read and written by hand.

#include "ItemText.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "ByHand.h"
#include "Interleaved.h"
#include "applist/RemoteAppListItem.h"

namespace bench {

namespace {

struct Sample {
    explicit Sample(std::size_t count) : plain(SampleItems(count)) {
        for (const PlainItem& item : plain) {
            remote.emplace_back(item.visibleName, item.uniqueId);
            AppendByHand(item, text);
        }
    }

    std::vector<PlainItem> plain;
    std::vector<RemoteAppListItem> remote;
    std::string text;
};

// ---- What is timed ------------------------------------------------------------------------------

// Reading starts from the bytes of a message. Ours: a stream over a copy of them, as the service
// makes it, and an extraction into a new item each. By hand: the bytes where they are, and a new
// pair of strings each. Both return the number of items.
std::size_t ReadWithOperator(const Sample& sample) {
    std::istringstream in(sample.text);
    for (std::size_t count = 0;; ++count) {
        RemoteAppListItem item;
        if (!(in >> item)) return count;
        benchmark::DoNotOptimize(item);
    }
}

std::size_t ReadWithHands(const Sample& sample) {
    const char* at = sample.text.data();
    const char* const end = at + sample.text.size();
    for (std::size_t count = 0;; ++count) {
        PlainItem item;
        at = ReadByHand(at, end, item);
        if (at == nullptr) return count;
        benchmark::DoNotOptimize(item);
    }
}

// Writing ends with the text in a string. Ours: an insertion each into a new stream, and the
// stream's text. By hand: an append each to a new string.
std::string WriteWithOperator(const Sample& sample) {
    std::ostringstream out;
    for (const RemoteAppListItem& item : sample.remote) out << item;
    return out.str();
}

std::string WriteWithHands(const Sample& sample) {
    std::string text;
    for (const PlainItem& item : sample.plain) AppendByHand(item, text);
    return text;
}

// ---- Google Benchmark ---------------------------------------------------------------------------

void CountItems(benchmark::State& state, const Sample& sample) {
    const auto bytes = static_cast<std::int64_t>(sample.text.size());
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * bytes);
}

template <std::size_t (*Read)(const Sample&)>
void Reading(benchmark::State& state) {
    const Sample sample(static_cast<std::size_t>(state.range(0)));
    if (Read(sample) != sample.plain.size()) state.SkipWithError("not all items were read");
    while (state.KeepRunning()) benchmark::DoNotOptimize(Read(sample));
    CountItems(state, sample);
}

template <std::string (*Write)(const Sample&)>
void Writing(benchmark::State& state) {
    const Sample sample(static_cast<std::size_t>(state.range(0)));
    if (Write(sample) != sample.text) state.SkipWithError("the two texts differ");
    while (state.KeepRunning()) benchmark::DoNotOptimize(Write(sample));
    CountItems(state, sample);
}

BENCHMARK_TEMPLATE(Reading, ReadWithOperator)->Name("ItemText/read/operator")->Arg(100);
BENCHMARK_TEMPLATE(Reading, ReadWithHands)->Name("ItemText/read/by_hand")->Arg(100);
BENCHMARK_TEMPLATE(Writing, WriteWithOperator)->Name("ItemText/write/operator")->Arg(100);
BENCHMARK_TEMPLATE(Writing, WriteWithHands)->Name("ItemText/write/by_hand")->Arg(100);

constexpr double kReadTarget = 1.7;
constexpr double kWriteTarget = 3.2;

// Two items as part of a longer life: stream and string exist, so that what is timed is the items
// and not the making of a stream.
void CompareTwoItems(const Rounds& plan) {
    const Sample sample(2);
    std::istringstream in(sample.text);
    const Comparison read = Compare(
        plan,
        [&] {
            in.clear();
            in.seekg(0);
            RemoteAppListItem items[2];
            in >> items[0] >> items[1];
            benchmark::DoNotOptimize(items);
        },
        [&] {
            PlainItem items[2];
            const char* const end = sample.text.data() + sample.text.size();
            ReadByHand(ReadByHand(sample.text.data(), end, items[0]), end, items[1]);
            benchmark::DoNotOptimize(items);
        });
    std::ostringstream out;
    std::string text;
    const Comparison write = Compare(
        plan,
        [&] {
            out.seekp(0);
            out << sample.remote[0] << sample.remote[1];
            benchmark::DoNotOptimize(out);
        },
        [&] {
            text.clear();
            AppendByHand(sample.plain[0], text);
            AppendByHand(sample.plain[1], text);
            benchmark::DoNotOptimize(text);
        });
    PrintTableHead(plan);
    PrintTableLine("read 2 items, kept stream", read, kReadTarget);
    PrintTableLine("write 2 items, kept stream", write, kWriteTarget);
}

void CompareSample(std::size_t count, const Rounds& plan) {
    const Sample sample(count);
    const Comparison read = Compare(
        plan, [&] { benchmark::DoNotOptimize(ReadWithOperator(sample)); },
        [&] { benchmark::DoNotOptimize(ReadWithHands(sample)); });
    const Comparison write = Compare(
        plan, [&] { benchmark::DoNotOptimize(WriteWithOperator(sample)); },
        [&] { benchmark::DoNotOptimize(WriteWithHands(sample)); });
    const std::string items = std::to_string(count) + " items of " +
                              std::to_string((sample.text.size() + count / 2) / count) + " bytes";
    PrintTableHead(plan);
    PrintTableLine(("read " + items).c_str(), read, kReadTarget);
    PrintTableLine(("write " + items).c_str(), write, kWriteTarget);
}

}  // namespace

// A list as a device has it, and one as large as lists get.
void PrintItemTextRatios() {
    CompareTwoItems({21, 1000, 100});
    CompareSample(100, {21, 100, 10});
    CompareSample(10000, {21, 10, 1});
}

}  // namespace bench
