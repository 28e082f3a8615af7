# The open transport and the open log: their parts alone (unit), and the transport on real buses
# (bus). Each test of the latter starts its own dbus-daemon or dbus-broker and needs no other.

if(APPLIST_OPEN_TRANSPORT)
    add_executable(bus_tests
        platform/EndpointDescriptors_test.cpp
        platform/EndpointMessages_test.cpp
        platform/EndpointNotifications_test.cpp
        platform/EndpointPartners_test.cpp
        platform/EndpointPolicy_test.cpp
        platform/EndpointReturn_test.cpp
        platform/EndpointStall_test.cpp
        platform/EndpointStart_test.cpp
        platform/EndpointUnderAttack_test.cpp
        platform/Outbox_test.cpp
        support/BusClient.cpp
        support/CapturedLog.cpp
        support/EndpointTest.cpp
        support/PrivateBus.cpp
        support/HeapInUse.cpp
        support/JournalStandIn.cpp
        support/ProcessState.cpp
        support/RecordingEndpoint.cpp
        support/SilentBus.cpp
        support/TestFd.cpp
        support/TestLoop.cpp)
    target_link_libraries(bus_tests PRIVATE applist::transport test_options PkgConfig::SYSTEMD
                                            GTest::gtest_main)
    gtest_discover_tests(bus_tests DISCOVERY_MODE PRE_TEST
                         PROPERTIES LABELS bus TIMEOUT 120)
endif()
