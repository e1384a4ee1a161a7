#!/usr/bin/env bash
# Incremental configure + build of build/ (module and C++ tests). Extra args go to cmake configure.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

bash scripts/setup.sh

builddir=${SCREENCAPTURE_BUILD_DIR:-build}
# Configure only when needed: a second configure would touch the cache for nothing.
if [ ! -f "$builddir/CMakeCache.txt" ] || [ $# -gt 0 ]; then
    cmake -S . -B "$builddir" "$@"
fi
cmake --build "$builddir" -j2
