#!/usr/bin/env bash
# The main job: build, start the instrument simulator on 127.0.0.1, then
# calibrate and measure through the library with the command-line host, and
# write the reflectance curves as an SVG chart. The simulator is stopped at
# the end. The library's settings and log for this run live in build/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."

# Only what the job runs is built: the library, vireo2 and vireo2-sim
# (./scripts/test.sh builds the rest).
VIREO2_TARGETS="vireo2 vireo2-sim" ./scripts/setup.sh
build="$PWD/${VIREO2_BUILD_DIR:-build}"
bin="$build/bin"
demo="$build/demo"
mkdir -p "$demo"
export XDG_DATA_HOME="$demo/data"   # keeps the demo's settings apart from yours

sim_log="$demo/simulator.log"
"$bin/vireo2" sim --port 0 --track 0 >"$sim_log" 2>&1 &
sim_pid=$!
trap 'kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true' EXIT

port=""
for _ in $(seq 1 100); do
  port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9][0-9]*\).*/\1/p' "$sim_log" | head -n 1)
  [ -n "$port" ] && break
  kill -0 "$sim_pid" 2>/dev/null || break
  sleep 0.1
done
[ -n "$port" ] || { echo "the simulator did not start:"; cat "$sim_log"; exit 1; }
track=$(sed -n 's/.*track listening on 127\.0\.0\.1:\([0-9][0-9]*\).*/\1/p' "$sim_log" | head -n 1)
[ -n "$track" ] || { echo "the simulated track did not start:"; cat "$sim_log"; exit 1; }
echo "Simulator listening on 127.0.0.1:$port, its TR3 track on 127.0.0.1:$track"

cd "$demo"
bold=""; plain=""
if [ -t 1 ]; then bold=$'\033[1m'; plain=$'\033[0m'; fi
step() { printf '\n%s$ vireo2 %s%s\n' "$bold" "${*:2}" "$plain"; "$@"; }
step "$bin/vireo2" --tcp "127.0.0.1:$port" status
step "$bin/vireo2" calibrate
step "$bin/vireo2" measure --plot "$demo/spectra.svg"
rm -f "$demo/strip.cgats"
step "$bin/vireo2" scan --track "127.0.0.1:$track" --cgats "$demo/strip.cgats" --plot "$demo/strip.svg"

if command -v rsvg-convert >/dev/null; then
  rsvg-convert -o "$demo/spectra.png" "$demo/spectra.svg" && echo "Also as PNG: $demo/spectra.png"
  rsvg-convert -o "$demo/strip.png" "$demo/strip.svg" && echo "Also as PNG: $demo/strip.png"
fi
echo
echo "Open $demo/spectra.svg (the curves) and $demo/strip.svg (the scanned strip) in a web browser;"
echo "$demo/strip.cgats holds the strip's L*a*b* and spectra for colour-management tools."
echo "Next: docs/getting-started.md (a real instrument over USB or the network)."
