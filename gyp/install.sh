#!/bin/sh
# npm's install step: checks the build dependencies, then builds with node-gyp.
set -e
cd "$(dirname "$0")/.."
if [ -f CMakeLists.txt ]; then
    # A development checkout (the package does not ship CMakeLists.txt): build/ is CMake's,
    # and node-gyp rebuild would wipe it.
    echo "screencapture: development checkout, not running node-gyp; build with npm run build"
    exit 0
fi
pkgs=$(sed -n "s/^ *'pkg_config_packages': '\(.*\)',.*/\1/p" binding.gyp)
sh gyp/qt.sh check $pkgs
exec node-gyp rebuild --jobs="${npm_config_jobs:-${JOBS:-max}}"
