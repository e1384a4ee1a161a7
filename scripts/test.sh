#!/usr/bin/env bash
# Everything `npm test` runs: set-up, both builds, C++ tests (plain and sanitized), node tests.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

step() { printf '\n==> %s\n' "$*"; }
fail() { printf '\nFAILED: %s\n' "$*" >&2; exit 1; }

step "setup"
bash scripts/setup.sh || fail "installing the Debian packages (scripts/setup.sh)"
# The test helpers' npm packages (package-lock.json), once per checkout.
[ -d node_modules/pngjs ] || npm ci --no-audit --no-fund || fail "npm ci"

step "build (build/)"
bash scripts/build.sh || fail "build of build/"

step "build with ASan+UBSan (build-asan/: C++ tests and the module)"
if [ ! -f build-asan/CMakeCache.txt ]; then
    cmake -S . -B build-asan -DSCREENCAPTURE_SANITIZE=ON || fail "configure of build-asan/"
fi
cmake --build build-asan -j2 || fail "build of build-asan/"

# Each ctest run gets its own Xvfb at the design resolution (layout scale 2).
export QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY XDG_SESSION_TYPE
step "C++ tests (build/)"
scripts/xvfb-run.sh 2560x1600 -- ctest --test-dir build --output-on-failure \
    || fail "C++ tests in build/"

step "C++ tests under ASan+UBSan (build-asan/)"
# Leak checking is off: Qt's platform plugin and font caches keep allocations to exit.
ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 \
    scripts/xvfb-run.sh 2560x1600 -- ctest --test-dir build-asan --output-on-failure \
    || fail "C++ tests in build-asan/"

step "node tests (each starts its own Xvfb)"
node --test tests/node tests/e2e || fail "node tests"

# The sanitized module inside plain node: sessions, Qt's thread and the host's loop, callbacks,
# two Main objects and the clipboard services; a sanitizer report in any child fails the file.
step "end-to-end tests on the sanitized module (build-asan/)"
SCREENCAPTURE_ASAN=1 node --test tests/e2e/session.test.js tests/e2e/clipboard.test.js tests/e2e/host.test.js \
    || fail "end-to-end tests on the sanitized module"

step "random input on the sanitized module (npm run monkey)"
node scripts/monkey.js --asan --events 150 --seed 13 --out build-asan/monkey-failures.json \
    || fail "random input on the sanitized module; replay: node scripts/monkey.js --asan --replay build-asan/monkey-failures.json"

printf '\nall tests passed\n'
