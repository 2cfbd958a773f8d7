#!/usr/bin/env bash
# Installs, on Debian 12, every package the build, the tests, the fuzzers and the
# benchmarks need. Idempotent: packages already present are not touched, and apt is
# only asked when something is missing.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    libwxgtk3.2-dev zlib1g-dev libsqlite3-dev libcups2-dev
    cups printer-driver-cups-pdf
    libgtest-dev libgmock-dev libbenchmark-dev
    gettext python3 python3-ezdxf libssl-dev
    # JSON read and written by the tool; its schemas checked by the tests; git for
    # the textconv recipe's test
    nlohmann-json3-dev python3-jsonschema git
    # the Python module, for Debian's python3, and its tests
    pybind11-dev python3-dev python3-pytest
    clang libclang-rt-14-dev
    xvfb xauth
    # the editor's desktop files: checked, and the file types compiled, by the tests
    desktop-file-utils shared-mime-info
    ccache
    man-db groff-base
    # the baseline of the start-up benchmark
    sqlite3
    # the private printing scheduler's queues: PPDs of cups-filters (pxlcolor.ppd)
    cups-filters
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo"
fi
echo "installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
