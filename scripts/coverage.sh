#!/usr/bin/env bash
# Lines and branches of the device module that the suite takes: case files, models, units, random calls and the fault matrix.
# Prints a line for each source, and lists every branch that was not taken in build/coverage/branches.txt.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --coverage
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
# Not optimised: branches are those that the source has. Without exceptions no call has a hidden way out.
cmake --preset coverage -DORV_PYTHON=OFF "${launcher[@]}" >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --test-dir build/coverage --output-on-failure -j "$(nproc)" -R '^(cases|models|units|faults|frame|calls)/' "$@"

gcovr --root . --object-directory build/coverage --filter 'memory/' --filter 'cis/' --filter 'cell/' \
    --exclude-unreachable-branches --exclude-throw-branches --gcov-ignore-parse-errors \
    --txt build/coverage/lines.txt --json-summary build/coverage/summary.json --json build/coverage/all.json
gcovr --add-tracefile build/coverage/all.json --root . --txt build/coverage/branches-by-file.txt --branches
python3 scripts/untaken.py build/coverage/all.json >build/coverage/branches.txt
tail -4 build/coverage/lines.txt
tail -4 build/coverage/branches-by-file.txt
wc -l <build/coverage/branches.txt | sed 's/$/ lines have a branch that is not taken; they stand in build\/coverage\/branches.txt/'
