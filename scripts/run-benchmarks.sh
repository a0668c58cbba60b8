#!/usr/bin/env bash
# Builds the benchmarks in release mode and runs them. Extra arguments go to every benchmark program, e.g.
# --benchmark_filter=packetEntry. Benchmarks measure; they never fail on a figure.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
"$root/scripts/build.sh" bench -DCMAKE_BUILD_TYPE=Release -DSONACORE_BUILD_TESTS=OFF -DSONACORE_BUILD_TOOLS=ON \
    -DSONACORE_BUILD_BENCHMARKS=ON >/dev/null
for program in $(find "$root/build/bench/bench" -maxdepth 2 -type f -perm -u+x -name '*_benchmark' | sort); do
    echo "== $(basename "$program")"
    "$program" "$@"
done
