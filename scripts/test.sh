#!/usr/bin/env bash
# Installs what is missing, builds and runs every test: the suites in a normal
# build, the suites again under AddressSanitizer+UndefinedBehaviorSanitizer (clang),
# and the fuzz targets for a bounded number of runs in that sanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

export CTEST_OUTPUT_ON_FAILURE=1

echo "== build and test (release with debug info)"
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDRUTILS_BUILD_BENCH=ON
(cd build && ctest -j2)

echo "== build and test under ASan+UBSan, with the fuzz targets"
CC=clang CXX=clang++ scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug \
    -DDRUTILS_SANITIZE=address -DDRUTILS_BUILD_FUZZ=ON
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:strict_string_checks=1
export LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
(cd build-asan && ctest -j2)

echo "== fuzz targets (bounded runs)"
scripts/fuzz.sh build-asan "${DRUTILS_FUZZ_RUNS:-20000}"
