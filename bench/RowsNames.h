// SPDX-License-Identifier: MIT

// What the two services of rows call themselves on the bus. Constants: any thread.

#pragma once

namespace bench {

constexpr char kSdBusRows[] = "org.tessel.bench.SdBusRows";
constexpr char kGDBusRows[] = "org.tessel.bench.GDBusRows";
constexpr char kRowsPath[] = "/org/tessel/bench/Rows";
constexpr char kRowsInterface[] = "org.tessel.bench.Rows1";

}  // namespace bench
