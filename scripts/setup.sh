#!/usr/bin/env bash
# Installs the Debian packages the build needs (when missing), then
# configures and builds libVireo2 into build/ (or $VIREO2_BUILD_DIR).
# Extra arguments go to cmake's configure step; $VIREO2_TARGETS, when set,
# limits the build to those targets.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(build-essential ccache cmake ninja-build pkg-config qtbase5-dev libusb-1.0-0-dev liblcms2-dev
          python3-setuptools python3-pip python3-venv python3-numpy
          googletest libgtest-dev libbenchmark-dev python3 argyll)
./scripts/install-packages.sh "${packages[@]}"

build_dir="${VIREO2_BUILD_DIR:-build}"
# Tests and benchmarks are off in a plain configure; the project's own
# builds want them (later arguments override, e.g. -DVIREO2_BUILD_BENCH=OFF).
cmake -S . -B "$build_dir" -G Ninja -DVIREO2_BUILD_TESTS=ON -DVIREO2_BUILD_BENCH=ON "$@" >/dev/null
cmake --build "$build_dir" -j"$(nproc)" ${VIREO2_TARGETS:+--target $VIREO2_TARGETS}
echo "Built: $build_dir/lib/libVireo2.so, $build_dir/bin/"
