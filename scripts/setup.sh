#!/usr/bin/env bash
# Installs the Debian 12 packages needed to build and test; does nothing when all are present.
set -euo pipefail

packages=(cmake g++ make qtbase5-dev qtbase5-dev-tools xvfb xdotool xclip imagemagick
          x11-utils xauth fonts-dejavu-core
          xserver-xorg-core xserver-xorg-video-dummy x11-xserver-utils)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg -s "$p" 2>/dev/null | grep -q '^Status: install ok installed'; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}"
sudo=
if [ "$(id -u)" -ne 0 ]; then
    sudo=sudo
fi
export DEBIAN_FRONTEND=noninteractive
$sudo env DEBIAN_FRONTEND=noninteractive apt-get update -q
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
