#!/usr/bin/env bash
# Builds the baseline of the module under sanitizers and runs every case file on it. `scripts/test.sh asan` runs all tests so.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake --preset asan -DORV_PYTHON=OFF "${launcher[@]}" >/dev/null
cmake --build --preset asan --target orvreplay orv_modules
ctest --test-dir build/asan --output-on-failure -j "$(nproc)" -R '^cases/'
