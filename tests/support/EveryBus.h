// SPDX-License-Identifier: MIT

// Instantiates the tests of a fixture, whose parameter is a BusVariety, on every bus.

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/PrivateBus.h"

inline std::string NameOfBus(const ::testing::TestParamInfo<BusVariety>& info) {
    return NameOf(info.param);
}

#define ON_EVERY_BUS(fixture) \
    INSTANTIATE_TEST_SUITE_P(OnEveryBus, fixture, ::testing::ValuesIn(EveryBus()), NameOfBus)
