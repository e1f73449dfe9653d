#!/usr/bin/env bash
# The camera commands of keldcfg on the simulated network and USB cameras,
# checked by what they print and by the PNG files they write.
#
#   camera_check.sh local  KELDCFG PNG_CHECK WORK
#   camera_check.sh remote KELDCFG PNG_CHECK WORK KELDCFGD
#
# "remote" runs every command with --host localhost against a keldcfgd of its
# own. Clients reach a host's server on the port of the registry value
# RemotePort (7750 without a registry), so the test takes a network
# namespace of its own where it can (unshare), in which that port is
# certainly free; without one it uses the machine's loopback and is skipped
# (exit 77) where another server already answers there.
set -uo pipefail
mode=$1 tool=$2 png_check=$3 work=$4 server=${5:-}
failures=0

fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# expect NAME PATTERN TEXT: TEXT has a line matching the extended regex.
expect() {
  if ! grep -Eq -- "$2" <<<"$3"; then
    fail "$1: no line matches '$2' in:"
    printf '%s\n' "$3" >&2
  fi
}

if [ "$mode" = remote ] && [ -z "${KELD_CAMERA_CHECK_INSIDE:-}" ]; then
  if unshare -rn true 2>/dev/null; then
    exec env KELD_CAMERA_CHECK_INSIDE=1 unshare -rn bash -c 'ip link set lo up && exec bash "$@"' bash "$0" "$@"
  fi
  if "$tool" version --host localhost >/dev/null 2>&1; then
    echo "another keldcfgd answers on this machine's loopback; skipped" >&2
    exit 77
  fi
fi

rm -rf "$work"
mkdir -p "$work"
export KELDNVSIM_DATA=$work/data
unset KELDNVSIM_CONFIG
host=()
if [ "$mode" = remote ]; then
  "$server" --listen 127.0.0.1:7750 --log-level error &
  server_pid=$!
  trap 'kill -TERM $server_pid 2>/dev/null; wait $server_pid 2>/dev/null' EXIT
  for _ in $(seq 100); do
    "$tool" version --host localhost >/dev/null 2>&1 && break
    sleep 0.1
  done
  host=(--host localhost)
fi

run() {
  local output
  output=$("$tool" "$@" 2>&1)
  local status=$?
  if [ $status -ne 0 ]; then fail "keldcfg $* ended with $status: $output"; fi
  printf '%s\n' "$output"
}

# The three listed cameras (the fourth is not listed by the driver).
listing=$(run cameras "${host[@]}")
expect cameras '^3 network and USB cameras$' "$listing"
expect cameras '^cam0: OD GC-640M, network, id 0x00A1B00000000101$' "$listing"
expect cameras '^cam1: Basalt Imaging BX-2040C USB, USB, id 0x00A1B00000000202$' "$listing"
expect cameras '^cam2: OD CL-4M, camera link, id 0x00A1B00000000303$' "$listing"
if grep -q cam3 <<<"$listing"; then fail "cameras lists the unlisted cam3"; fi

# The tree with categories, values, units, types and access.
tree=$(run camera-attributes "${host[@]}" --camera cam0)
expect tree '^cam0: [0-9]+ attributes up to visibility 0x00004000$' "$tree"
expect tree '^CameraAttributes$' "$tree"
expect tree '^  AnalogControl$' "$tree"
expect tree '^    Gain = 0 dB  \[f64, rw\]$' "$tree"
expect tree '^    Width = 640 pixels  \[u32, rw\]$' "$tree"
expect tree '^    DeviceModelName = "OD GC-640M"  \[string, r-\]$' "$tree"
expect tree '^    PixelFormat = Mono8 \([0-9]+\)  \[enum, rw\]$' "$tree"
expect tree '^    ActionDeviceKey = \(not readable\)  \[u32, -w\]$' "$tree"
expect tree '^  Timeout = [0-9]+ ms  \[u32, rw\]$' "$tree"
if grep -q TypeOfImageInUse <<<"$tree"; then fail "the default tree shows an invisible attribute"; fi
all=$(run camera-attributes "${host[@]}" --camera cam0 --visibility 0x8000000)
expect tree-all '^  TypeOfImageInUse = ' "$all"

# Gain and exposure by short name, in any case, read back from the camera.
set_output=$(run camera-set "${host[@]}" --camera cam0 Gain=2 exposuretime=5000 PixelFormat=Mono16)
expect set '^cam0: CameraAttributes::AnalogControl::Gain = 2 dB$' "$set_output"
expect set '^cam0: CameraAttributes::AcquisitionControl::ExposureTime = 5000 us$' "$set_output"
expect set '^cam0: CameraAttributes::ImageFormat::PixelFormat = Mono16 \([0-9]+\)$' "$set_output"
if [ "$mode" = remote ]; then
  # The target's driver keeps what was set for the next session.
  tree=$(run camera-attributes "${host[@]}" --camera cam0)
  expect kept '^    Gain = 2 dB  \[f64, rw\]$' "$tree"
  expect kept '^    ExposureTime = 5000 us  \[f64, rw\]$' "$tree"
fi
# What cannot be set is refused: a name the camera lacks, a read-only
# attribute, a text that is no number.
refused=$("$tool" camera-set "${host[@]}" --camera cam0 NoSuchThing=1 2>&1)
status=$?
[ $status -eq 2 ] || fail "an unknown attribute ended with $status"
expect unknown 'the camera has no attribute NoSuchThing' "$refused"
refused=$("$tool" camera-set "${host[@]}" --camera cam0 SensorWidth=100 2>&1)
status=$?
[ $status -eq 1 ] || fail "a read-only attribute ended with $status"
expect read-only '^keldcfg: set CameraAttributes::ImageFormat::SensorWidth: 0x[0-9A-F]{8} ' "$refused"
refused=$("$tool" camera-set "${host[@]}" --camera cam0 Gain=loud 2>&1)
status=$?
[ $status -eq 2 ] || fail "a gain that is no number ended with $status"

# Frames as PNG: a monochrome camera and a colour one, decoded in full.
for camera in cam0:640:480:grey cam1:800:600:colour; do
  IFS=: read -r name width height kind <<<"$camera"
  png=$work/$name.png
  snapped=$(run camera-snap "${host[@]}" --camera "$name" "$png")
  expect snap "^$name: $width x $height .* frame written to $png\$" "$snapped"
  decoded=$("$png_check" "$png" 2>&1) || fail "$png does not decode: $decoded"
  expect png "^$width x $height $kind, ([2-9]|[0-9]{2,}) distinct sample values\$" "$decoded"
done

if [ "$mode" = remote ]; then
  # keldcfgd stops cleanly, every session closed (a sanitizer's finding
  # would end it otherwise).
  kill -TERM "$server_pid"
  wait "$server_pid"
  status=$?
  trap - EXIT
  [ $status -eq 0 ] || fail "keldcfgd ended with $status"
fi

if [ $failures -ne 0 ]; then
  echo "$failures checks failed" >&2
  exit 1
fi
echo "all camera checks passed ($mode)"
