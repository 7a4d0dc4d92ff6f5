#!/bin/sh
# Builds the host beside this script against the library and runs it: consume.sh WAY SOURCE BUILD WORK HEADERS [EMULATOR...]
# WAY is package, pkgconfig, subdirectory, or one of two that build the library anew, by the README's command for a box:
# logging_elsewhere, with a liblogging that stands elsewhere and an absolute folder to install to; size, without a host.
# SOURCE and BUILD are the library's folders, WORK is emptied and used.
set -eu
way=$1 source=$2 build=$3 work=$4 headers=$5
shift 5
consumer=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
prefix=$work/prefix
mkdir -p "$prefix" "$work/libraries"

fail() {
    echo "$way: $1" >&2
    exit 1
}

# The same compilers, processor and Qt as the library's.
cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
compiler=$(cached CMAKE_CXX_COMPILER)
cross=
for variable in CMAKE_TOOLCHAIN_FILE CMAKE_SYSROOT CROSS_TRIPLET CROSS_EMULATORS; do
    [ -z "$(cached CMAKE_TOOLCHAIN_FILE)" ] || cross="$cross -D$variable=$(cached $variable)"
done

# by_cmake OPTIONS...: the host, in $work/host.
by_cmake() {
    # shellcheck disable=SC2086 # a list of words
    cmake -S "$consumer" -B "$work/host" -G Ninja "-DHEADERS=$headers" \
        "-DCMAKE_BUILD_TYPE=$(cached CMAKE_BUILD_TYPE)" "-DCMAKE_CXX_COMPILER=$compiler" \
        "-DCMAKE_CXX_FLAGS=$(cached CMAKE_CXX_FLAGS)" $cross "$@"
    cmake --build "$work/host"
}

# by_package OPTIONS...: not by CMAKE_PREFIX_PATH: a cross build looks for that below its sysroot.
by_package() {
    by_cmake "$@" "-Dstbanalytics_DIR=$(dirname "$(find "$prefix" "$work/libraries" -name stbanalyticsConfig.cmake)")"
}

# The host in $work/consumer. Its language is newer than the library's. Qt's headers are the system's, and their
# warnings none of ours, though pkg-config names them as if they were a project's own.
by_pkgconfig() {
    PKG_CONFIG_PATH=$(dirname "$(find "$prefix" "$work/libraries" -name stbanalytics.pc)")
    export PKG_CONFIG_PATH
    # shellcheck disable=SC2046 # lists of words
    "$compiler" -std=c++20 -DNEWER_THAN=201703 -fPIC -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror \
        -DQT_NO_KEYWORDS $(cached CMAKE_CXX_FLAGS) $(pkg-config --cflags-only-I Qt6Core | sed 's/-I */-isystem /g') \
        $(pkg-config --cflags stbanalytics) "$consumer/main.cpp" -o "$work/consumer" $(pkg-config --libs stbanalytics) \
        "-Wl,-rpath,$(dirname "$PKG_CONFIG_PATH")"
}

# build_release OPTIONS...: the library, as docs/host/README.md builds it for a box, in a folder that is kept.
release=$(dirname "$work")/release
build_release() {
    options=$(sed -n 's/^cmake -B build\/box //p' "$source/docs/host/README.md")
    [ -n "$options" ] || fail "docs/host/README.md has no command that begins with \"cmake -B build/box\""
    # shellcheck disable=SC2086 # a list of words
    cmake -S "$source" -B "$release" $options "-DCMAKE_CXX_COMPILER=$compiler" "$@"
    cmake --build "$release" --target stbanalytics
}

# run PROGRAM [EMULATOR...]: it ends well.
run() {
    program=$1
    shift
    "$@" "$program" >"$work/output" 2>"$work/log" || {
        cat "$work/log" >&2
        fail "$program ends with an error"
    }
}
# check PROGRAM [EMULATOR...]: it also says what it should.
check() {
    run "$@"
    printf '%s\n' '{"events":[{"channel":{"channel_id":7,"program_id":42}}]}' pause_live | diff - "$work/output"
}

case $way in
package)
    cmake --install "$build" --prefix "$prefix" >"$work/install.log"
    by_package
    check "$work/host/consumer" "$@"
    run "$work/host/consumer_test" "$@"
    run "$work/host/consumer_delivery" "$@"
    ;;
pkgconfig)
    cmake --install "$build" --prefix "$work/first" >"$work/install.log"
    mv -T "$work/first" "$prefix"
    by_pkgconfig
    DESTDIR=$work/sysroot cmake --install "$build" --prefix /usr --component Development >>"$work/install.log"
    find "$work/sysroot" -name stbanalytics.pc -exec grep -x prefix=/usr {} + ||
        fail "pkg-config would put a sysroot in front of this prefix twice"
    check "$work/consumer" "$@"
    ;;
subdirectory)
    by_cmake "-DSTBANALYTICS_SOURCE_DIR=$source"
    ! grep -E '^(BUILD_TESTING|CTEST_|DART_)' "$work/host/CMakeCache.txt" || fail "that is the host's to decide"
    run "$work/host/consumer_test" "$@"
    run "$work/host/consumer_delivery" "$@"
    cmake --install "$work/host" --prefix "$prefix" >"$work/install.log"
    check "$prefix/bin/consumer" "$@"
    [ ! -e "$prefix/include" ] || fail "the library's headers are installed, which no box needs"
    ;;
logging_elsewhere)
    mkdir "$work/elsewhere"
    cp "$build/tests/packaging/hostlogging/liblogging.so" "$work/elsewhere"
    build_release "-DSTBANALYTICS_LOGGING=$work/elsewhere/liblogging.so" \
        "-DCMAKE_INSTALL_PREFIX=$prefix" "-DCMAKE_INSTALL_LIBDIR=$work/libraries"
    for component in Runtime Development; do
        cmake --install "$release" --component $component >>"$work/install.log"
    done
    headers=
    by_package -DKIT= -DDELIVERY=
    by_pkgconfig
    export LD_LIBRARY_PATH="$work/elsewhere"
    for program in "$work/host/consumer" "$work/consumer"; do
        check "$program" "$@"
        grep -q "^host's log: " "$work/log" || fail "the library has not found the liblogging that it was built with"
    done
    ;;
size)
    if [ "$(uname -m)" != x86_64 ]; then
        echo "skipped: the limit is that of x86_64"
        exit 77
    fi
    build_release -DSTBANALYTICS_LOGGING=
    strip -o "$work/stripped" "$release/analytics/libstbanalytics.so"
    size=$(stat -c %s "$work/stripped")
    echo "libstbanalytics.so has $size bytes"
    [ "$size" -lt 150000 ] || fail "150,000 bytes or more"
    ;;
esac
