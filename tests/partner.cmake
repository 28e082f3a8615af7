# SPDX-License-Identifier: MIT

# The partner's side. Its unit tests join a service and partners in one process, over the transport
# in memory of support/pair-transport.

set(pair_transport ${CMAKE_CURRENT_SOURCE_DIR}/support/pair-transport)
applist_add_service(pair_service ${pair_transport})
applist_add_partner(pair_partner ${pair_transport})
add_library(pair_transport STATIC
    ${pair_transport}/PairBus.cpp
    ${pair_transport}/remote/RemoteLink.cpp
    ${PROJECT_SOURCE_DIR}/src/remote/TesselDbusRemote.cpp)
target_include_directories(pair_transport PUBLIC ${pair_transport} ${applist_roots})
target_link_libraries(pair_transport PUBLIC applist_remote_core)

add_executable(partner_unit_tests
    partner/BookkeepingList.cpp
    partner/EditableList.cpp
    partner/FetchPlan_test.cpp
    partner/Fetcher_test.cpp
    partner/Following_test.cpp
    partner/CauseName.cpp
    partner/QuietLog.cpp
    partner/RandomFaults_test.cpp
    partner/RemoteAppListModel_test.cpp
    partner/RemoteListeners_test.cpp
    partner/ReplicaStrain_test.cpp
    partner/Replica_test.cpp
    partner/RowChanges_test.cpp
    partner/Screens_test.cpp
    partner/Shadow.cpp
    partner/Synchronize_test.cpp
    partner/Writing_test.cpp
    support/RecordingAllocator.cpp)
target_link_libraries(partner_unit_tests PRIVATE pair_service pair_partner pair_transport
                                                 test_options GTest::gtest_main)
applist_add_unit_tests(partner_unit_tests 60)

# What the partner's end of a transport decides, without a bus and without a clock.
add_executable(remote_tests
    partner/CauseName.cpp
    partner/QuietLog.cpp
    remote/CallQueue_test.cpp
    remote/EventSeam_test.cpp
    remote/LossWatch_test.cpp
    remote/RemoteErrors_test.cpp
    remote/RemoteSession_test.cpp)
target_link_libraries(remote_tests PRIVATE pair_service pair_partner pair_transport test_options
                                           GTest::gtest_main)
applist_add_unit_tests(remote_tests 60)

# Some of them make hundreds of thousands of steps: unoptimised under the sanitizers they would take
# most of the suite's time.
foreach(target pair_service pair_partner pair_transport partner_unit_tests
               remote_tests)
    target_compile_options(${target} PRIVATE -O1)
endforeach()

# On real buses. What is stopped or killed is a process of its own.
if(APPLIST_OPEN_TRANSPORT)
    add_executable(partner_test_side
        partner/CauseName.cpp
        partner/EditableList.cpp
        partner/QuietLog.cpp
        partner/bus/HostileService.cpp
        partner/bus/Side.cpp)
    target_link_libraries(partner_test_side PRIVATE applist::service applist::partner test_support)
    add_executable(partner_bus_tests
        partner/CauseName.cpp
        partner/EditableList.cpp
        partner/QuietLog.cpp
        partner/bus/Away_test.cpp
        partner/bus/Bounds_test.cpp
        partner/bus/Busy_test.cpp
        partner/bus/Calls_test.cpp
        partner/bus/Channel_test.cpp
        partner/bus/Cuts_test.cpp
        partner/bus/Descriptors_test.cpp
        partner/bus/Destruction_test.cpp
        partner/bus/Following_test.cpp
        partner/bus/Forged_test.cpp
        partner/bus/HostileService.cpp
        partner/bus/Hostile_test.cpp
        partner/bus/Killing_test.cpp
        partner/bus/LastWords_test.cpp
        partner/bus/Owners_test.cpp
        partner/bus/PartnerBusTest.cpp
        partner/bus/Places_test.cpp
        partner/bus/Policy_test.cpp
        partner/bus/ServiceWithChannels_test.cpp
        partner/bus/Shortage_test.cpp
        partner/bus/SideProcess.cpp
        partner/bus/Starting_test.cpp
        partner/bus/SystemPolicy_test.cpp
        support/ChannelCut.cpp
        support/LibraryTimeout.cpp
        support/RecordingAllocator.cpp)
    target_link_libraries(partner_bus_tests PRIVATE applist::service applist::partner test_support
                                                    GTest::gtest_main)
    # Its calls of these pass through support/LibraryTimeout.cpp and support/ChannelCut.cpp.
    foreach(call sd_bus_set_method_call_timeout sd_bus_send)
        target_link_options(partner_bus_tests PRIVATE LINKER:--wrap=${call})
    endforeach()
    applist_started_program(partner_test_side side)
    target_compile_definitions(partner_bus_tests PRIVATE PARTNER_TEST_SIDE="${side}")
    add_dependencies(partner_bus_tests partner_test_side)
    applist_add_bus_tests(partner_bus_tests)

    # A service may have no channels. So whatever a partner does with a real one is done over the
    # bus, too; but for the largest bodies, which travel in descriptors either way, and for what
    # only a channel brings about.
    applist_add_bus_tests(partner_bus_tests "*AWritingPartner*:*ADestroyedPartner*:*APartnerOnABus*:\
*APartnerThatFollows*:*ABusyPartner*:*APartnerThatIsAway*:*APartnerThatRunsNoLoop*:\
-*BatchOf*:*HasSentItsWritesAlsoToAServiceOnItsOwnThread*")

    # Kills, stops, floods and forgeries for as long as it is told; ./dev torture.
    add_executable(torture
        partner/bus/SideProcess.cpp
        torture/Attacker.cpp
        torture/Torture.cpp)
    target_link_libraries(torture PRIVATE test_support)
    target_compile_definitions(torture PRIVATE PARTNER_TEST_SIDE="${side}")
    add_dependencies(torture partner_test_side)
    add_dependencies(bus_programs torture)
    add_test(NAME torture COMMAND torture 60 1)
    set_tests_properties(torture PROPERTIES LABELS bus TIMEOUT 240)
endif()
