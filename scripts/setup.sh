#!/usr/bin/env bash
# Installs what a build of orv needs, with the system's package manager (Debian and its kin). Quick where nothing is missing.
#   scripts/setup.sh [--bench] [--fuzz] [--lint] [--python]     adds what those parts need
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    libpixman-1-dev libpng-dev libtiff-dev libjpeg62-turbo-dev
    libcli11-dev libfmt-dev nlohmann-json3-dev libgtest-dev
    python3 python3-numpy python3-pil imagemagick libtiff-tools
)
for part in "$@"; do
    case "$part" in
        --bench) packages+=(libbenchmark-dev libopencv-core-dev libopencv-imgproc-dev libleptonica-dev) ;;
        --fuzz) packages+=(clang libclang-rt-14-dev) ;;
        --lint) packages+=(clang-format clang-tidy-19) ;;
        --python) packages+=(pybind11-dev python3-dev python3-numpy python3-pytest python3-setuptools python3-venv python3-wheel) ;;
        *) echo "setup.sh: unknown part '$part' (known: --bench --fuzz --lint --python)" >&2; exit 2 ;;
    esac
done

if ! command -v dpkg-query >/dev/null; then
    echo "setup.sh: this system has no dpkg; install the equivalents of: ${packages[*]}" >&2
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    # A virtual package counts as there when a real one that provides it is.
    if [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then missing+=("$package"); fi
done
[ "${#missing[@]}" -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi
echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
