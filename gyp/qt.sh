#!/bin/sh
# Answers binding.gyp's questions from the package root, where gyp runs its commands:
#   qt.sh check PKG...      pkg-config, the packages and Qt's moc and rcc are all there
#   qt.sh cflags|libs PKG...
#   qt.sh bin              Qt's host tools directory (moc, rcc)
#   qt.sh sources core|module   .cpp files: under src/diagramscene and src/platform, or the rest of src
#   qt.sh moc-headers      headers that declare a QObject
# On a missing piece it prints one line naming the Debian packages and fails.
set -u
cd "$(dirname "$0")/.."

missing() {
    echo "screencapture: $1 not found; install the build dependencies with: sudo apt-get install qtbase5-dev qtbase5-dev-tools libxcb1-dev libxcb-shm0-dev libx11-dev pkg-config g++ make python3" >&2
    exit 1
}

bin() {
    command -v pkg-config >/dev/null 2>&1 || missing "pkg-config"
    dir=$(pkg-config --variable=host_bins Qt5Core 2>/dev/null) || missing "Qt 5 (pkg-config Qt5Core)"
    for tool in moc rcc; do
        [ -x "$dir/$tool" ] || missing "Qt's $tool in $dir"
    done
    echo "$dir"
}

cmd=${1:-}
[ $# -gt 0 ] && shift
case $cmd in
check)
    bin >/dev/null
    pkg-config --exists "$@" || missing "one of $* (pkg-config)"
    for tool in g++ make python3; do
        command -v $tool >/dev/null 2>&1 || missing "$tool"
    done
    ;;
cflags | libs)
    pkg-config --"$cmd" "$@" || missing "pkg-config $*"
    ;;
bin) bin ;;
sources)
    # The same rule as CMakeLists.txt's globs, so a new file needs no edit in either.
    if [ "${1:-}" = core ]; then
        find src/diagramscene src/platform -name '*.cpp'
    else
        find src -path src/diagramscene -prune -o -path src/platform -prune -o -name '*.cpp' -print
    fi | LC_ALL=C sort
    ;;
moc-headers) grep -rl --include='*.h' Q_OBJECT src | LC_ALL=C sort ;;
*)
    echo "usage: $0 check|cflags|libs|bin|sources|moc-headers" >&2
    exit 2
    ;;
esac
