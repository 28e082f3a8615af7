// SPDX-License-Identifier: MIT

#include <benchmark/benchmark.h>

#include "Dispatcher.h"
#include "ItemText.h"
#include "RowChanges.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    bench::PrintItemTextRatios();
    bench::PrintDispatcherRatios();
    bench::PrintRowChangesRatios();
    return 0;
}
