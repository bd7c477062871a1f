#!/usr/bin/env bash
# Every case file and ten thousand random calls must give the same bytes on every build of the module, with both compilers,
# optimised and not, with the processor's fused multiply-add hidden from the C library, and on other processors under
# emulation.
#   scripts/portability.sh [CONFIGURATION...]        all of them when none is named:
#       gcc-O3 gcc-O0 clang-O3 clang-O0 no-fma aarch64 s390x
# gcc-O3 and no-fma take the suite's own build, in build/release (RELEASE=DIRECTORY: another one). CALLS=N makes another count
# of calls, FIRST=N begins at another seed. What came stands in build/port/*.calls and *.cases.
set -euo pipefail
cd "$(dirname "$0")/.."

all=(gcc-O3 gcc-O0 clang-O3 clang-O0 no-fma aarch64 s390x)
configurations=("${@:-${all[@]}}")
calls=${CALLS:-10000}
first=${FIRST:-1}
out=build/port
release=${RELEASE:-build/release}
mkdir -p "$out"

scripts/setup.sh --port
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi

# configure DIRECTORY CMAKE-ARGUMENT...
configure() {
    local directory=$1
    shift
    cmake -S . -B "$directory" -G Ninja "${launcher[@]}" "$@" >/dev/null
}

# The programs that play calls, and with them the builds of the module that the suite tests.
buildRelease() {
    [ -d "$release" ] || configure "$release" -DCMAKE_BUILD_TYPE=Release
    cmake --build "$release" --target orvreplay orvcalls orv_modules
}

# The module alone, for those programs.
buildModules() {
    local type=(-DCMAKE_BUILD_TYPE=Release)
    [[ "$1" = *-O0 ]] && type=(-DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0)
    local compiler=(-DCMAKE_CXX_COMPILER=g++)
    # A newer clang finds something to warn of in an older standard library.
    [[ "$1" = clang-* ]] && compiler=(-DCMAKE_CXX_COMPILER=clang++-19 -DORV_WERROR=OFF)
    buildRelease
    configure "$out/$1" -DORV_HOST="$PWD/$release/lib/liborv.so.1" "${compiler[@]}" "${type[@]}"
    cmake --build "$out/$1" --target orv_modules
}

buildForeign() {
    configure "$out/$1" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/cross.cmake" -DORV_TARGET="$1" -DCMAKE_BUILD_TYPE=Release \
        -DORV_PYTHON=OFF -DORV_API=OFF -DORV_PNG=OFF -DORV_TIFF=OFF -DORV_JPEG=OFF
    cmake --build "$out/$1" --target orvreplay orvcalls orv_modules
}

reference=
failures=0

# record NAME MODULE PROGRAMS [RUNNER...]: plays everything on a module by the programs of a folder, and compares with the
# first that was played.
record() {
    local name=$1 module=$2 programs=$3 cases calls_made
    shift 3
    cases=$out/$name.cases
    calls_made=$out/$name.calls
    "$@" "$programs/orvreplay" --build "$module" --print tests/cases/*.case >"$cases" 2>"$cases.log" ||
        echo "$name: cases that fail are told in $cases.log"
    "$@" "$programs/orvcalls" --build "$module" --first "$first" --count "$calls" >"$calls_made" 2>"$calls_made.log" ||
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

# recordAll NAME DIRECTORY [RUNNER...]: the same for all modules that stand there, by the programs of the suite's build.
recordAll() {
    local name=$1 directory=$2 build
    shift 2
    record "$name-baseline" "$directory/lib/orvcomputememory.so.1" "$release/bin" "$@"
    for build in v3 v4; do
        local module=$directory/lib/glibc-hwcaps/x86-64-$build/orvcomputememory.so.1
        if [ -f "$module" ]; then record "$name-$build" "$module" "$release/bin" "$@"; fi
    done
}

for configuration in "${configurations[@]}"; do
    case "$configuration" in
        gcc-O3)
            buildRelease
            recordAll "$configuration" "$release"
            ;;
        no-fma)
            buildRelease
            recordAll "$configuration" "$release" env GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-FMA4,-AVX2
            ;;
        gcc-O0 | clang-O3 | clang-O0)
            buildModules "$configuration"
            recordAll "$configuration" "$out/$configuration"
            ;;
        aarch64 | s390x)
            buildForeign "$configuration"
            record "$configuration" baseline "$out/$configuration/bin" "qemu-$configuration"
            ;;
        *)
            echo "portability.sh: unknown configuration '$configuration' (known: ${all[*]})" >&2
            exit 2
            ;;
    esac
done
[ "$failures" -eq 0 ] && echo "all equal" || echo "$failures differences"
exit $((failures > 0))
