#!/usr/bin/env bash
# Installs the Debian packages that only the load comparison of bench/run.sh
# needs: the XML libraries it measures beside pugixml and tinyxml2. Building
# and testing do not need them (tools/install-deps.sh installs those), and
# bench_load leaves out a library whose package is missing.
set -euo pipefail

packages=(libxml2-dev libexpat1-dev libboost-dev)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  echo "installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
fi
