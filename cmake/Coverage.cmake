# Our code counts what the tests reach of it; the tests' own does not. All link what counts, which adds nothing to the
# library's exports.
add_link_options(--coverage LINKER:--exclude-libs,libgcov.a)

function(stbanalytics_count)
    foreach(target
            stbanalytics stbanalytics_testkit
            stbhost stbhost_core stbanalytics_delivery
            stbanalytics-check stbanalytics-wireformat stbanalytics_wireformat)
        target_compile_options(${target} PRIVATE --coverage -fprofile-abs-path -fprofile-update=atomic)
    endforeach()
    # These are installed: hosts link them.
    target_link_options(stbanalytics_testkit INTERFACE --coverage)
    target_link_options(stbanalytics_delivery INTERFACE --coverage)
    target_sources(stbhost PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/coverageexit.cpp)
    target_link_options(stbhost PRIVATE LINKER:--wrap=_exit)
endfunction()
