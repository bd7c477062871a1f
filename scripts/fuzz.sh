#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each for a while.
#   scripts/fuzz.sh [SECONDS]        30 each where nothing is said
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
for target in build/fuzz/bin/*_fuzz; do
    name=$(basename "$target")
    corpus=build/fuzz/corpus/$name
    mkdir -p "$corpus"
    seeds=()
    [ -d "fuzz/corpus/$name" ] && seeds=("fuzz/corpus/$name")
    [ "$name" = case_text_fuzz ] && seeds+=(tests/cases)
    echo "$name"
    "$target" -max_total_time="${1:-30}" -max_len=65536 -rss_limit_mb=4096 -print_final_stats=0 -verbosity=0 "$corpus" "${seeds[@]}"
done
