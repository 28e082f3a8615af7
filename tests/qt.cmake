# SPDX-License-Identifier: MIT

# applist::qt.

if(NOT TARGET applist::qt)
    return()
endif()
find_package(Qt6 6.4 REQUIRED COMPONENTS Test)

add_executable(qt_tests
    adapters/qt/ListModel_test.cpp
    adapters/qt/RandomEdits_test.cpp
    adapters/qt/SdEventDriver_test.cpp
    adapters/qt/WithoutMemory_test.cpp
    partner/EditableList.cpp
    partner/QuietLog.cpp
    support/RecordingAllocator.cpp)
target_link_libraries(qt_tests PRIVATE applist::qt applist::service test_support Qt6::Test
                                       GTest::gtest_main)
gtest_discover_tests(qt_tests DISCOVERY_MODE PRE_TEST PROPERTIES LABELS screen TIMEOUT 120)

foreach(header ListModel.h Qml.h SdEventDriver.h)
    applist_add_compile_test(adapters/qt/${header} adapters/qt/${header} c++17 c++2b)
    set_property(TEST headers.adapters/qt/${header} PROPERTY ENVIRONMENT
                 "APPLIST_PACKAGES=Qt6Core Qt6Qml")
endforeach()

# The example's window, on an X server of the test's own.
if(TARGET qml_launcher)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Quick Test)
    find_program(APPLIST_XVFB Xvfb)
    find_program(APPLIST_XDOTOOL xdotool)
    if(NOT APPLIST_XVFB OR NOT APPLIST_XDOTOOL)
        message(FATAL_ERROR "The tests in windows need Xvfb and xdotool: install xvfb and xdotool, "
                            "or set APPLIST_QT to OFF")
    endif()
    add_executable(qml_launcher_tests adapters/qt/Launcher_test.cpp)
    target_compile_definitions(qml_launcher_tests PRIVATE
        APPLISTD="$<TARGET_FILE:applistd>"
        APPLISTCTL="$<TARGET_FILE:applistctl>"
        QML_LAUNCHER="$<TARGET_FILE:qml_launcher>")
    target_link_libraries(qml_launcher_tests PRIVATE applist::qt applist::log test_support
                                                     Qt6::Quick Qt6::Test GTest::gtest_main)
    set(launcher ${PROJECT_SOURCE_DIR}/examples/qml_launcher)
    qt_add_resources(qml_launcher_tests launcher PREFIX / BASE ${launcher}
                     FILES ${launcher}/Launcher.qml)
    add_dependencies(qml_launcher_tests applistd applistctl qml_launcher)
    set(leaks ${CMAKE_CURRENT_SOURCE_DIR}/adapters/qt/leaks.supp)
    gtest_discover_tests(qml_launcher_tests DISCOVERY_MODE PRE_TEST
                         PROPERTIES LABELS screen TIMEOUT 120 ENVIRONMENT
                         LSAN_OPTIONS=suppressions=${leaks}:print_suppressions=0)
    # What ./dev demo --window shows.
    add_test(NAME examples.window
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/examples/window_test.py)
    set_tests_properties(examples.window PROPERTIES LABELS screen TIMEOUT 120)
    set_property(TEST examples.window PROPERTY ENVIRONMENT
        APPLIST_PROGRAMS=${CMAKE_BINARY_DIR}/bin
        APPLIST_SOURCES=${PROJECT_SOURCE_DIR}
        APPLISTD=$<TARGET_FILE:applistd>
        ASAN_OPTIONS=detect_leaks=0
        PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps
        PYTHONDONTWRITEBYTECODE=1)
endif()
