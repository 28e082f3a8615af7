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
        sim/FdList.cpp
        sim/Fiber.cpp
        sim/FileTable.cpp
        sim/History.cpp
        sim/LibcEvents.cpp
        sim/LibcSockets.cpp
        sim/LibcTime.cpp
        sim/MatchRule.cpp
        sim/Memory.cpp
        sim/Partner.cpp
        sim/Program.cpp
        sim/Round.cpp
        sim/Service.cpp
        sim/SimBus.cpp
        sim/Simulation.cpp
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
endif()
