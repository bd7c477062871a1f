#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test; ends with ctest's own summary.
#   scripts/test.sh [PRESET] [CTEST-ARGUMENT...]        PRESET: release (the default), debug, asan
set -euo pipefail
cd "$(dirname "$0")/.."

preset=release
if [ $# -gt 0 ] && [[ "$1" != -* ]]; then
    preset=$1
    shift
fi
scripts/setup.sh --python
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
# The demonstration configures the same folder without tests.
cmake --preset "$preset" "${launcher[@]}" -DORV_TESTS=ON >/dev/null
cmake --build --preset "$preset"
ctest --test-dir "build/$preset" --output-on-failure -j "$(nproc)" "$@"
