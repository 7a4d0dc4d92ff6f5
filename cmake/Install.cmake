# What `cmake --install` gives: component Runtime is what a box needs, Development what a host is built with, Delivery what
# a host with our delivery is built with besides, Testkit what a host's tests are built with. A host that has this project as
# a subdirectory installs the component Runtime with its own.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# The stand-in for liblogging goes along. A host's own stays where it is.
set(stbanalytics_installed stbanalytics)
if(stbanalytics_logging_is_standin)
    list(APPEND stbanalytics_installed stbanalytics_standin)
endif()
if(NOT STBANALYTICS_INSTALL)
    install(TARGETS ${stbanalytics_installed}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_SKIP)
    return()
endif()

set(stbanalytics_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/stbanalytics)
set(stbanalytics_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/stbanalytics)

# Linkers look for liblogging behind the library: what tells them where a host's own is, in the CMake package before and
# behind the library's target, and for pkg-config.
set(stbanalytics_find_logging "")
set(stbanalytics_logging_place "")
set(stbanalytics_logging_flag "")
if(IS_ABSOLUTE ${stbanalytics_logging} AND NOT stbanalytics_logging MATCHES "\\.a$")
    set(stbanalytics_logging_place "set_target_properties(stbanalytics::stbanalytics PROPERTIES
    IMPORTED_LINK_DEPENDENT_LIBRARIES \"${stbanalytics_logging}\")\n")
    get_filename_component(stbanalytics_logging_flag ${stbanalytics_logging} DIRECTORY)
    string(PREPEND stbanalytics_logging_flag " -Wl,-rpath-link,")
elseif(TARGET ${stbanalytics_logging} AND NOT stbanalytics_logging_is_standin)
    get_target_property(imported ${stbanalytics_logging} IMPORTED)
    get_target_property(type ${stbanalytics_logging} TYPE)
    if(logging_FOUND AND imported AND NOT STBANALYTICS_LOGGING)
        set(stbanalytics_find_logging "find_dependency(logging)\n")
    elseif(type STREQUAL "SHARED_LIBRARY")
        message(STATUS "liblogging: the installed stbanalytics needs ${stbanalytics_logging} of a package that is "
            "found before, so put it into an export set of yours")
    endif()
endif()

# The public headers of a target, whose sources are named as they stand in the target's folder.
function(stbanalytics_install_headers target folder component)
    get_target_property(headers ${target} SOURCES)
    list(FILTER headers INCLUDE REGEX "\\.h$")
    list(FILTER headers EXCLUDE REGEX "_p\\.h$")
    list(TRANSFORM headers PREPEND ${PROJECT_SOURCE_DIR}/${folder}/)
    install(FILES ${headers} DESTINATION ${stbanalytics_include_dir}/${folder} COMPONENT ${component})
endfunction()

install(TARGETS ${stbanalytics_installed} EXPORT stbanalytics
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
    INCLUDES DESTINATION ${stbanalytics_include_dir})
install(EXPORT stbanalytics NAMESPACE stbanalytics:: FILE stbanalyticsTargets.cmake
    DESTINATION ${stbanalytics_package_dir} COMPONENT Development)
stbanalytics_install_headers(stbanalytics analytics Development)
# What the maker of a box's own liblogging implements.
install(FILES ${PROJECT_SOURCE_DIR}/logging/logging.h DESTINATION ${stbanalytics_include_dir}/logging COMPONENT Development)

# A static library beside the shared one, which the package brings where a host asks for it.
function(stbanalytics_install_part name folder component)
    if(NOT TARGET stbanalytics_${name})
        return()
    endif()
    install(TARGETS stbanalytics_${name} EXPORT stbanalytics_${name}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component})
    install(EXPORT stbanalytics_${name} NAMESPACE stbanalytics:: FILE stbanalytics-${name}Targets.cmake
        DESTINATION ${stbanalytics_package_dir} COMPONENT ${component})
    stbanalytics_install_headers(stbanalytics_${name} ${folder} ${component})
endfunction()
stbanalytics_install_part(delivery delivery Delivery)
stbanalytics_install_part(testkit analytics/testkit Testkit)

configure_package_config_file(cmake/stbanalyticsConfig.cmake.in stbanalyticsConfig.cmake
    INSTALL_DESTINATION ${stbanalytics_package_dir})
write_basic_package_version_file(stbanalyticsConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/stbanalyticsConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/stbanalyticsConfigVersion.cmake
    DESTINATION ${stbanalytics_package_dir} COMPONENT Development)

# The prefix is known when the file is installed. The file names it by its own place, so that it may be moved; but for
# /usr, which may be that of a sysroot: pkg-config puts the sysroot in front, and not every version of it notices that
# the file's place has it already.
foreach(dir LIBDIR INCLUDEDIR)
    set(stbanalytics_pc_${dir} ${CMAKE_INSTALL_${dir}})
    if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_${dir}})
        string(PREPEND stbanalytics_pc_${dir} "\${prefix}/")
    endif()
endforeach()
set(prefix @prefix@)
configure_file(cmake/stbanalytics.pc.in stbanalytics.pc.in @ONLY)
file(RELATIVE_PATH stbanalytics_pc_up /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
install(CODE "
    set(prefix [[\${pcfiledir}/${stbanalytics_pc_up}]])
    if(CMAKE_INSTALL_PREFIX STREQUAL [[/usr]] OR IS_ABSOLUTE [[${CMAKE_INSTALL_LIBDIR}]])
        set(prefix \${CMAKE_INSTALL_PREFIX})
    endif()
    configure_file(
        [[${CMAKE_CURRENT_BINARY_DIR}/stbanalytics.pc.in]] [[${CMAKE_CURRENT_BINARY_DIR}/stbanalytics.pc]] @ONLY)"
    COMPONENT Development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/stbanalytics.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
