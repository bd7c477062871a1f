#!/usr/bin/env bash
# clang-tidy over the sources, each once, with the rules of .clang-tidy; ends with an error where it finds anything.
#   scripts/lint.sh [PRESET] [PATTERN...]     PRESET: a configured one (release); PATTERN: parts of paths, e.g. memory/filter tools/
set -euo pipefail
cd "$(dirname "$0")/.."

preset=release
if [ $# -gt 0 ] && [ -f "build/$1/compile_commands.json" ]; then
    preset=$1
    shift
fi
scripts/setup.sh --lint
[ -f "build/$preset/compile_commands.json" ] || cmake --preset "$preset" >/dev/null

# Fuzz targets and Python's module are compiled only where asked for, so what is linted is what this preset compiles.
sources=$(python3 - "build/$preset/compile_commands.json" "$@" <<'PY'
import json, os, sys
here = os.getcwd() + os.sep
files = {os.path.realpath(entry["file"]) for entry in json.load(open(sys.argv[1]))}
ours = sorted(f.removeprefix(here) for f in files if f.startswith(here) and os.sep + "build" + os.sep not in f)
print("\n".join(f for f in ours if not sys.argv[2:] or any(part in f for part in sys.argv[2:])))
PY
)
xargs -P "$(nproc)" -n 1 clang-tidy-19 -p "build/$preset" --quiet <<<"$sources" 2> >(grep -v 'warnings\? generated' >&2)
