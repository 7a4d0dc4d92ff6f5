# What `cmake --install` gives: component Runtime is what a box needs, Development what a host is built with, Testing what
# its tests are built with.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(stbanalytics_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/stbanalytics)
set(stbanalytics_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/stbanalytics)

# The stand-in for liblogging goes along. A host's own stays where it is: as a package, the host finds it again.
set(stbanalytics_installed stbanalytics)
set(stbanalytics_find_logging "")
if(stbanalytics_logging_is_standin)
    list(APPEND stbanalytics_installed stbanalytics_standin)
elseif(logging_FOUND)
    set(stbanalytics_find_logging "find_dependency(logging)\n")
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

if(TARGET stbanalytics_testing)
    install(TARGETS stbanalytics_testing EXPORT stbanalytics_testing
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Testing)
    install(EXPORT stbanalytics_testing NAMESPACE stbanalytics:: FILE stbanalyticsTestingTargets.cmake
        DESTINATION ${stbanalytics_package_dir} COMPONENT Testing)
    stbanalytics_install_headers(stbanalytics_testing analytics/testing Testing)
endif()

configure_package_config_file(cmake/stbanalyticsConfig.cmake.in stbanalyticsConfig.cmake
    INSTALL_DESTINATION ${stbanalytics_package_dir})
write_basic_package_version_file(stbanalyticsConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/stbanalyticsConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/stbanalyticsConfigVersion.cmake
    DESTINATION ${stbanalytics_package_dir} COMPONENT Development)

configure_file(cmake/stbanalytics.pc.in stbanalytics.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/stbanalytics.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
