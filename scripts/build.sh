#!/usr/bin/env bash
# Configures and builds one flavour: build.sh [none|address|thread] [build-dir] [target]
set -euo pipefail
cd "$(dirname "$0")/.."
sanitize=${1:-none}
dir=${2:-build}
[ "$sanitize" = none ] || dir=${2:-build-$sanitize}
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
cmake -S . -B "$dir" "${generator[@]}" -DKELD_SANITIZE="$sanitize" >/dev/null
cmake --build "$dir" -j "$(nproc)" ${3:+--target "$3"}
