# The partner's side. Its unit tests join a service and partners in one process, over the transport
# in memory of support/pair-transport.

set(pair_transport ${CMAKE_CURRENT_SOURCE_DIR}/support/pair-transport)
applist_add_service(pair_service ${pair_transport})
applist_add_partner(pair_partner ${pair_transport})
add_library(pair_transport STATIC
    ${pair_transport}/PairBus.cpp
    ${pair_transport}/PairLink.cpp)
target_include_directories(pair_transport PUBLIC ${pair_transport} ${applist_roots})

add_executable(partner_unit_tests
    partner/EditableList.cpp
    partner/Following_test.cpp
    partner/PairTest.cpp
    partner/QuietLog.cpp
    partner/RandomFaults_test.cpp
    partner/RemoteAppListModel_test.cpp
    partner/RemoteListeners_test.cpp
    partner/Replica_test.cpp
    partner/Synchronize_test.cpp)
target_link_libraries(partner_unit_tests PRIVATE pair_service pair_partner pair_transport
                                                 test_options GTest::gtest_main)
# The random test makes hundreds of thousands of steps: unoptimised under the sanitizers it would
# take most of the suite's time.
foreach(target pair_service pair_partner pair_transport partner_unit_tests)
    target_compile_options(${target} PRIVATE -O1)
endforeach()
gtest_discover_tests(partner_unit_tests DISCOVERY_MODE PRE_TEST
                     PROPERTIES LABELS unit TIMEOUT 60)
