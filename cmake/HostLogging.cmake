# The host's logging library, in order: what STBANALYTICS_LOGGING names, a target logging::logging or logging that is
# there or that find_package(logging) brings, and otherwise the stand-in of the same name in logging/.
set(STBANALYTICS_LOGGING "" CACHE STRING "The host's liblogging: a target, or a library's path (empty: look for it)")

# The library itself, not an interface to it: only so does a cross linker find it behind ours.
set(stbanalytics_logging ${STBANALYTICS_LOGGING})
if(NOT stbanalytics_logging)
    find_package(logging QUIET)
    foreach(target logging::logging logging)
        if(NOT stbanalytics_logging AND TARGET ${target})
            set(stbanalytics_logging ${target})
        endif()
    endforeach()
endif()
set(stbanalytics_logging_is_standin FALSE)
if(NOT stbanalytics_logging)
    add_subdirectory(logging)
    set(stbanalytics_logging logging)
    set(stbanalytics_logging_is_standin TRUE)
endif()
