#!/usr/bin/env bash
# Measures every function of the module beside its peers and writes docs/benchmarks.md with its pictures, in some ten minutes.
#   scripts/bench.sh [BUILD]         BUILD is the folder of a build with ORV_BENCH=ON; where none is named one is made
# A command in ORV_BENCH_WITH is put before each measurement (taskset -c 1, say). What was measured is kept in BUILD/measured.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/bench}
measured=$build/measured
read -ra with <<<"${ORV_BENCH_WITH:-}"
python=/usr/bin/python3
[ -x "$python" ] || python=python3

scripts/setup.sh --bench
if [ $# -eq 0 ]; then
    launcher=()
    if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
    cmake --preset bench "${launcher[@]}" >/dev/null
    cmake --build --preset bench
fi
bin=$build/bin
mkdir -p "$measured"
rm -f "$measured"/*

measure() { "${with[@]}" "$@"; }

# The rows of one size, in some parts of half a minute at most.
rows() {
    local parts=$1
    shift
    for part in $(seq "$parts"); do measure "$bin/orvbench" --part "$part/$parts" "$@"; done
}

# What it was measured on.
processor=$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1)
compiler=$(c++ --version | head -1)
chosen=$("$bin/orvbench" --load | cut -d' ' -f1)
echo "On ${processor:-$(uname -m)} ($(nproc) cores), $compiler, $(uname -s) $(uname -r), build \`$chosen\` of the module." \
    >"$measured/machine.txt"

# Every row, in memory and in cache. Short runs are many: the fastest of thirty is still noise where one takes 10 us.
rows 8 --side 2048 --times 200 --seconds 0.2 --json "$measured/rows-2048.json"
rows 3 --side 512 --times 1000 --seconds 0.05 --json "$measured/rows-512.json"
for side in 2048 512; do
    if [ -x "$bin/orvbench_vips" ]; then
        measure "$bin/orvbench_vips" $side 0.2 >"$measured/peers-vips-$side.json"
    fi
    measure "$python" bench/pillow_peer.py $side 0.2 >"$measured/peers-pillow-$side.json"
done

# One row of each family as pictures grow, large ones twice.
mapfile -t families <bench/families.txt
for side in 256 512 1024 2048 4096 8192 16384; do
    rows $((side > 4096 ? side / 2048 : 1)) --exact --alone --side $side --times $((side > 4096 ? 2 : 12)) --seconds 0.2 \
        --json "$measured/scale-$side.json" "${families[@]}"
done

# The module: its size, what it takes to open it, what its functions keep.
library=$build/lib
for level in baseline v3 v4; do
    module=$library/orvcomputememory.so.1
    [ $level = baseline ] || module=$library/glibc-hwcaps/x86-64-$level/orvcomputememory.so.1
    best=
    for _ in 1 2 3 4 5 6 7; do
        line=$("$bin/orvbench" --build $level --load 2>/dev/null) || continue
        if [ -z "$best" ] || awk -v a="$(cut -d' ' -f2 <<<"$line")" -v b="$(cut -d' ' -f2 <<<"$best")" \
            'BEGIN { exit !(a < b) }'; then
            best=$line
        fi
    done
    [ -n "$best" ] || continue
    read -r _ took _ resident _ <<<"$best"
    read -r text data bss _ < <(size "$module" | tail -1)
    echo "$level $(stat -Lc %s "$module") $text $data $bss $took $resident" >>"$measured/modules.txt"
done
measure "$bin/orvbench" --side 64 --retained >"$measured/retained.txt"
"$bin/orvbench" --uncovered >"$measured/uncovered.txt" || true

"$python" bench/report.py "$measured"
