#!/usr/bin/env bash
# Fuzzes the packet path with libFuzzer under AddressSanitizer and UndefinedBehaviorSanitizer.
# Usage: scripts/run-fuzz.sh [seconds]   (default 600). Findings are written to build/fuzz/findings/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-600}
"$root/scripts/setup.sh"
CC=clang CXX=clang++ "$root/scripts/build.sh" fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSONACORE_BUILD_FUZZERS=ON \
    -DSONACORE_SANITIZE=address,undefined >/dev/null
mkdir -p "$root/build/fuzz/findings" "$root/build/fuzz/corpus"
exec "$root/build/fuzz/tests/fuzz/avtp_packet_receiver_fuzz" -max_total_time="$seconds" -max_len=2048 -timeout=10 \
    -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="$root/build/fuzz/findings/" \
    "$root/build/fuzz/corpus" "$root/tests/fuzz/corpus"
