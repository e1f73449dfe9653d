#!/usr/bin/env bash
# Installs what the project needs, builds from scratch under AddressSanitizer
# with UndefinedBehaviorSanitizer and runs every test, runs the threaded tests
# again under ThreadSanitizer, and runs every fuzz target (clang, libFuzzer)
# over its seed corpus. Ends with one line of totals.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
rm -rf build-address build-thread build-fuzz
log=$(mktemp)
trap 'rm -f "$log"' EXIT
run_ctest() {  # dir, ctest arguments...
  local dir=$1
  shift
  (cd "$dir" && ctest --output-on-failure -j "$(nproc)" "$@") | tee -a "$log"
}

bash scripts/build.sh address
run_ctest build-address
# Under ThreadSanitizer only what the threaded tests run is built.
bash scripts/build.sh thread build-thread threaded_tests
run_ctest build-thread -L threads
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DKELD_FUZZ=ON -DKELD_SANITIZE=address \
  $(command -v ninja >/dev/null && echo -G Ninja) >/dev/null
cmake --build build-fuzz -j "$(nproc)" --target fuzzers fuzz_rpc_pdu fuzz_pixel_codec
run_ctest build-fuzz -R '^fuzz_'

awk '/tests failed out of/ { failed += $4; total += $NF }
     END { printf "%d passed, %d failed\n", total - failed, failed }' "$log"
