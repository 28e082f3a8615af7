# SPDX-License-Identifier: MIT

# What goes with the sources to whoever gets them says the same everywhere.

foreach(subject licence pictures versions)
    add_test(NAME papers.${subject}
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/papers/${subject}_test.py)
    set_tests_properties(papers.${subject} PROPERTIES LABELS "unit;static" TIMEOUT 60)
    set_property(TEST papers.${subject} PROPERTY ENVIRONMENT
        APPLIST_SOURCES=${PROJECT_SOURCE_DIR}
        PYTHONDONTWRITEBYTECODE=1)
endforeach()
