# SPDX-License-Identifier: MIT

# What was installed, as its consumers have it.

if(APPLIST_OPEN_TRANSPORT AND APPLIST_OPEN_LOG)
    set(installed ${CMAKE_BINARY_DIR}/installed)
    add_test(NAME install.prefix
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/prefix.sh ${PROJECT_SOURCE_DIR}
                     ${CMAKE_COMMAND} ${CMAKE_GENERATOR} ${installed}/build ${installed}/prefix
                     -DAPPLIST_GTK=${APPLIST_GTK} -DAPPLIST_QT=${APPLIST_QT})
    set_tests_properties(install.prefix PROPERTIES
        LABELS install TIMEOUT 900 FIXTURES_SETUP installed)
    foreach(way cmake-shared cmake-static pkg-config pkg-config-static)
        add_test(NAME install.${way}
                 COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/consumers_test.sh
                         ${PROJECT_SOURCE_DIR} ${CMAKE_COMMAND} ${CMAKE_GENERATOR}
                         ${installed}/prefix ${way})
        set_tests_properties(install.${way} PROPERTIES
            LABELS install TIMEOUT 240 FIXTURES_REQUIRED installed)
    endforeach()
    if(TARGET applist::gtk AND TARGET qml_launcher)
        foreach(way shared static pkg-config)
            add_test(NAME install.toolkits-${way}
                     COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/toolkits_test.sh
                             ${PROJECT_SOURCE_DIR} ${CMAKE_COMMAND} ${CMAKE_GENERATOR}
                             ${installed}/prefix ${way})
            set_tests_properties(install.toolkits-${way} PROPERTIES
                LABELS install TIMEOUT 240 FIXTURES_REQUIRED installed)
        endforeach()
    endif()
    add_test(NAME install.tutorial
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/tutorial_test.sh ${PROJECT_SOURCE_DIR}
                     ${CMAKE_COMMAND} ${CMAKE_GENERATOR} ${installed}/prefix)
    set_tests_properties(install.tutorial PROPERTIES
        LABELS install TIMEOUT 240 FIXTURES_REQUIRED installed)
    add_test(NAME install.hardening
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/hardening_test.sh ${installed}/prefix)
    set_tests_properties(install.hardening PROPERTIES
        LABELS install TIMEOUT 30 FIXTURES_REQUIRED installed)
endif()
