# SPDX-License-Identifier: MIT

# applistctl: its parts by GoogleTest, the tool itself as a person and as a script run it, driven
# from Python, against a real applistd on a bus of its own.

add_executable(ctl_tests
    applistctl/Differences_test.cpp
    applistctl/Host_test.cpp
    applistctl/Ids_test.cpp
    applistctl/Json_test.cpp
    applistctl/Suggestion_test.cpp
    applistctl/SyncPlan_test.cpp
    applistctl/Table_test.cpp
    support/RecordingAllocator.cpp)
target_link_libraries(ctl_tests PRIVATE applistctl_parts test_options GTest::gmock
                      GTest::gtest_main)
gtest_discover_tests(ctl_tests DISCOVERY_MODE PRE_TEST PROPERTIES LABELS app TIMEOUT 60)

foreach(subject call edits host json pipe policy service start status sync terminal watch)
    add_test(NAME applistctl.${subject}
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/applistctl/${subject}_test.py)
    set_tests_properties(applistctl.${subject} PROPERTIES LABELS app TIMEOUT 240)
    set_property(TEST applistctl.${subject} PROPERTY ENVIRONMENT
        APPLISTCTL=$<TARGET_FILE:applistctl>
        APPLISTD=$<TARGET_FILE:applistd>
        PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps
        PYTHONDONTWRITEBYTECODE=1)
endforeach()

add_test(NAME applistctl.links_no_service
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/applistctl/linkage_test.sh ${CMAKE_NM}
                 $<TARGET_FILE:applistctl> $<TARGET_FILE:applistd>)
set_tests_properties(applistctl.links_no_service PROPERTIES LABELS app TIMEOUT 60)
