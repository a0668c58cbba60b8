#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the host program on the library.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
"$root/scripts/build.sh" release -DCMAKE_BUILD_TYPE=Release -DSONACORE_BUILD_TESTS=OFF >/dev/null
exec "$root/build/release/tools/sonacore-host/sonacore-host" "$@"
