#!/bin/sh
# Builds the host beside this script against the library and runs it: consume.sh WAY SOURCE BUILD WORK HEADERS [EMULATOR...]
# WAY is package, pkgconfig or subdirectory. SOURCE and BUILD are the library's folders, WORK is emptied and used.
set -eu
way=$1 source=$2 build=$3 work=$4 headers=$5
shift 5
consumer=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix

# The same compilers, processor and Qt as the library's.
cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
cross=
for variable in CMAKE_TOOLCHAIN_FILE CMAKE_SYSROOT CROSS_TRIPLET CROSS_EMULATORS; do
    [ -z "$(cached CMAKE_TOOLCHAIN_FILE)" ] || cross="$cross -D$variable=$(cached $variable)"
done
configure() {
    # shellcheck disable=SC2086 # a list of words
    cmake -S "$consumer" -B "$work/host" -G Ninja "-DHEADERS=$headers" \
        "-DCMAKE_BUILD_TYPE=$(cached CMAKE_BUILD_TYPE)" "-DCMAKE_CXX_COMPILER=$(cached CMAKE_CXX_COMPILER)" \
        "-DCMAKE_CXX_FLAGS=$(cached CMAKE_CXX_FLAGS)" $cross "$@"
    cmake --build "$work/host"
}

[ "$way" = subdirectory ] || cmake --install "$build" --prefix "$prefix" >"$work/install.log"
case $way in
package)
    # Not by CMAKE_PREFIX_PATH: a cross build looks for that below its sysroot.
    configure "-Dstbanalytics_DIR=$(dirname "$(find "$prefix" -name stbanalyticsConfig.cmake)")"
    program=$work/host/consumer
    ;;
subdirectory)
    configure "-DSTBANALYTICS_SOURCE_DIR=$source"
    program=$work/host/consumer
    ;;
pkgconfig)
    description=$(find "$prefix" -name stbanalytics.pc)
    sed -i "s|^prefix=.*|prefix=$prefix|" "$description" # Installed for the test, not where it is going to be.
    PKG_CONFIG_PATH=$(dirname "$description")
    export PKG_CONFIG_PATH
    program=$work/consumer
    # Without -Wconversion: Qt's headers are no system headers to pkg-config, and one of them earns it.
    # shellcheck disable=SC2046 # lists of words
    "$(cached CMAKE_CXX_COMPILER)" -fPIC -Wall -Wextra -Wpedantic -Wshadow -Werror -DQT_NO_KEYWORDS \
        $(cached CMAKE_CXX_FLAGS) $(pkg-config --cflags stbanalytics) \
        "$consumer/main.cpp" -o "$program" $(pkg-config --libs stbanalytics) \
        "-Wl,-rpath,$prefix/$(cached CMAKE_INSTALL_LIBDIR)"
    ;;
esac

"$@" "$program" >"$work/output" 2>"$work/log"
[ "$way" = pkgconfig ] || "$@" "${program}_test" 2>>"$work/log"
printf '%s\n' '{"events":[{"channel":{"channel_id":7,"program_id":42}}]}' pause_live | diff - "$work/output"
