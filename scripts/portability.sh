#!/usr/bin/env bash
# Every case file and ten thousand random calls must give the same bytes on every build of the module, with both compilers,
# optimised and not, with the processor's fused multiply-add hidden from the C library, and on other processors under
# emulation.
#   scripts/portability.sh [CONFIGURATION...]        all of them when none is named:
#       gcc-O3 gcc-O0 clang-O3 clang-O0 no-fma aarch64 s390x
# CALLS=N makes another count of calls, FIRST=N begins at another seed. What came stands in build/port/*.calls and *.cases.
set -euo pipefail
cd "$(dirname "$0")/.."

all=(gcc-O3 gcc-O0 clang-O3 clang-O0 no-fma aarch64 s390x)
configurations=("${@:-${all[@]}}")
calls=${CALLS:-10000}
first=${FIRST:-1}
out=build/port
mkdir -p "$out"

scripts/setup.sh --port
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi

# build DIRECTORY CMAKE-ARGUMENT...
build() {
    local directory=$1
    shift
    cmake -S . -B "$directory" -G Ninja -DORV_PYTHON=OFF "${launcher[@]}" "$@" >/dev/null
    cmake --build "$directory" --target orvreplay orvcalls orv_modules
}

buildNative() {
    local type=(-DCMAKE_BUILD_TYPE=Release)
    [[ "$1" = *-O0 ]] && type=(-DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0)
    local compiler=g++
    [[ "$1" = clang-* ]] && compiler=clang++-19
    # Warnings are the suite's matter; a newer clang finds some in an older standard library.
    build "$out/$1" -DCMAKE_CXX_COMPILER=$compiler -DORV_WERROR=OFF "${type[@]}"
}

buildForeign() {
    build "$out/$1" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/cross.cmake" -DORV_TARGET="$1" -DCMAKE_BUILD_TYPE=Release \
        -DORV_PNG=OFF -DORV_TIFF=OFF -DORV_JPEG=OFF
}

reference=
failures=0

# record NAME BUILD DIRECTORY [RUNNER...]: runs everything and compares with the first that ran.
record() {
    local name=$1 build=$2 directory=$3 cases calls_made
    shift 3
    cases=$out/$name.cases
    calls_made=$out/$name.calls
    "$@" "$directory/bin/orvreplay" --build "$build" --print tests/cases/*.case >"$cases" 2>"$cases.log" ||
        echo "$name: cases that fail are told in $cases.log"
    "$@" "$directory/bin/orvcalls" --build "$build" --first "$first" --count "$calls" >"$calls_made" 2>"$calls_made.log" ||
        echo "$name: calls that went wrong are told in $calls_made.log"
    if [ -z "$reference" ]; then
        reference=$name
        echo "$name: $(grep -c '^case' "$cases") cases, $(grep -vc '^#' "$calls_made") calls (the reference)"
        return
    fi
    local same=equal
    for kind in cases calls; do
        cmp -s "$out/$reference.$kind" "$out/$name.$kind" && continue
        same="$kind DIFFER"
        failures=$((failures + 1))
    done
    echo "$name: $same"
}

builds() { ls -d "$1"/lib/glibc-hwcaps/*/ 2>/dev/null | sed 's|.*x86-64-\(v[0-9]\).*|\1|'; }

for configuration in "${configurations[@]}"; do
    case "$configuration" in
        gcc-O3 | gcc-O0 | clang-O3 | clang-O0)
            buildNative "$configuration"
            for build in baseline $(builds "$out/$configuration"); do
                record "$configuration-$build" "$build" "$out/$configuration"
            done
            ;;
        no-fma)
            buildNative gcc-O3
            for build in baseline $(builds "$out/gcc-O3"); do
                record "no-fma-$build" "$build" "$out/gcc-O3" env GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-FMA4,-AVX2
            done
            ;;
        aarch64 | s390x)
            buildForeign "$configuration"
            record "$configuration" baseline "$out/$configuration" "qemu-$configuration"
            ;;
        *)
            echo "portability.sh: unknown configuration '$configuration' (known: ${all[*]})" >&2
            exit 2
            ;;
    esac
done
[ "$failures" -eq 0 ] && echo "all equal" || echo "$failures differences"
exit $((failures > 0))
