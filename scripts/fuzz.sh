#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) in build-fuzz/ and
# runs each for SECONDS (default 60) on a copy of its seed corpus in
# fuzz/corpus/<target>/. Prints executions and coverage per target; exits
# non-zero when a target finds a crash (the reproducer is left in
# build-fuzz/findings/<target>/).
#   ./scripts/fuzz.sh [SECONDS] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
shift || true

# clang's libFuzzer runtime, and what the project builds with.
./scripts/install-packages.sh clang libclang-rt-14-dev build-essential cmake ninja-build pkg-config \
  qtbase5-dev libusb-1.0-0-dev liblcms2-dev

build="$PWD/build-fuzz"   # absolute: targets change their working directory
CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVIREO2_FUZZ=ON \
  -DVIREO2_BUILD_TESTS=OFF -DVIREO2_BUILD_BENCH=OFF >/dev/null
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for source in fuzz/fuzz_*.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}"

export ASAN_OPTIONS="detect_leaks=0:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
status=0
for target in "${targets[@]}"; do
  work="$build/corpus/$target"
  findings="$build/findings/$target"
  mkdir -p "$work" "$findings"
  cp -n fuzz/corpus/"$target"/* "$work"/ 2>/dev/null || true
  log="$build/$target.log"
  if "$build/bin/$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 \
       -artifact_prefix="$findings/" "$work" >"$log" 2>&1; then
    result=ok
  else
    result=FAILED
    status=1
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | sed 's/cov: //')
  printf '%-26s %-6s %10s executions  %6s coverage points  %ss\n' "$target" "$result" "${runs:-?}" "${cov:-?}" "$seconds"
  [ "$result" = ok ] || tail -n 40 "$log"
done
exit $status
