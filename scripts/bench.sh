#!/usr/bin/env bash
# Builds an optimised tree and runs every benchmark program; each prints its
# figures beside a reference measured in the same run. Not part of the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
cmake -S . -B build-release "${generator[@]}" -DKELD_SANITIZE=none -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-release -j "$(nproc)"
for source in bench/*.cpp; do
  name=$(basename "$source" .cpp)
  echo "== $name"
  "./build-release/bin/$name"
done
