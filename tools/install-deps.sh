#!/usr/bin/env bash
# Installs the Debian packages that building, testing and benchmarking need.
# Does nothing when they are all present already.
set -euo pipefail

packages=(cmake ninja-build g++ python3 libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev libxml2-utils locales pkgconf
          libpugixml-dev libtinyxml2-dev
          clang-14 libclang-rt-14-dev)  # clang and libFuzzer for tools/fuzz.sh

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  echo "installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
fi

# One test checks number formatting under a locale with a decimal comma.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
  if [ "$(id -u)" -eq 0 ] && [ -f /etc/locale.gen ]; then
    sed -i 's/^# *\(de_DE.UTF-8 UTF-8\)/\1/' /etc/locale.gen
    grep -q '^de_DE.UTF-8 UTF-8' /etc/locale.gen || echo 'de_DE.UTF-8 UTF-8' >> /etc/locale.gen
    locale-gen >/dev/null 2>&1 || true
  fi
fi
