#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each for a while, one a processor, from the corpus in fuzz/corpus on. What is
# found beside that stays in build/fuzz/corpus.
#   scripts/fuzz.sh [SECONDS] [TARGET...]        30 seconds each where nothing is said, all targets where none is named
set -euo pipefail
cd "$(dirname "$0")/.."

# run SECONDS TARGET
run() {
    local found=build/fuzz/corpus/$2
    mkdir -p "$found"
    local options=(-max_total_time="$1" -max_len=4096 -rss_limit_mb=4096 -timeout=120 -verbosity=0 -print_final_stats=1)
    [[ "$2" = case_* ]] && options+=(-dict=fuzz/case.dict)
    if "build/fuzz/bin/$2" "${options[@]}" -artifact_prefix="build/fuzz/$2-" "$found" "fuzz/corpus/$2" >"$found.log" 2>&1; then
        echo "$2: $(sed -n 's/^stat::number_of_executed_units: *//p' "$found.log") inputs in $1 seconds, nothing found"
    else
        tail -60 "$found.log"
        echo "$2: found something; the input stands in build/fuzz"
        return 1
    fi
}
if [ "${1:-}" = --run ]; then
    run "$2" "$3"
    exit
fi

seconds=${1:-30}
shift || true
scripts/setup.sh --fuzz
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake --preset fuzz -DORV_PYTHON=OFF "${launcher[@]}" >/dev/null
cmake --build --preset fuzz --target fuzzers
targets=("$@")
[ "${#targets[@]}" -gt 0 ] || mapfile -t targets < <(basename -a build/fuzz/bin/*_fuzz)
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I '{}' scripts/fuzz.sh --run "$seconds" '{}'
