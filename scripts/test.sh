#!/usr/bin/env bash
# Installs what the project needs, builds from scratch under AddressSanitizer
# with UndefinedBehaviorSanitizer and runs every test, then runs the threaded
# tests again under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
rm -rf build-address build-thread
bash scripts/build.sh address
(cd build-address && ctest --output-on-failure -j "$(nproc)")
bash scripts/build.sh thread
(cd build-thread && ctest --output-on-failure -j "$(nproc)" -L threads --no-tests=ignore)
