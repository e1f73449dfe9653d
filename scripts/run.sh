#!/usr/bin/env bash
# Installs what the project needs, builds, and runs the main job: the tool
# reports the library's version and the text of a few statuses.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh none
./build/bin/keldcfg version
./build/bin/keldcfg error 0 0xBFFF8009 0xBFFF8011 0xBFFF8010
