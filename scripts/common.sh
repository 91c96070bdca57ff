# Shared by the scripts in this folder: package installation and configure/build.
set -euo pipefail

KORVANE_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
JOBS=$(nproc 2>/dev/null || echo 2)

# Installs the Debian packages that are not installed yet.
ensure_packages() {
    local missing=()
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "== installing ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

BASE_PACKAGES=(cmake make g++ libboost-dev libgtest-dev libgmock-dev pkg-config libpng-dev libtiff-dev libcli11-dev)
# clang with its libFuzzer runtime, for scripts/run-fuzz.
FUZZ_PACKAGES=(clang libclang-rt-14-dev)

# configure_and_build DIR [cmake options...] [-- targets...]
configure_and_build() {
    local dir=$1
    shift
    local options=() targets=()
    while [ $# -gt 0 ] && [ "$1" != "--" ]; do options+=("$1"); shift; done
    [ $# -gt 0 ] && shift && targets=("$@")
    cmake -S "$KORVANE_ROOT" -B "$dir" -DKORVANE_WERROR=ON "${options[@]}" >/dev/null
    if [ ${#targets[@]} -gt 0 ]; then
        cmake --build "$dir" -j"$JOBS" --target "${targets[@]}"
    else
        cmake --build "$dir" -j"$JOBS"
    fi
}
