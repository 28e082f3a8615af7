# SPDX-License-Identifier: MIT

# What fits the list to a toolkit, each a library of its own: nothing else here needs a toolkit. They
# are archives wherever they are, small, and part of the program that links them.

# Whoever takes this project in builds of these only what is linked.
function(applist_add_adapter name)
    applist_add_library(applist_${name} ${ARGN})
    if(NOT applist_IS_TOP_LEVEL)
        set_target_properties(applist_${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    endif()
    add_library(applist::${name} ALIAS applist_${name})
endfunction()

# The linker reads archives in order, and the log is to be the last. A PlatformLogPrint of the
# program's own comes first, and takes its place.
function(applist_bind_to_partner name)
    target_link_libraries(applist_${name} PUBLIC applist_partner)
    if(APPLIST_OPEN_LOG)
        target_link_libraries(applist_${name} PUBLIC applist_log)
    endif()
endfunction()

include(cmake/ApplistGlib.cmake)
include(cmake/ApplistQt.cmake)
