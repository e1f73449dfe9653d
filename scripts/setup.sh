#!/usr/bin/env bash
# Installs the Debian packages the project builds, tests and packages with (cpack -G DEB
# needs dpkg-shlibdeps from build-essential and `file`). Safe to run again.
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config git file
  libgtest-dev libgmock-dev libbenchmark-dev
  libboost-dev
  nlohmann-json3-dev libcli11-dev
  libzstd-dev liblz4-dev libxxhash-dev libjpeg62-turbo-dev libpng-dev libopencv-imgproc-dev libopencv-core-dev
  libcharls-dev libjxl-dev libdeflate-dev
  clang libclang-rt-14-dev
  python3-impacket tshark
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  echo "debconf wireshark-common/install-setuid boolean false" | $SUDO debconf-set-selections 2>/dev/null || true
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
