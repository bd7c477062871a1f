#!/usr/bin/env bash
# Lines and branches of the device module that the suite takes: case files, models, units, random calls and the fault matrix.
# Prints the sums, and every line with a branch that was not taken for which tests/coverage-reasons.txt gives no reason; all of
# them stand in build/coverage/branches.txt. CTEST-ARGUMENTs may leave out what takes long (-E ^faults/).
# The tests are those of the suite's own build, in build/release (RELEASE=DIRECTORY: another one).
#   scripts/coverage.sh [CTEST-ARGUMENT...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --coverage
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
release=${RELEASE:-build/release}
[ -d "$release" ] || cmake -S . -B "$release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DORV_PYTHON=OFF "${launcher[@]}" >/dev/null
cmake --build "$release" --target device_tests
# Not optimised: branches are those that the source has. Without exceptions no call has a hidden way out.
cmake --preset coverage -DORV_HOST="$PWD/$release/lib/liborv.so.1" "${launcher[@]}" >/dev/null
cmake --build --preset coverage --target device_tests
find build/coverage -name '*.gcda' -delete
ctest --test-dir build/coverage --output-on-failure -j "$(nproc)" -R ^units/
# A host looks for the device beside itself: here it finds the one that counts.
cp "$release/lib/liborv.so.1" build/coverage/lib
LD_LIBRARY_PATH=$PWD/build/coverage/lib ctest --test-dir "$release" --output-on-failure -j "$(nproc)" \
    -R '^(cases|models|faults|frame|calls)/' "$@"

gcovr --root . --object-directory build/coverage --filter 'memory/' --filter 'cis/' --filter 'cell/' \
    --exclude-unreachable-branches --exclude-throw-branches --gcov-ignore-parse-errors \
    --txt build/coverage/lines.txt --json-summary build/coverage/summary.json --json build/coverage/all.json
gcovr --add-tracefile build/coverage/all.json --root . --txt build/coverage/branches-by-file.txt --branches
python3 scripts/untaken.py build/coverage/all.json >build/coverage/branches.txt
tail -4 build/coverage/lines.txt
tail -4 build/coverage/branches-by-file.txt
python3 scripts/untaken.py build/coverage/all.json tests/coverage-reasons.txt
