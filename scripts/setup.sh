#!/usr/bin/env bash
# Installs what building, testing and running SonaCore needs on Debian 12, and nothing when all of it is
# there already. Safe to run any number of times.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    qtbase5-dev libpcap-dev
    googletest libgtest-dev libgmock-dev libbenchmark-dev
    clang libclang-rt-dev clang-format
    libfftw3-dev
    iproute2
    libncurses-dev tmux
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

if ! command -v apt-get >/dev/null 2>&1; then
    echo "setup: these packages are missing: ${missing[*]}" >&2
    echo "setup: this machine has no apt-get; install them with its own package manager (the project" \
         "is made for Debian 12), then run this command again." >&2
    exit 1
fi

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then
        sudo_cmd=(sudo)
    else
        echo "setup: these packages are missing: ${missing[*]}" >&2
        echo "setup: installing them needs root; run this command as root, or install them with" \
             "'apt-get install ${missing[*]}' as root, then run it again." >&2
        exit 1
    fi
fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
