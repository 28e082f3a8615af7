# SPDX-License-Identifier: MIT

# An archive shares its names with the program that links it: what ours define, and a program whose
# own names are those that ours have inside.

if(APPLIST_OPEN_TRANSPORT AND APPLIST_OPEN_LOG)
    set(archives applist_common applist_service applist_bus applist_transport
                 applist_remote_core applist_remote applist_partner applist_log)
    if(APPLIST_APPS)
        list(APPEND archives applist_apps_common applistd_parts applistctl_parts)
    endif()

    list(TRANSFORM archives REPLACE "(.+)" "$<TARGET_FILE:\\1>" OUTPUT_VARIABLE archive_files)
    add_test(NAME names.symbols
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/names/symbols_test.py
                     ${archive_files})
    set_tests_properties(names.symbols PROPERTIES LABELS "unit;static" TIMEOUT 120)
    set_property(TEST names.symbols PROPERTY ENVIRONMENT
        CXX=${CMAKE_CXX_COMPILER} NM=${CMAKE_NM} PYTHONDONTWRITEBYTECODE=1)

    add_executable(foreign_names_tests
        names/ForeignNames.cpp
        names/ForeignNames_test.cpp
        partner/EditableList.cpp)
    # The archives whole, not only what the program happens to need, and after the program's own
    # objects: of two definitions the linker takes the first.
    list(JOIN archive_files "," whole)
    target_link_libraries(foreign_names_tests PRIVATE
        -Wl,--whole-archive,${whole},--no-whole-archive
        ${archives} test_support GTest::gtest_main)
    # Inlined, a function is the linker's business no more. What corrupts the heap is
    # AddressSanitizer's to find (APPLIST_SANITIZE); the other sanitizer
    # would only cost time to compile.
    target_compile_options(foreign_names_tests PRIVATE -O0 -fno-sanitize=undefined)
    applist_add_bus_tests(foreign_names_tests)
endif()
