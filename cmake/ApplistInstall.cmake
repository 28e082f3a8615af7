# SPDX-License-Identifier: MIT

# What is installed of the libraries, in three components: `runtime`, the shared libraries;
# `development`, all that a consumer builds with; `programs`, which apps/ adds to.
#
# A service and a partner, each as one shared library and as one archive that need nothing else of
# this project; the log and the adapters, as archives. In a consumer's CMake they are
# applist::service, applist::partner, applist::log, applist::qt and so on, as they are within this
# project.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(applist_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/applist-1)
set(applist_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/applist)

# The prefix as pkg-config writes it: from where the .pc file lies, so that it may be moved along
# with the rest. The same two folders: below the prefix, unless they are elsewhere.
set(applist_pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    file(RELATIVE_PATH up ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    string(REGEX REPLACE "/$" "" applist_pc_prefix "\${pcfiledir}/${up}")
endif()
set(applist_pc_libdir ${CMAKE_INSTALL_LIBDIR})
set(applist_pc_includedir ${applist_include_dir})
foreach(folder IN ITEMS applist_pc_libdir applist_pc_includedir)
    if(NOT IS_ABSOLUTE ${${folder}})
        set(${folder} "\${prefix}/${${folder}}")
    endif()
endforeach()

function(applist_install_headers)
    foreach(header IN LISTS ARGN)
        if(header STREQUAL "AppList.h")
            set(source include/${header})
        else()
            set(source src/${header})
        endif()
        get_filename_component(folder ${header} DIRECTORY)
        install(FILES ${PROJECT_SOURCE_DIR}/${source} DESTINATION ${applist_include_dir}/${folder}
                COMPONENT development)
    endforeach()
endfunction()

# What pkg-config knows of libapplist-`name`: a description, the modules that it requires, and what
# else is linked: always, and in a static program.
function(applist_install_pc name description requires libs private)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/applist.pc.in applist-${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/applist-${name}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()

# What a consumer of the target `name` gets, installed as lib`output`.
function(applist_describe name output)
    target_include_directories(${name} INTERFACE $<INSTALL_INTERFACE:${applist_include_dir}>)
    target_compile_features(${name} INTERFACE cxx_std_17)
    set_target_properties(${name} PROPERTIES OUTPUT_NAME ${output} LINKER_LANGUAGE CXX)
endfunction()

# Adds applist_PART_shared and applist_PART_static, both made of the objects of the archives named
# after it. The open log is in the shared library, where a program's own PlatformLogPrint takes its
# place; with the archive a program links the log that it wants.
function(applist_add_installed part description)
    list(TRANSFORM ARGN REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
    add_library(applist_${part}_static STATIC ${objects})
    add_library(applist_${part}_shared SHARED ${objects} $<TARGET_OBJECTS:applist_log>)
    foreach(variety shared static)
        set(name applist_${part}_${variety})
        applist_describe(${name} applist-${part})
        set_target_properties(${name} PROPERTIES EXPORT_NAME ${part}_${variety})
        target_link_libraries(${name} PUBLIC PkgConfig::APPLIST_SYSTEMD
                                              PRIVATE ${applist_threads})
    endforeach()
    # The second number is another one when programs have to be built anew (./dev abi says so), and
    # then the names of the packages are others, too.
    set_target_properties(applist_${part}_shared PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION 0 LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(applist_${part}_shared PRIVATE
        LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
    # The sanitizers' own functions are the program's.
    if(NOT APPLIST_SANITIZE)
        target_link_options(applist_${part}_shared PRIVATE LINKER:-z,defs)
    endif()
    install(TARGETS applist_${part}_shared EXPORT applist-shared
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
                    NAMELINK_COMPONENT development)
    install(TARGETS applist_${part}_static EXPORT applist-static
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
    applist_install_pc(${part} ${description} "libsystemd >= ${applist_systemd_version}" ""
                       " -lapplist-log -pthread")
endfunction()

applist_add_installed(service "publishes a list of applications on D-Bus"
                      applist_common applist_bus applist_transport applist_service)
applist_add_installed(partner "a list of applications that another process publishes"
                      applist_common applist_bus applist_remote_core applist_remote applist_partner)

add_library(applist_log_static STATIC $<TARGET_OBJECTS:applist_common> $<TARGET_OBJECTS:applist_log>)
applist_describe(applist_log_static applist-log)
target_link_libraries(applist_log_static PRIVATE ${applist_threads})
set_target_properties(applist_log_static PROPERTIES EXPORT_NAME log)
install(TARGETS applist_log_static EXPORT applist-static
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
foreach(variety shared static)
    install(EXPORT applist-${variety} NAMESPACE applist:: DESTINATION ${applist_package_dir}
            COMPONENT development)
endforeach()
applist_install_headers(${applist_public_headers})

# An adapter as an archive, if it is built, with an export of its own: a distribution has it in
# another package, beside the toolkit that it needs. The targets named after `requires` are what it
# links; the partner comes from the package's configuration, which knows whether that is shared.
function(applist_install_adapter name description requires)
    if(NOT TARGET applist_${name})
        return()
    endif()
    string(REPLACE _ - dashed ${name})
    add_library(applist_${name}_static STATIC $<TARGET_OBJECTS:applist_${name}>)
    applist_describe(applist_${name}_static applist-${dashed})
    target_link_libraries(applist_${name}_static PUBLIC ${ARGN})
    set_target_properties(applist_${name}_static PROPERTIES EXPORT_NAME ${name})
    install(TARGETS applist_${name}_static EXPORT applist-${name}
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
    install(EXPORT applist-${name} NAMESPACE applist:: DESTINATION ${applist_package_dir}
            COMPONENT development)
    applist_install_headers(${applist_${name}_headers})
    # Programs in C link them, too, and an archive does not bring the library of C++ along, which is
    # gcc's unless somebody else is asked for.
    applist_install_pc(${dashed} ${description} ${requires} " -lstdc++" "")
endfunction()

applist_install_adapter(glib_loop "lets a GLib main loop run a list of applications"
                        "glib-2.0, libsystemd >= ${applist_systemd_version}"
                        PkgConfig::APPLIST_GLIB_LOOP PkgConfig::APPLIST_SYSTEMD)
applist_install_adapter(glib "a list of applications as a GListModel"
                        "applist-glib-loop, applist-partner, gio-2.0 >= 2.70"
                        applist_glib_loop_static PkgConfig::APPLIST_GLIB)
applist_install_adapter(gtk "a list of applications in GTK"
                        "applist-glib, gtk4 >= 4.8" applist_glib_static PkgConfig::APPLIST_GTK4)
applist_install_adapter(qt "a list of applications as a model of Qt's"
                        "applist-partner, Qt6Core >= 6.4" Qt6::Core)

# What they call of applist_common is hidden in a shared partner.
foreach(name IN ITEMS glib qt)
    if(TARGET applist_${name}_static)
        target_sources(applist_${name}_static PRIVATE $<TARGET_OBJECTS:applist_common>)
    endif()
endforeach()

configure_package_config_file(cmake/applist-config.cmake.in applist-config.cmake
                              INSTALL_DESTINATION ${applist_package_dir}
                              PATH_VARS CMAKE_INSTALL_LIBDIR)
# Before 1.0 every second number may change everything.
write_basic_package_version_file(applist-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/applist-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/applist-config-version.cmake
        DESTINATION ${applist_package_dir} COMPONENT development)
