#!/usr/bin/env bash
# The main job: build, start the instrument simulator on 127.0.0.1, then
# calibrate and measure through the library with the command-line host, and
# write the reflectance curves as an SVG chart. The simulator is stopped at
# the end. The library's settings and log for this run live in build/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh
bin="$PWD/build/bin"
demo="$PWD/build/demo"
mkdir -p "$demo"
export XDG_DATA_HOME="$demo/data"   # keeps the demo's settings apart from yours

sim_log="$demo/simulator.log"
"$bin/vireo2-sim" --port 0 >"$sim_log" 2>&1 &
sim_pid=$!
trap 'kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true' EXIT

port=""
for _ in $(seq 1 100); do
  port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9][0-9]*\).*/\1/p' "$sim_log" | head -n 1)
  [ -n "$port" ] && break
  sleep 0.1
done
[ -n "$port" ] || { echo "the simulator did not start:"; cat "$sim_log"; exit 1; }
echo "Simulator listening on 127.0.0.1:$port"

cd "$demo"
"$bin/vireo2" --tcp "127.0.0.1:$port" status
"$bin/vireo2" --tcp "127.0.0.1:$port" calibrate
"$bin/vireo2" --tcp "127.0.0.1:$port" measure --plot "$demo/spectra.svg"
echo "Chart written: $demo/spectra.svg"
