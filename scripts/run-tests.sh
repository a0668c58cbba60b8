#!/usr/bin/env bash
# The whole test suite: installs what is missing, builds with warnings as errors and runs every test, then
# builds a second tree under AddressSanitizer and UndefinedBehaviorSanitizer and runs every test again.
# Last, a short fuzzing run of the packet path. Any failure or sanitizer report fails the command.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"

echo "== Build (warnings as errors)"
"$root/scripts/build.sh" tests -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSONACORE_WARNINGS_AS_ERRORS=ON
echo "== Tests"
(cd "$root/build/tests" && ctest --output-on-failure --timeout 900)

echo "== Build (AddressSanitizer, UndefinedBehaviorSanitizer)"
"$root/scripts/build.sh" sanitize -DCMAKE_BUILD_TYPE=Debug -DSONACORE_WARNINGS_AS_ERRORS=ON \
    -DSONACORE_SANITIZE=address,undefined
echo "== Tests under sanitizers"
export ASAN_OPTIONS=abort_on_error=1:detect_leaks=1:strict_init_order=1:detect_stack_use_after_return=1
export LSAN_OPTIONS=suppressions=$root/scripts/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
(cd "$root/build/sanitize" && ctest --output-on-failure --timeout 1800 --label-exclude soak)

echo "== Fuzzing the packet path (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)"
CC=clang CXX=clang++ "$root/scripts/build.sh" fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSONACORE_BUILD_FUZZERS=ON \
    -DSONACORE_SANITIZE=address,undefined
(cd "$root/build/fuzz" && ctest --output-on-failure --timeout 900)
