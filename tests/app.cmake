# SPDX-License-Identifier: MIT

# The programs: their parts by GoogleTest, the programs themselves as processes on buses of their
# own, driven from Python.

add_executable(app_tests
    apps/applistd/ApplicationList_test.cpp
    apps/applistd/FileWatch_test.cpp
    apps/applistd/ItemsFile_test.cpp
    apps/applistd/QuietTime_test.cpp
    apps/applistd/ShellWords_test.cpp
    apps/applistd/Successor_test.cpp
    apps/common/ItemLines_test.cpp
    apps/common/LastWords_test.cpp
    apps/common/ReadText_test.cpp
    apps/common/WriteText_test.cpp
    support/RecordingAllocator.cpp
    support/TestLoop.cpp)
target_link_libraries(app_tests PRIVATE applistd_parts test_options GTest::gmock GTest::gtest_main)
target_link_options(app_tests PRIVATE LINKER:--wrap=inotify_init1)
gtest_discover_tests(app_tests DISCOVERY_MODE PRE_TEST PROPERTIES LABELS app TIMEOUT 60)

add_executable(complaint_tests
    apps/common/TellJournal_test.cpp
    support/JournalStandIn.cpp
    support/LoggingProgram.cpp
    support/TestFd.cpp)
target_compile_definitions(complaint_tests PRIVATE APPLISTD="$<TARGET_FILE:applistd>"
                                                   APPLISTCTL="$<TARGET_FILE:applistctl>")
target_link_libraries(complaint_tests PRIVATE applist_apps_common test_options GTest::gtest_main)
add_dependencies(complaint_tests applistd applistctl)
gtest_discover_tests(complaint_tests DISCOVERY_MODE PRE_TEST PROPERTIES LABELS app TIMEOUT 60)

# As it is built without desktop entries.
add_executable(applistd_of_files ${PROJECT_SOURCE_DIR}/apps/applistd/main.cpp)
target_link_libraries(applistd_of_files PRIVATE applistd_parts applist::transport)

# Adds the test `name`, of a `subject` in apps/applistd, with the two programs of a daemon.
function(applist_add_daemon_test name subject daemon desktop)
    add_test(NAME ${name}
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/apps/applistd/${subject}_test.py)
    set_tests_properties(${name} PROPERTIES LABELS app TIMEOUT 240)
    set_property(TEST ${name} PROPERTY ENVIRONMENT
        APPLISTD=${daemon}
        APPLISTD_DESKTOP=${desktop}
        APPLISTD_OF_FILES=$<TARGET_FILE:applistd_of_files>
        APPLIST_EXAMPLES=${PROJECT_SOURCE_DIR}/examples
        PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps
        PYTHONDONTWRITEBYTECODE=1)
endfunction()

foreach(subject command_line console desktop_entries footprint foreign_clients lifecycle reload)
    applist_add_daemon_test(applistd.${subject} ${subject} $<TARGET_FILE:applistd>
                            $<TARGET_FILE:applistd_desktop>)
endforeach()

# As they are shipped, and installed: one finds the other.
set(prefix ${CMAKE_BINARY_DIR}/installed/prefix)
applist_add_daemon_test(install.footprint footprint ${prefix}/bin/applistd
                        ${prefix}/libexec/applist/applistd-desktop)
add_test(NAME install.memory
         COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/install/memory_test.py)
set_property(TEST install.memory PROPERTY ENVIRONMENT
    APPLISTD=${prefix}/bin/applistd
    APPLIST_SOURCES=${PROJECT_SOURCE_DIR}
    PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps
    PYTHONDONTWRITEBYTECODE=1)
set_tests_properties(install.footprint install.memory PROPERTIES
    LABELS install TIMEOUT 60 FIXTURES_REQUIRED installed)

add_test(NAME apps.manual_pages
         COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/apps/manual_pages_test.py)
set_tests_properties(apps.manual_pages PROPERTIES LABELS app TIMEOUT 60)
set_property(TEST apps.manual_pages PROPERTY ENVIRONMENT
    APPLISTCTL=$<TARGET_FILE:applistctl>
    APPLISTD=$<TARGET_FILE:applistd>
    APPLIST_SOURCES=${PROJECT_SOURCE_DIR}
    PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps
    PYTHONDONTWRITEBYTECODE=1)

# As they are installed, in real shells.
foreach(shell Bash Zsh Fish)
    string(TOLOWER ${shell} name)
    add_test(NAME apps.completions.${name}
             COMMAND ${APPLIST_PYTHON}
                     ${CMAKE_CURRENT_SOURCE_DIR}/completions/completions_test.py In${shell})
    set_tests_properties(apps.completions.${name} PROPERTIES LABELS app TIMEOUT 300)
    set_property(TEST apps.completions.${name} PROPERTY ENVIRONMENT
        APPLISTCTL=$<TARGET_FILE:applistctl>
        APPLISTD=$<TARGET_FILE:applistd>
        APPLIST_CMAKE=${CMAKE_COMMAND}
        APPLIST_COMPLETIONS=${PROJECT_BINARY_DIR}/packaging/completions
        APPLIST_SOURCES=${PROJECT_SOURCE_DIR}
        PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps
        PYTHONDONTWRITEBYTECODE=1)
endforeach()
