# SPDX-License-Identifier: MIT

# applist::qt.

if(NOT applist_has_qt)
    return()
endif()
find_package(Qt6 6.4 REQUIRED COMPONENTS Test)

add_executable(qt_tests
    adapters/qt/ListModel_test.cpp
    adapters/qt/RandomEdits_test.cpp
    adapters/qt/SdEventDriver_test.cpp
    partner/EditableList.cpp
    partner/QuietLog.cpp)
target_link_libraries(qt_tests PRIVATE applist::qt applist::service test_support Qt6::Test
                                       GTest::gtest_main)
gtest_discover_tests(qt_tests DISCOVERY_MODE PRE_TEST PROPERTIES LABELS screen TIMEOUT 120)

foreach(header ListModel.h Qml.h SdEventDriver.h)
    applist_add_compile_test(adapters/qt/${header} adapters/qt/${header} c++17 c++2b)
    set_property(TEST headers.adapters/qt/${header} PROPERTY ENVIRONMENT
                 "APPLIST_PACKAGES=Qt6Core Qt6Qml")
endforeach()
