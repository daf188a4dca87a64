#!/bin/bash
# Builds and runs this project against an installed tree, with CMake and with pkg-config, and lets
# the installed programs work together.
# usage: tests/consumer/run.sh PREFIX BUILD_DIR
set -euo pipefail
(($# == 2)) || { echo "usage: $0 PREFIX BUILD_DIR" >&2; exit 2; }
source=$(cd "$(dirname "$0")" && pwd)
prefix=$(cd "$1" && pwd)
mkdir -p "$2"
build=$(cd "$2" && pwd)
export CXX=${CXX:-c++}

# quietly LOG COMMAND...: shows the log only when the command fails.
quietly() {
    local log=$1
    "${@:2}" >"$log" 2>&1 && return
    cat "$log" >&2
    echo "consumer: failed: ${*:2}" >&2
    exit 1
}

# --- CMake: a fresh configuration, since a cached one may point to another tree.
rm -rf "$build/cmake"
mkdir "$build/cmake"
quietly "$build/configure.log" cmake -S "$source" -B "$build/cmake" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$prefix"
found=$(sed -n 's/^KelvoBase_DIR:[A-Z]*=//p' "$build/cmake/CMakeCache.txt")
[[ $found == "$prefix"/* ]] || { echo "consumer: found $found, not below $prefix" >&2; exit 1; }
quietly "$build/build.log" cmake --build "$build/cmake" --parallel "$(nproc)"
quietly "$build/test.log" ctest --test-dir "$build/cmake" --output-on-failure --no-tests=error
grep 'tests passed' "$build/test.log"

# --- pkg-config, for everyone else.
config=$(find "$prefix" -name KelvoBase.pc -path '*/pkgconfig/*' | head -n 1)
[[ -n $config ]] || { echo "consumer: no KelvoBase.pc below $prefix" >&2; exit 1; }
export PKG_CONFIG_PATH=${config%/*}
libraries=$(pkg-config --variable=libdir KelvoBase)
[[ $(cd "$libraries" && pwd) == "$prefix"/* ]] ||
    { echo "consumer: KelvoBase.pc names $libraries, not below $prefix" >&2; exit 1; }
count=0
# with_pkg_config PACKAGE SOURCE
with_pkg_config() {
    local program=$build/pkg_${2%.cpp} flags
    read -ra flags <<<"$(pkg-config --cflags --libs "$1")"
    quietly "$program.log" "$CXX" -std=c++17 -Wall -Wextra -Wpedantic -Wconversion -Werror \
        "$source/$2" -o "$program" "${flags[@]}"
    LD_LIBRARY_PATH=$libraries${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH} quietly "$program.log" "$program"
    count=$((count + 1))
}
with_pkg_config KelvoBase families.cpp
with_pkg_config KelvoBase solve.cpp
with_pkg_config Base base_only.cpp
echo "$count programs built with pkg-config run"

# --- kelvofit, where it is installed, starts the server of its cache.
[[ -x $prefix/bin/kelvofit ]] || exit 0
fit() {
    ZOCACHED_OPTIONS='--idle-exit 1' "$prefix/bin/kelvofit" --cache-dir "$build/cache" \
        --out "$build/fit" "$source/../../examples/data/teapot.patches"
}
rm -rf "$build/cache"
quietly "$build/fit.log" fit
quietly "$build/fit.log" fit
grep 'from the cache' "$build/fit.log" || { cat "$build/fit.log" >&2; exit 1; }
