# SPDX-License-Identifier: MIT

# The open transport and the open log: their parts alone (unit), and the transport on real buses
# (bus). Each test of the latter starts its own dbus-daemon or dbus-broker and needs no other.

# What several programs share.
add_library(test_support STATIC
    support/JournalStandIn.cpp
    support/TestFd.cpp)
target_link_libraries(test_support PUBLIC test_options PRIVATE GTest::gtest)

if(APPLIST_OPEN_TRANSPORT)
    target_sources(test_support PRIVATE
        support/BusClient.cpp
        support/Forger.cpp
        support/PrivateBus.cpp
        support/ProcessState.cpp
        support/ReaderAside.cpp
        support/RecordingEndpoint.cpp
        support/SilentBus.cpp
        support/TestLoop.cpp)
    target_link_libraries(test_support PUBLIC applist::transport PkgConfig::APPLIST_SYSTEMD)

    add_executable(transport_parts_tests
        bus/BusSelection_test.cpp
        bus/ChannelEnd_test.cpp
        bus/NotificationQueue_test.cpp
        bus/OwnedFd_test.cpp
        bus/SealedMemfd_test.cpp
        bus/TransportLimits_test.cpp
        platform/HeldCalls_test.cpp
        platform/ReplyRations_test.cpp
        support/CapturedLog.cpp)
    target_link_libraries(transport_parts_tests PRIVATE test_support GTest::gtest_main)
    applist_add_unit_tests(transport_parts_tests 60)

    add_executable(bus_tests
        platform/EndpointChannel_test.cpp
        platform/EndpointDescriptors_test.cpp
        platform/EndpointForgery_test.cpp
        platform/EndpointLimits_test.cpp
        platform/EndpointMessages_test.cpp
        platform/EndpointNotifications_test.cpp
        platform/EndpointPartners_test.cpp
        platform/EndpointPolicy_test.cpp
        platform/EndpointReturn_test.cpp
        platform/EndpointSlowReply_test.cpp
        platform/EndpointStall_test.cpp
        platform/EndpointStart_test.cpp
        platform/EndpointTurns_test.cpp
        platform/EndpointUnread_test.cpp
        platform/EndpointUnderAttack_test.cpp
        bus/BusLink_test.cpp
        bus/BusProbe_test.cpp
        bus/BusRetry_test.cpp
        bus/Outbox_test.cpp
        platform/ServiceOnABus_test.cpp
        support/BusFaults.cpp
        support/CapturedLog.cpp
        support/EndpointTest.cpp
        support/HeapInUse.cpp)
    target_link_libraries(bus_tests PRIVATE applist::service test_support GTest::gtest_main)
    # Its calls of these pass through support/BusFaults.cpp.
    foreach(call sd_bus_process sd_bus_send sd_event_add_io sd_event_add_time
                 sd_event_add_time_relative sd_bus_message_read_array sd_bus_add_match_async socketpair)
        target_link_options(bus_tests PRIVATE LINKER:--wrap=${call})
    endforeach()
    applist_add_bus_tests(bus_tests)

    # A program of its own, as its heap is.
    add_executable(endpoint_memory_tests
        partner/QuietLog.cpp
        platform/EndpointWithoutMemory_test.cpp
        support/RecordingAllocator.cpp)
    target_link_libraries(endpoint_memory_tests PRIVATE test_support GTest::gtest_main)
    applist_add_bus_tests(endpoint_memory_tests)
endif()

if(APPLIST_OPEN_LOG)
    add_executable(log_writer support/LogWriter.cpp)
    target_link_libraries(log_writer PRIVATE applist::log)

    add_executable(log_tests
        common/PrintableText_test.cpp
        platform/FoldedLines_test.cpp
        platform/LinuxLog_test.cpp
        platform/LinuxLogStall_test.cpp
        support/LoggingProgram.cpp)
    applist_started_program(log_writer writer)
    target_compile_definitions(log_tests PRIVATE LOG_WRITER="${writer}")
    target_link_libraries(log_tests PRIVATE applist::log test_support GTest::gtest_main)
    add_dependencies(log_tests log_writer)
    applist_add_unit_tests(log_tests 120)
endif()
