#!/bin/sh
# Configures the host in logging/ beside this script, which has the library as a subdirectory, with one liblogging after
# another, and compares what is told of it: configure.sh SOURCE COMPILER WORK
# SOURCE is the library's folder, WORK is emptied and used.
set -eu
source=$1 compiler=$2 work=$3
host=$(cd "$(dirname "$0")" && pwd)/logging
rm -rf "$work"
mkdir -p "$work"

# configure OPTIONS...: CMake's words are then in $work/log.
configure() {
    echo "with $*"
    cmake -S "$host" -B "$work/host" -G Ninja "-DCMAKE_CXX_COMPILER=$compiler" "-DSTBANALYTICS_SOURCE_DIR=$source" \
        -U STBANALYTICS_LOGGING -U STBANALYTICS_INSTALL -U logging_DIR -DOWN= -DALIAS= -DEXPORTED= "$@" \
        >"$work/log" 2>&1
}
fail() {
    cat "$work/log"
    echo "$1"
    exit 1
} >&2
# taken TEXT OPTIONS...: that works, and TEXT is all that is told of liblogging.
taken() {
    text=$1
    shift
    configure "$@" || fail "this cannot be configured"
    [ "$(sed -n 's/^-- liblogging: //p' "$work/log")" = "$text" ] || fail "not told, or not this alone: $text"
}
# refused TEXT OPTIONS...: that fails, and TEXT tells why.
refused() {
    text=$1
    shift
    ! configure "$@" || fail "this can be configured"
    tr -s ' \n' ' ' <"$work/log" | grep -qF "$text" || fail "not told: $text"
}

standin="the stand-in, which writes to Qt's log"
taken "$standin" -DOWN=acmelog
taken "$standin
is it the target logging? Then set STBANALYTICS_LOGGING=logging" -DOWN=logging
taken "logging, named by STBANALYTICS_LOGGING" -DOWN=logging -DSTBANALYTICS_LOGGING=logging
taken "the target logging::logging" -DOWN=acmelog -DALIAS=logging::logging
! grep -E '^(BUILD_TESTING|CTEST_|DART_)' "$work/host/CMakeCache.txt" || fail "the host's cache has variables of CTest"

for target in logging logging::logging; do
    mkdir "$work/$target"
    printf '%s\n' "add_library($target SHARED IMPORTED)" \
        "set_target_properties($target PROPERTIES IMPORTED_LOCATION /liblogging.so)" \
        >"$work/$target/loggingConfig.cmake"
done
taken "the target logging of the package logging" "-Dlogging_DIR=$work/logging"
taken "the target logging::logging" "-Dlogging_DIR=$work/logging::logging"

: >"$work/liblogging.so"
taken "$work/liblogging.so, named by STBANALYTICS_LOGGING" "-DSTBANALYTICS_LOGGING=$work/liblogging.so"
taken "-lm, named by STBANALYTICS_LOGGING" -DSTBANALYTICS_LOGGING=m
for wrong in acmelgo "$work/liblogging" "$work" build/liblogging.so; do
    refused "STBANALYTICS_LOGGING is \"$wrong\", which is none of these: - a target (define it before this folder is" \
        -DOWN=acmelog "-DSTBANALYTICS_LOGGING=$wrong"
done

# The installed library needs the host's own, which comes in a package of the host's.
own="-DOWN=acmelog -DSTBANALYTICS_LOGGING=acmelog -DSTBANALYTICS_INSTALL=ON"
advice="the installed stbanalytics needs acmelog of a package that is found before, \
so put it into an export set of yours"
# shellcheck disable=SC2086 # a list of words
taken "acmelog, named by STBANALYTICS_LOGGING
$advice" $own -DEXPORTED=ON
# shellcheck disable=SC2086 # a list of words
refused "$advice" $own
