#!/usr/bin/env bash
# Installs the Debian packages needed to build and test Zarn2D, only those that are missing.
set -euo pipefail
packages=(cmake g++ make pkg-config libgmp-dev libgtest-dev libbenchmark-dev
          python3-dev pybind11-dev python3-numpy python3-pytest python3-scipy)
[ "${ZARN_WITH_BROWSER:-0}" = 1 ] && packages+=(chromium python3-pil)
[ "${ZARN_WITH_FUZZERS:-0}" = 1 ] && packages+=(clang libclang-rt-dev)  # libFuzzer (scripts/fuzz.sh)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  echo "Installing: ${missing[*]}"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}"
fi
