# The host's logging library is the first of these that there is:
# - what STBANALYTICS_LOGGING names;
# - a target logging::logging, of the host's project or of find_package(logging);
# - a target logging of find_package(logging);
# - the stand-in in logging/.
# A target of the host's project that is merely called logging may be anything, and is not taken.
set(STBANALYTICS_LOGGING "" CACHE STRING
    "The host's liblogging: a target, a library's path, or a name that the linker finds (empty: look for it)")

function(stbanalytics_linker_finds name result)
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_LIBRARIES -l${name})
    set(CMAKE_REQUIRED_LINK_OPTIONS LINKER:--allow-shlib-undefined)
    set(CMAKE_REQUIRED_QUIET ON)
    unset(stbanalytics_linker_found CACHE) # The name may be another than at the last configuring.
    check_cxx_source_compiles("int main() {}" stbanalytics_linker_found)
    set(${result} ${stbanalytics_linker_found} PARENT_SCOPE)
endfunction()

# stbanalytics_logging is the library itself, not an interface to it: only so does a cross linker find it behind ours.
set(stbanalytics_logging_is_standin FALSE)
if(STBANALYTICS_LOGGING)
    set(stbanalytics_logging ${STBANALYTICS_LOGGING})
    set(found FALSE)
    if(TARGET ${STBANALYTICS_LOGGING})
        set(found TRUE)
    elseif(IS_ABSOLUTE ${STBANALYTICS_LOGGING})
        if(EXISTS ${STBANALYTICS_LOGGING} AND NOT IS_DIRECTORY ${STBANALYTICS_LOGGING})
            set(found TRUE)
        endif()
    elseif(STBANALYTICS_LOGGING MATCHES "^[A-Za-z0-9_+.-]+$")
        stbanalytics_linker_finds(${STBANALYTICS_LOGGING} found)
        set(stbanalytics_logging -l${STBANALYTICS_LOGGING}) # A target that is defined later may have the same name.
    endif()
    if(NOT found)
        message(FATAL_ERROR "STBANALYTICS_LOGGING is \"${STBANALYTICS_LOGGING}\", which is none of these:\n"
            "  - a target (define it before this folder is added)\n"
            "  - the absolute path of a library that is there\n"
            "  - the name of a library that the linker finds, such as \"logging\" for liblogging.so")
    endif()
    message(STATUS "liblogging: ${stbanalytics_logging}, named by STBANALYTICS_LOGGING")
else()
    find_package(logging QUIET)
    set(is_package FALSE)
    if(TARGET logging AND logging_FOUND)
        get_target_property(is_package logging IMPORTED)
    endif()
    if(TARGET logging::logging)
        set(stbanalytics_logging logging::logging)
        message(STATUS "liblogging: the target logging::logging")
    elseif(is_package)
        set(stbanalytics_logging logging)
        message(STATUS "liblogging: the target logging of the package logging")
    else()
        set(stbanalytics_logging stbanalytics_standin)
        set(stbanalytics_logging_is_standin TRUE)
        add_subdirectory(logging)
        message(STATUS "liblogging: the stand-in, which writes to Qt's log")
        if(TARGET logging)
            message(STATUS "liblogging: is it the target logging? Then set STBANALYTICS_LOGGING=logging")
        endif()
    endif()
endif()
