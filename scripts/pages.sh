#!/usr/bin/env bash
# Writes what is made from the catalogue: docs/operations.md with its pictures, and the typed C++ functions.
#   scripts/pages.sh [ORV]        ORV is the tool; build/release/bin/orv where it is not named
set -euo pipefail
cd "$(dirname "$0")/.."

orv=$(realpath "${1:-build/release/bin/orv}")
scripts/generate_api.py "$orv"
"$orv" help --markdown >docs/operations.md
shown=$(mktemp -d)
trap 'rm -rf "$shown"' EXIT
"$orv" demo "$shown" >/dev/null
cp "$shown/contact-sheet.png" "$shown"/small/*.png docs/pictures/
