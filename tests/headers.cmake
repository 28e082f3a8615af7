# SPDX-License-Identifier: MIT

# Every header is complete by itself and quiet in a user's build.

# Adds the test "headers.NAME": `source` compiles with each compiler as each standard.
function(applist_add_compile_test name source)
    add_test(NAME headers.${name}
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/headers/compiles ${PROJECT_SOURCE_DIR} ${source}
                     ${ARGN})
    set_tests_properties(headers.${name} PROPERTIES LABELS "unit;static" TIMEOUT 120)
endfunction()

file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/src
     ${PROJECT_SOURCE_DIR}/src/*.h)
# Those of the adapters take their toolkits.
list(FILTER headers EXCLUDE REGEX "^adapters/")
list(APPEND headers AppList.h)
foreach(header IN LISTS headers)
    if(header IN_LIST applist_public_headers)
        applist_add_compile_test(${header} ${header} c++17 c++20 c++2b)
    else()
        applist_add_compile_test(${header} ${header} c++17)
    endif()
endforeach()
foreach(header IN LISTS applist_public_headers)
    if(NOT header IN_LIST headers)
        message(FATAL_ERROR "cmake/ApplistPublicHeaders.cmake lists ${header}, which does not exist")
    endif()
endforeach()

# What is expanded or instantiated in the user's own source.
applist_add_compile_test(use_of_macros_and_templates
                         ${CMAKE_CURRENT_SOURCE_DIR}/headers/UserSource.cpp c++17 c++20 c++2b)

add_test(NAME headers.macros
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/headers/macros ${PROJECT_SOURCE_DIR})
set_tests_properties(headers.macros PROPERTIES LABELS "unit;static" TIMEOUT 60)
