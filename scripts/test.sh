#!/usr/bin/env bash
# Builds libVireo2 and runs the whole test suite (each test case in its own
# process). With --sanitize the build and run use AddressSanitizer and
# UndefinedBehaviorSanitizer in build-sanitize/, and any report fails the run.
# With --tsan the threads' tests (status thread, worker threads, the TCP
# worker, concurrent exports, connect/disconnect) run under ThreadSanitizer in
# build-tsan/; scripts/tsan.supp explains each suppression.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" = "--tsan" ]; then
  export VIREO2_BUILD_DIR=build-tsan
  export TSAN_OPTIONS="suppressions=$PWD/scripts/tsan.supp:halt_on_error=1:second_deadlock_stack=1:report_signal_unsafe=0"
  VIREO2_TARGETS="test_device_concurrency test_device_connection test_device_exchange test_device_measurement test_commands_device test_commands_execute vireo2_transport_tests" \
    ./scripts/setup.sh -DVIREO2_TSAN=ON -DVIREO2_BUILD_BENCH=OFF
  cd "$VIREO2_BUILD_DIR"
  ctest --output-on-failure -j"$(nproc)" --timeout 300 \
    -R '^(ConcurrencyTest|ConnectionTest|ExchangeTest|MeasurementTest|LongOperationTest|DispatchTest|EthernetTransportTest|ReadAheadTest)\.'
  exit $?
fi

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
