#!/usr/bin/env bash
# The whole test suite: installs what is missing, checks that every C++ file is formatted, builds with
# warnings as errors and runs every test, then builds a second tree under AddressSanitizer and
# UndefinedBehaviorSanitizer and runs every test again (but the long real-time soak runs). Last, a short
# fuzzing run of the packet path. Any failure or sanitizer report fails the command; the last line sums up
# every test run.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"

passed=0
failed=0
# Runs ctest in a build tree and adds its counts to the totals; stops the script when a test failed.
run_ctest() {
    local tree=$1
    shift
    local log
    log=$(mktemp)
    local status=0
    (cd "$root/build/$tree" && ctest --output-on-failure "$@") 2>&1 | tee "$log" || status=$?
    local summary
    summary=$(grep -E '[0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1 || true)
    rm -f "$log"
    if [ -n "$summary" ]; then
        local total bad
        bad=$(echo "$summary" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\1/')
        total=$(echo "$summary" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\2/')
        passed=$((passed + total - bad))
        failed=$((failed + bad))
    fi
    if [ "$status" -ne 0 ]; then
        echo "Tests: $passed passed, $failed failed"
        exit "$status"
    fi
}

phase() {
    echo "== $1 (after ${SECONDS} s)"
}

phase "Formatting (scripts/check-format.sh --fix formats what is listed)"
"$root/scripts/check-format.sh"
phase "Build (warnings as errors; the benchmarks are compiled, not run)"
"$root/scripts/build.sh" tests -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSONACORE_WARNINGS_AS_ERRORS=ON \
    -DSONACORE_BUILD_BENCHMARKS=ON
phase "Tests"
run_ctest tests --timeout 900

phase "Build (AddressSanitizer, UndefinedBehaviorSanitizer)"
"$root/scripts/build.sh" sanitize -DCMAKE_BUILD_TYPE=Debug -DSONACORE_WARNINGS_AS_ERRORS=ON \
    -DSONACORE_SANITIZE=address,undefined
phase "Tests under sanitizers"
export ASAN_OPTIONS=abort_on_error=1:detect_leaks=1:strict_init_order=1:detect_stack_use_after_return=1
export LSAN_OPTIONS=suppressions=$root/scripts/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_ctest sanitize --timeout 1800 --label-exclude soak

phase "Fuzzing the packet path (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)"
CC=clang CXX=clang++ "$root/scripts/build.sh" fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSONACORE_BUILD_FUZZERS=ON \
    -DSONACORE_SANITIZE=address,undefined
run_ctest fuzz --timeout 900

phase "Done"
echo "Tests: $passed passed, $failed failed"
