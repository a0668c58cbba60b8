#!/usr/bin/env bash
# Installs the built library into a fresh prefix, then builds and runs a small host project against it twice:
# once through the CMake package, once through pkg-config.
set -euo pipefail
build=$1
host=$2
work=$3

rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null

cmake -S "$host" -B "$work/host-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/host-cmake" >/dev/null
"$work/host-cmake/host"

export PKG_CONFIG_PATH=$prefix/lib/pkgconfig:$prefix/lib/x86_64-linux-gnu/pkgconfig
# The flags come from pkg-config alone; only the run path, for running the host from here, is added.
# shellcheck disable=SC2046
g++ -std=c++17 "$host/host.cpp" -o "$work/host-pkgconfig" $(pkg-config --cflags --libs vq_sonaCoreLib_cxx) \
    -Wl,-rpath,"$(pkg-config --variable=libdir vq_sonaCoreLib_cxx)"
"$work/host-pkgconfig"
