#!/usr/bin/env bash
# Installs what the project needs, builds, and runs the main job: the tool
# reports the library's version and a few status texts, snaps a colour frame
# from the simulated Bayer camera of board img0 into build/frame.png and
# grabs 100 frames from board img1, then starts the target server keldcfgd
# on loopback and asks it for its version and the MTU of the loopback
# adapter, directly and through the service locator, and grabs through it.
# The simulated network and USB cameras are listed, one camera's attributes
# shown in part, its gain and exposure set by name and a frame snapped into
# build/camera.png, here and through keldcfgd.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh none
bin=./build/bin
# The simulated drivers' boards and cameras keep their files in folders of
# this run, one each (a driver seeds only a folder that is empty).
KELDSIM_DATA=$(mktemp -d)
KELDNVSIM_DATA=$(mktemp -d)
export KELDSIM_DATA KELDNVSIM_DATA
trap 'rm -rf "$KELDSIM_DATA" "$KELDNVSIM_DATA"' EXIT
$bin/keldcfg version
$bin/keldcfg error 0 0xBFFF8009 0xBFFF8011 0xBFFF8010
$bin/keldcfg snap --board img0 build/frame.png
$bin/keldcfg grab --board img1 --count 100
# A part of the attribute tree: the categories and the settings used here.
attribute_subset='^[A-Za-z]|^  [A-Za-z]+$| (Gain|ExposureTime|Width|Height|PixelFormat) = '
$bin/keldcfg cameras
$bin/keldcfg camera-attributes --camera cam0 | grep -E "$attribute_subset"
$bin/keldcfg camera-set --camera cam0 Gain=2 ExposureTime=5000
$bin/keldcfg camera-snap --camera cam0 build/camera.png

locator_port=3580
$bin/keldcfgd --listen 127.0.0.1:7750 --locator --target demo --log-level error &
server=$!
trap 'kill -TERM $server 2>/dev/null; wait $server 2>/dev/null || true; rm -rf "$KELDSIM_DATA" "$KELDNVSIM_DATA"' EXIT
for _ in $(seq 50); do
  $bin/keldcfg version --host localhost >/dev/null 2>&1 && break
  sleep 0.1
done
$bin/keldcfg version --host localhost
$bin/keldcfg version --host 127.0.0.1::demo
$bin/keldcfg mtu --host localhost lo
$bin/keldcfg grab --host localhost --board img1 --count 100 --quiet
$bin/keldcfg cameras --host localhost
$bin/keldcfg camera-set --host localhost --camera cam1 Gain=2 ExposureTime=5000
$bin/keldcfg camera-attributes --host localhost --camera cam1 | grep -E "$attribute_subset"
$bin/keldcfg camera-snap --host localhost --camera cam1 build/camera_remote.png
echo "locator answered on TCP $locator_port; stopping keldcfgd"
