# applistd as a service of the machine: the files of packaging/, with the daemon that they start, on
# buses and in namespaces of the tests' own.

include(GNUInstallDirs)

foreach(subject activation interface policy policy_rules units)
    add_test(NAME system.${subject}
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/system/${subject}_test.py)
    set_tests_properties(system.${subject} PROPERTIES LABELS app TIMEOUT 240)
    set_property(TEST system.${subject} PROPERTY ENVIRONMENT
        APPLISTD=$<TARGET_FILE:applistd>
        APPLISTCTL=$<TARGET_FILE:applistctl>
        APPLIST_EXAMPLES=$<TARGET_FILE_DIR:example_add>
        APPLIST_DAEMON=${CMAKE_INSTALL_FULL_BINDIR}/applistd
        APPLIST_PACKAGING=${PROJECT_BINARY_DIR}/packaging
        APPLIST_PACKAGING_SOURCE=${PROJECT_SOURCE_DIR}/packaging
        PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps:${CMAKE_CURRENT_SOURCE_DIR}/applistctl
        PYTHONDONTWRITEBYTECODE=1)
endforeach()
