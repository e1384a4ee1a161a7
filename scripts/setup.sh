#!/usr/bin/env bash
# Installs the Debian 12 packages needed to build and test; does nothing when all are present.
set -euo pipefail

packages=(cmake g++ make pkg-config python3 qtbase5-dev qtbase5-dev-tools libxcb1-dev libxcb-shm0-dev libx11-dev xvfb xdotool
          libglib2.0-dev xclip imagemagick x11-utils x11-apps xauth fonts-dejavu-core openbox
          # a second window manager for the monitor tests (its settings daemon comes with it)
          xfwm4
          # the headless Wayland session of the tests and benchmarks
          sway swaybg grim xwayland xdg-desktop-portal xdg-desktop-portal-wlr pipewire dbus-daemon
          x11-xserver-utils libglib2.0-bin python3-gi qtwayland5
          # the headless GNOME Shell session (mutter renders through Mesa's software EGL)
          gnome-shell xdg-desktop-portal-gnome xdg-desktop-portal-gtk libegl-mesa0 libgl1-mesa-dri
          # two monitors side by side for the tests: Xorg with the dummy video driver
          xserver-xorg-core xserver-xorg-video-dummy)

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
