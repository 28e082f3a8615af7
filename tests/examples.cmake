# SPDX-License-Identifier: MIT

# The examples as a reader runs them, and the documents that quote them.

if(APPLIST_APPS)
    foreach(subject programs own_transport protocol sessions tutorial)
        add_test(NAME examples.${subject}
                 COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/examples/${subject}_test.py)
        set_tests_properties(examples.${subject} PROPERTIES LABELS app TIMEOUT 240)
        set_property(TEST examples.${subject} PROPERTY ENVIRONMENT
            APPLIST_PROGRAMS=${CMAKE_BINARY_DIR}/bin
            APPLIST_SOURCES=${PROJECT_SOURCE_DIR}
            APPLISTD=$<TARGET_FILE:applistd>
            PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps
            PYTHONDONTWRITEBYTECODE=1)
    endforeach()
    # It builds a project from nothing.
    set_tests_properties(examples.tutorial PROPERTIES TIMEOUT 900)
endif()

add_test(NAME documents
         COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/examples/documents_test.py)
set_tests_properties(documents PROPERTIES LABELS "unit;static" TIMEOUT 60)
set_property(TEST documents PROPERTY ENVIRONMENT
    APPLIST_SOURCES=${PROJECT_SOURCE_DIR} PYTHONDONTWRITEBYTECODE=1)
