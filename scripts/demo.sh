#!/usr/bin/env bash
# Installs what is missing, builds orv, runs every operation on a test chart and says where the pictures are.
#   scripts/demo.sh [DIR] [--input PICTURE]
set -euo pipefail
cd "$(dirname "$0")/.."

directory=demo-output
if [ $# -gt 0 ] && [[ "$1" != -* ]]; then
    directory=$1
    shift
fi
scripts/setup.sh
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake --preset release "${launcher[@]}" -DORV_TESTS=OFF >/dev/null
cmake --build --preset release
build/release/bin/orv demo "$directory" "$@"
