# SPDX-License-Identifier: MIT

# Both ends, for real, on a bus and in a time that are simulated. See sim/main.cpp.

if(APPLIST_OPEN_TRANSPORT)
    # No gtest inside: it would use the functions that the program takes the place of.
    add_library(sim_parts OBJECT
        partner/BookkeepingList.cpp
        partner/EditableList.cpp
        partner/Shadow.cpp
        sim/Attacker.cpp
        sim/Basics.cpp
        sim/BusDriver.cpp
        sim/CallWatch.cpp
        sim/FdList.cpp
        sim/Fiber.cpp
        sim/FileTable.cpp
        sim/History.cpp
        sim/LibcEvents.cpp
        sim/LibcSockets.cpp
        sim/LibcTime.cpp
        sim/MatchRule.cpp
        sim/Memory.cpp
        sim/PairEnd.cpp
        sim/Partner.cpp
        sim/Program.cpp
        sim/Reader.cpp
        sim/Round.cpp
        sim/Service.cpp
        sim/SimBus.cpp
        sim/Simulation.cpp
        sim/Socket.cpp
        sim/Stream.cpp
        sim/Versions.cpp
        sim/Weather.cpp
        sim/Wire.cpp
        sim/World.cpp
        sim/main.cpp)
    target_link_libraries(sim_parts PUBLIC applist::service applist::partner test_options
                                           PkgConfig::APPLIST_SYSTEMD ${CMAKE_DL_LIBS})
    # Unoptimised it would take minutes.
    target_compile_options(sim_parts PRIVATE $<$<CONFIG:Debug>:-O1>)

    add_executable(sim)
    target_link_libraries(sim PRIVATE sim_parts)

    # The same with a fault planted in one source. The program's own object goes before that of the
    # same name in the archive. Most are built on request alone: `ninja planted_faults`.
    set(planted_faults ${CMAKE_CURRENT_SOURCE_DIR}/sim/planted_faults.py)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${planted_faults})
    execute_process(COMMAND ${APPLIST_PYTHON} ${planted_faults} list
                    OUTPUT_VARIABLE faults COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^\n]+" faults "${faults}")
    add_custom_target(planted_faults)
    foreach(fault IN LISTS faults)
        string(REPLACE "|" ";" fault "${fault}")
        list(GET fault 0 name)
        list(GET fault 1 source)
        set(original ${PROJECT_SOURCE_DIR}/src/${source})
        set(faulty ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
        add_custom_command(OUTPUT ${faulty} VERBATIM
            COMMAND ${APPLIST_PYTHON} ${planted_faults} patch ${name} ${PROJECT_SOURCE_DIR}/src
                    ${faulty}
            DEPENDS ${planted_faults} ${original})
        add_executable(sim_with_${name} EXCLUDE_FROM_ALL ${faulty})
        target_link_libraries(sim_with_${name} PRIVATE sim_parts)
        target_compile_options(sim_with_${name} PRIVATE -w)
        add_dependencies(planted_faults sim_with_${name})
    endforeach()

    add_test(NAME sim.Basics COMMAND sim basics)
    add_test(NAME sim.Rounds COMMAND sim run 1 1000)
    add_test(NAME sim.SameBytes
             COMMAND ${APPLIST_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/sim/same_bytes.py
                     $<TARGET_FILE:sim> ${CMAKE_CURRENT_BINARY_DIR})
    set(tests sim.Basics sim.Rounds sim.SameBytes)
    foreach(name descriptor-leaks owner-believed-from-anybody serials-not-compared)
        set_target_properties(sim_with_${name} PROPERTIES EXCLUDE_FROM_ALL OFF)
        add_test(NAME sim.Finds-${name}
                 COMMAND ${APPLIST_PYTHON} ${planted_faults} hunt
                         $<TARGET_FILE_DIR:sim_with_${name}> 1000 ${name})
        list(APPEND tests sim.Finds-${name})
    endforeach()
    set_tests_properties(${tests} PROPERTIES LABELS sim TIMEOUT 600)
endif()
