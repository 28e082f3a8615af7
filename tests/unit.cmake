# SPDX-License-Identifier: MIT

# The service alone, over the recording transport, log, model and heap of support/.

applist_add_service(recording_service ${CMAKE_CURRENT_SOURCE_DIR}/support/ipc-recording)

add_executable(unit_tests
    applist/AppListContracts_test.cpp
    applist/ApplistItemComparator_test.cpp
    applist/Differential_test.cpp
    applist/Dispatcher_test.cpp
    applist/Events_test.cpp
    applist/ItemTextCost_test.cpp
    applist/ItemTextReading_test.cpp
    applist/ItemTextWriting_test.cpp
    applist/LocalAppListModel_test.cpp
    applist/ReferenceService.cpp
    applist/MemoryUse_test.cpp
    applist/Registry_test.cpp
    applist/RemoteAppListItem_test.cpp
    applist/SearchCost_test.cpp
    applist/ServiceLimits_test.cpp
    applist/VirtualSlots_test.cpp
    applist/WithoutMemory_test.cpp
    common/AppListLog_test.cpp
    common/ListenerList_test.cpp
    common/AppListRemoteControl_test.cpp
    common/ItemText_test.cpp
    common/ItemTextWriter_test.cpp
    common/Joined_test.cpp
    ipc/IPCApplist_test.cpp
    support/PlainModel.cpp
    support/RecordingAllocator.cpp
    support/RecordingInside.cpp
    support/RecordingJournal.cpp
    support/RecordingLog.cpp
    support/RecordingModel.cpp
    support/RecordingService.cpp
    support/RecordingTransport.cpp)
target_link_libraries(unit_tests PRIVATE recording_service test_options GTest::gtest_main)

# The random test makes a hundred thousand calls: unoptimised under the sanitizers it would take
# half of the time of the whole suite.
target_compile_options(recording_service PRIVATE -O1)
set_source_files_properties(
    applist/Differential_test.cpp applist/ReferenceService.cpp support/RecordingAllocator.cpp
    support/RecordingJournal.cpp support/RecordingLog.cpp support/RecordingModel.cpp
    support/RecordingService.cpp support/RecordingTransport.cpp
    PROPERTIES COMPILE_OPTIONS -O1)

# A program of its own: it includes the open transport's declaration, whose class has the name of
# the recording one.
add_executable(transport_contract_tests ipc/TesselDbusLocal_test.cpp)
target_include_directories(transport_contract_tests PRIVATE ${applist_roots})
target_link_libraries(transport_contract_tests PRIVATE test_options GTest::gtest_main)

applist_add_unit_tests(unit_tests 60)
applist_add_unit_tests(transport_contract_tests 60)

# What an integrator does by hand and through CMake, with compilers of its own.
add_test(NAME seam.OwnTransportAndLog
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/seam/run ${PROJECT_SOURCE_DIR})
add_test(NAME seam.OwnTransportAndLogThroughCMake
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/seam/run-cmake ${PROJECT_SOURCE_DIR}
                 ${CMAKE_COMMAND} ${CMAKE_GENERATOR})
set_tests_properties(seam.OwnTransportAndLog seam.OwnTransportAndLogThroughCMake
                     PROPERTIES LABELS "unit;static" TIMEOUT 240)
