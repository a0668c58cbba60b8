#!/usr/bin/env bash
# Configures and builds one build tree. Usage: build.sh <tree> [extra cmake arguments...]
# Trees live under build/ in the repository and are reused, so a second build only compiles what changed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
tree=$1
shift
jobs=$(nproc 2>/dev/null || echo 2)
cmake -S "$root" -B "$root/build/$tree" -G Ninja "$@" >/dev/null
cmake --build "$root/build/$tree" -j "$jobs"
