#!/usr/bin/env bash
# Builds libVireo2 and runs the whole test suite (each test case in its own
# process). With --sanitize the build and run use AddressSanitizer and
# UndefinedBehaviorSanitizer in build-sanitize/, and any report fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" = "--sanitize" ]; then
  export VIREO2_BUILD_DIR=build-sanitize
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
  export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
  ./scripts/setup.sh -DVIREO2_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug -DVIREO2_BUILD_BENCH=OFF
else
  export VIREO2_BUILD_DIR=build
  ./scripts/setup.sh
fi
cd "$VIREO2_BUILD_DIR"
ctest --output-on-failure -j"$(nproc)" --timeout 300
