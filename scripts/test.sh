#!/usr/bin/env bash
# Installs what is missing, builds and runs every test: the suites in a Release
# build with clang, again in a packager's Release build with g++ (where
# optimisation shows warnings of its own; both runs install the build and check
# applications, man page and completion against it), under AddressSanitizer+UndefinedBehaviorSanitizer
# (clang), the task-queue suite under ThreadSanitizer, and the fuzz targets for a
# bounded number of runs in the AddressSanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

export CTEST_OUTPUT_ON_FAILURE=1

passed=0
failed=0
# Runs ctest in a build tree and adds its counts to the totals (ctest's own
# summary is printed as well); the script fails at the end if anything failed.
run_ctest() {
    local log
    log=$(mktemp)
    (cd "$1" && ctest -j2) 2>&1 | tee "$log" || true
    local line total bad
    line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1)
    rm -f "$log"
    if [ -z "$line" ]; then
        failed=$((failed + 1))
        return
    fi
    bad=$(sed -E 's/.* ([0-9]+) tests failed.*/\1/' <<<"$line")
    total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
    passed=$((passed + total - bad))
    failed=$((failed + bad))
}

echo "== build and test: Release with clang, tests, install checks and benchmarks built"
CC=clang CXX=clang++ scripts/build.sh build-clang -DCMAKE_BUILD_TYPE=Release -DDRUTILS_BUILD_BENCH=ON
run_ctest build-clang

echo "== packager's build: Release with g++, tests and install checks"
CC=gcc CXX=g++ scripts/build.sh build-release -DCMAKE_BUILD_TYPE=Release
run_ctest build-release

echo "== build and test under ASan+UBSan, with the fuzz targets"
CC=clang CXX=clang++ scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug \
    -DDRUTILS_SANITIZE=address -DDRUTILS_BUILD_FUZZ=ON
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:strict_string_checks=1
export LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_ctest build-asan

echo "== task queue under ThreadSanitizer (its suite only, to keep this step cheap)"
scripts/build.sh build-tsan -DCMAKE_BUILD_TYPE=Debug -DDRUTILS_SANITIZE=thread \
    -DDRUTILS_BUILD_BENCH=OFF --target test_taskqueue --target test_pia
# halt_on_error: a reported race fails the run instead of scrolling past.
if TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
    build-tsan/tests/test_taskqueue; then
    passed=$((passed + 1))
else
    failed=$((failed + 1))
fi
# Parameter files parsed on several threads at once.
if TSAN_OPTIONS=halt_on_error=1 build-tsan/tests/test_pia --gtest_filter='Pia.ParsingOnSeveralThreadsAtOnce'; then
    passed=$((passed + 1))
else
    failed=$((failed + 1))
fi

echo "== fuzz targets (bounded runs)"
if scripts/fuzz.sh build-asan "${DRUTILS_FUZZ_RUNS:-20000}"; then
    passed=$((passed + 1))
else
    failed=$((failed + 1))
fi

echo "summary: $passed passed, $failed failed ($SECONDS s)"
[ "$failed" -eq 0 ]
