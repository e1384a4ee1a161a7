#!/usr/bin/env bash
# `npm start`: on a desktop (X11 or Wayland), one interactive capture; without one, a scripted
# walk-through on a private Xvfb whose results land in a folder.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

bash scripts/build.sh >&2

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec node scripts/interactive.js
fi
# The walk-through drives the overlay with the end-to-end helpers, which decode PNGs with pngjs.
[ -d node_modules/pngjs ] || npm ci --no-audit --no-fund >&2
exec node scripts/walkthrough.js "$@"
