# SPDX-License-Identifier: MIT

# The list on GLib's main loop and on a GTK screen.

if(TARGET applist::glib_loop)
    add_executable(glib_loop_tests adapters/glib/Loop_test.cpp)
    target_link_libraries(glib_loop_tests PRIVATE applist::glib_loop test_support GTest::gtest_main)
    gtest_discover_tests(glib_loop_tests DISCOVERY_MODE PRE_TEST
                         PROPERTIES LABELS screen TIMEOUT 240)
endif()
if(TARGET applist::glib)
    add_executable(glib_tests
        adapters/glib/ApplistItem_test.cpp
        adapters/glib/ApplistModel_test.cpp
        adapters/glib/ListModelTest.cpp
        adapters/glib/ListModelTester.cpp
        adapters/glib/RandomEdits_test.cpp
        adapters/glib/RunMainLoop.cpp
        adapters/glib/WithoutMemory_test.cpp
        partner/EditableList.cpp
        partner/QuietLog.cpp
        partner/bus/HostileService.cpp
        support/RecordingAllocator.cpp)
    target_link_libraries(glib_tests PRIVATE applist::glib applist::service test_support
                                             GTest::gtest_main)
    gtest_discover_tests(glib_tests DISCOVERY_MODE PRE_TEST
                         PROPERTIES LABELS screen TIMEOUT 240 ENVIRONMENT APPLIST_DIRECT=1)
endif()

# In a window on an X server of their own.
if(TARGET applist::gtk AND TARGET partner_test_side)
    add_executable(gtk_tests
        adapters/glib/ListModelTest.cpp
        adapters/glib/RunMainLoop.cpp
        adapters/gtk/Launcher_test.cpp
        adapters/gtk/SelectionFollower_test.cpp
        adapters/gtk/TestDisplay.cpp
        partner/EditableList.cpp
        partner/QuietLog.cpp
        partner/bus/HostileService.cpp
        partner/bus/SideProcess.cpp
        ${PROJECT_SOURCE_DIR}/examples/gtk_launcher/Launcher.cpp)
    target_include_directories(gtk_tests PRIVATE ${PROJECT_SOURCE_DIR}/examples)
    target_link_libraries(gtk_tests PRIVATE applist::gtk applist::service test_support GTest::gtest_main)
    applist_started_program(partner_test_side side)
    target_compile_definitions(gtk_tests PRIVATE PARTNER_TEST_SIDE="${side}")
    add_dependencies(gtk_tests partner_test_side)
    gtest_discover_tests(gtk_tests DISCOVERY_MODE PRE_TEST
                         PROPERTIES LABELS screen TIMEOUT 120 ENVIRONMENT
                         LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/adapters/gtk/leaks.supp)
endif()

# The adapters' headers, and names; like those of the other libraries (headers.cmake, names.cmake).
function(applist_add_adapter_headers library standards)
    foreach(header IN LISTS ARGN)
        applist_add_compile_test(adapters/${header} adapters/${header} ${standards})
        set_property(TEST headers.adapters/${header}
                     PROPERTY ENVIRONMENT APPLIST_PACKAGES=${library})
    endforeach()
endfunction()
function(applist_add_c_headers library)
    foreach(header IN LISTS ARGN)
        add_test(NAME headers.c.adapters/${header}
                 COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/headers/compiles_as_c ${PROJECT_SOURCE_DIR}
                         adapters/${header} ${library})
        set_tests_properties(headers.c.adapters/${header} PROPERTIES
            LABELS "screen;static" TIMEOUT 60)
    endforeach()
endfunction()
set(archives)
if(TARGET applist::glib_loop)
    applist_add_adapter_headers(glib-2.0 "c++17;c++20;c++2b" glib/Loop.h)
    applist_add_c_headers(glib-2.0 glib/Loop.h)
    list(APPEND archives applist_glib_loop)
endif()
if(TARGET applist::glib)
    set(c_headers glib/ApplistItem.h glib/ApplistModel.h)
    applist_add_adapter_headers(gio-2.0 "c++17;c++20;c++2b" ${c_headers})
    applist_add_c_headers(gio-2.0 ${c_headers})
    # What is behind the model includes the partner's headers besides.
    applist_add_adapter_headers("gio-2.0 libsystemd" c++17
                                glib/ItemObject.h glib/ListRows.h glib/ModelCore.h)
    list(APPEND archives applist_glib)
endif()
if(TARGET applist::gtk)
    applist_add_adapter_headers(gtk4 "c++17;c++20;c++2b" gtk/SelectionFollower.h)
    applist_add_c_headers(gtk4 gtk/SelectionFollower.h)
    list(APPEND archives applist_gtk)
endif()
if(archives)
    list(TRANSFORM archives REPLACE "(.+)" "$<TARGET_FILE:\\1>")
    add_test(NAME names.adapters
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/names/symbols_test.py
                     $<TARGET_FILE:applist_common> ${archives})
    set_tests_properties(names.adapters PROPERTIES LABELS "screen;static" TIMEOUT 120)
    set_property(TEST names.adapters PROPERTY ENVIRONMENT
        CXX=${CMAKE_CXX_COMPILER} NM=${CMAKE_NM} PYTHONDONTWRITEBYTECODE=1)
endif()
