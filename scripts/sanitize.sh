#!/usr/bin/env bash
# Runs tests on the baseline of the module under address, undefined-behaviour and float-cast-overflow sanitizers, nothing
# suppressed: case files, random calls and the fault matrix, or with --all the models and units too.
# `scripts/test.sh asan` runs every test so. With --clang the sanitizers are those of clang, in the build of the fuzz targets.
#   scripts/sanitize.sh [--clang] [--all] [CTEST-ARGUMENT...]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=asan
parts=()
if [ "${1:-}" = --clang ]; then
    shift
    preset=fuzz
    parts=(--fuzz)
fi
tests='^(cases|calls|faults)/'
targets=(--target orvreplay orvcalls orv_modules faults_fault_matrix_test)
if [ "${1:-}" = --all ]; then
    shift
    tests='^(cases|calls|faults|models|units|frame)/'
    targets=(--target device_tests)
fi
scripts/setup.sh "${parts[@]}"
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake --preset "$preset" -DORV_PYTHON=OFF "${launcher[@]}" >/dev/null
cmake --build --preset "$preset" "${targets[@]}"
ctest --test-dir "build/$preset" --output-on-failure -j "$(nproc)" -R "$tests" "$@"
