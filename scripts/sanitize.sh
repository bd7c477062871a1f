#!/usr/bin/env bash
# Runs tests on the baseline of the module under address, undefined-behaviour and float-cast-overflow sanitizers, nothing
# suppressed: case files, random calls and the fault matrix, or with --all the models and units too.
# `scripts/test.sh asan` runs every test so.
#   scripts/sanitize.sh [--all] [CTEST-ARGUMENT...]
set -euo pipefail
cd "$(dirname "$0")/.."

tests='^(cases|calls|faults)/'
targets=(--target orvreplay orvcalls orv_modules faults_fault_matrix_test)
if [ "${1:-}" = --all ]; then
    shift
    tests='^(cases|calls|faults|models|units|frame)/'
    targets=()
fi
scripts/setup.sh
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake --preset asan -DORV_PYTHON=OFF "${launcher[@]}" >/dev/null
cmake --build --preset asan "${targets[@]}"
ctest --test-dir build/asan --output-on-failure -j "$(nproc)" -R "$tests" "$@"
