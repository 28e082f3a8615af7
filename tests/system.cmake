# SPDX-License-Identifier: MIT

# applistd as a service of the machine: the files of packaging/, with the daemon that they start, on
# buses and in namespaces of the tests' own.

include(GNUInstallDirs)

foreach(subject activation interface machine policy policy_rules sandbox units)
    add_test(NAME system.${subject}
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/system/${subject}_test.py)
    set_tests_properties(system.${subject} PROPERTIES LABELS app TIMEOUT 240)
    set_property(TEST system.${subject} PROPERTY ENVIRONMENT
        APPLISTD=$<TARGET_FILE:applistd>
        APPLISTCTL=$<TARGET_FILE:applistctl>
        APPLIST_EXAMPLES=$<TARGET_FILE_DIR:example_add>
        APPLIST_DAEMON=${CMAKE_INSTALL_FULL_BINDIR}/applistd
        APPLIST_BUILD=${PROJECT_BINARY_DIR}
        APPLIST_CMAKE=${CMAKE_COMMAND}
        APPLIST_SANITIZED=${APPLIST_SANITIZE}
        APPLIST_PACKAGING=${PROJECT_BINARY_DIR}/packaging
        APPLIST_PACKAGING_SOURCE=${PROJECT_SOURCE_DIR}/packaging
        PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps:${CMAKE_CURRENT_SOURCE_DIR}/applistctl
        PYTHONDONTWRITEBYTECODE=1)
endforeach()

# Where a process 1 cannot be had: it says so, and what is missing.
set_tests_properties(system.machine PROPERTIES SKIP_RETURN_CODE 77)

# The tests of the programs again, with the daemon in the sandbox of its unit.
foreach(test applistd/command_line applistd/console applistd/desktop_entries
             applistd/foreign_clients applistd/lifecycle applistd/reload)
    get_filename_component(subject ${test} NAME)
    add_test(NAME sandboxed.applistd.${subject}
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/system/in_sandbox.py
                     ${CMAKE_CURRENT_SOURCE_DIR}/apps/${test}_test.py)
    list(APPEND sandboxed sandboxed.applistd.${subject})
endforeach()
foreach(subject call edits host json pipe start status watch)
    add_test(NAME sandboxed.applistctl.${subject}
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/system/in_sandbox.py
                     ${CMAKE_CURRENT_SOURCE_DIR}/applistctl/${subject}_test.py)
    list(APPEND sandboxed sandboxed.applistctl.${subject})
endforeach()
set_tests_properties(${sandboxed} PROPERTIES LABELS app TIMEOUT 240)
set_property(TEST ${sandboxed} PROPERTY ENVIRONMENT
    APPLISTD=${CMAKE_CURRENT_SOURCE_DIR}/system/sandbox.py
    APPLISTCTL=$<TARGET_FILE:applistctl>
    APPLIST_EXAMPLES=${PROJECT_SOURCE_DIR}/examples
    APPLIST_SANDBOXED=$<TARGET_FILE:applistd>
    APPLIST_SANDBOXED_DESKTOP=$<TARGET_FILE:applistd_desktop>
    APPLIST_SANDBOX_UNIT=${PROJECT_BINARY_DIR}/packaging/systemd/system/applistd.service
    APPLIST_SANITIZED=${APPLIST_SANITIZE}
    PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps:${CMAKE_CURRENT_SOURCE_DIR}/applistctl
    PYTHONDONTWRITEBYTECODE=1)
