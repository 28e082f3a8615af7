# SPDX-License-Identifier: MIT

# The programs while something that they ask the system for fails: a sample that the seed chooses.
# ./dev torture runs all of it.

add_library(faulty_libc MODULE faults/FaultyLibc.cpp)
# It is loaded in front of a sanitizer, so it is built without one. AddressSanitizer would also take
# the allocations out of its hands.
target_compile_options(faulty_libc PRIVATE -fno-sanitize=all)
target_link_options(faulty_libc PRIVATE -fno-sanitize=all)
target_link_libraries(faulty_libc PRIVATE ${CMAKE_DL_LIBS})

set(faults_environment
    APPLIST_FAULTY_LIBC=$<TARGET_FILE:faulty_libc>
    APPLISTD=$<TARGET_FILE:applistd>
    APPLISTCTL=$<TARGET_FILE:applistctl>
    APPLIST_FOLLOW=$<TARGET_FILE:example_follow>
    PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/apps
    PYTHONDONTWRITEBYTECODE=1)

# Adds the test "faults.PROGRAM.KIND": `size` cases of the matrix.
function(applist_add_faults_test program kind size)
    add_test(NAME faults.${program}.${kind}
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/faults/matrix.py
                     --seed 1 --sample ${size} ${kind} ${program})
    set_tests_properties(faults.${program}.${kind} PROPERTIES LABELS app TIMEOUT 240)
    set_property(TEST faults.${program}.${kind} PROPERTY ENVIRONMENT ${faults_environment})
endfunction()

applist_add_faults_test(applistctl calls 60)
applist_add_faults_test(applistctl memory 60)
applist_add_faults_test(applistd calls 60)
applist_add_faults_test(applistd memory 50)
applist_add_faults_test(applistd-entries calls 40)
applist_add_faults_test(applistd-reload calls 40)
applist_add_faults_test(applistd-reload memory 40)
applist_add_faults_test(applistd-restart calls 6)
applist_add_faults_test(applistd-stall calls 10)
applist_add_faults_test(applistd-start calls 30)
applist_add_faults_test(applistd-start memory 250)
applist_add_faults_test(applistd-stop calls 20)
applist_add_faults_test(applistd-stop memory 120)
applist_add_faults_test(follow calls 30)

# Each of these once broke something.
add_test(NAME faults.known
         COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/faults/known_test.py)
set_tests_properties(faults.known PROPERTIES LABELS app TIMEOUT 240)
set_property(TEST faults.known PROPERTY ENVIRONMENT ${faults_environment})
