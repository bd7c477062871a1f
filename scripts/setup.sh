#!/usr/bin/env bash
# Installs what a build of orv needs, with the system's package manager (Debian and its kin). Quick where nothing is missing.
#   scripts/setup.sh [--bench] [--coverage] [--format] [--fuzz] [--lint] [--port] [--python]     adds what those parts need
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    libpixman-1-dev libpng-dev libtiff-dev libjpeg62-turbo-dev
    libcli11-dev libfmt-dev nlohmann-json3-dev libgtest-dev
    python3 python3-numpy python3-pil imagemagick libtiff-tools
)
port=0
for part in "$@"; do
    case "$part" in
        --bench) packages+=(libopencv-core-dev libopencv-imgproc-dev libleptonica-dev libvips-dev fonts-dejavu-core) ;;
        --fuzz) packages+=(clang-19 libclang-rt-19-dev) ;;
        --coverage) packages+=(gcovr) ;;
        --port) port=1; packages+=(clang-19 qemu-user g++-aarch64-linux-gnu g++-s390x-linux-gnu)
            for target in arm64 s390x; do packages+=(libpixman-1-dev:$target libfmt-dev:$target libgtest-dev:$target); done ;;
        --format) packages+=(clang-format) ;;
        --lint) packages+=(clang-tidy-19) ;;
        --python) packages+=(pybind11-dev python3-dev python3-numpy python3-dask python3-distributed python3-pytest python3-setuptools python3-venv python3-wheel) ;;
        *) echo "setup.sh: unknown part '$part' (known: --bench --coverage --format --fuzz --lint --port --python)" >&2; exit 2 ;;
    esac
done

if ! command -v dpkg-query >/dev/null; then
    echo "setup.sh: this system has no dpkg; install the equivalents of: ${packages[*]}" >&2
    exit 0
fi

native=$(dpkg --print-architecture)
missing=()
for package in "${packages[@]}"; do
    # Where libraries of other processors are installed too, only this machine's count, unless another is named.
    wanted="^($native|all) installed$"
    [[ "$package" = *:* ]] && wanted=' installed$'
    dpkg-query -W -f='${Architecture} ${db:Status-Status}\n' "$package" 2>/dev/null | grep -qE "$wanted" || missing+=("$package")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi
echo "Installing: ${missing[*]}"
if [ "$port" -eq 1 ]; then
    for target in arm64 s390x; do "${as_root[@]}" dpkg --add-architecture "$target"; done
fi
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
