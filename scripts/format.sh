#!/usr/bin/env bash
# Formats every source, or with --check says which are not formatted.
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t sources < <(git ls-files '*.cc' '*.h')
if [ "${1:-}" = --check ]; then
    clang-format --dry-run --Werror "${sources[@]}"
else
    clang-format -i "${sources[@]}"
fi
