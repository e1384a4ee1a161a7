#!/usr/bin/env bash
# Runs a command on a private Xvfb: scripts/xvfb-run.sh 1920x1080 -- cmd args...
# Never touches the caller's $DISPLAY; returns the command's exit status.
set -euo pipefail

usage() { echo "usage: $0 <W>x<H> -- command [args...]" >&2; exit 2; }
[ $# -ge 3 ] || usage
size=$1; shift
[[ $size =~ ^[0-9]+x[0-9]+$ ]] || usage
[ "$1" = "--" ] || usage
shift

runtime=$(mktemp -d /tmp/xvfb-run.XXXXXX)
chmod 700 "$runtime"
xvfb_pid=

cleanup() {
    if [ -n "$xvfb_pid" ] && kill -0 "$xvfb_pid" 2>/dev/null; then
        kill "$xvfb_pid" 2>/dev/null || true
        wait "$xvfb_pid" 2>/dev/null || true
    fi
    rm -rf "$runtime"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# -displayfd lets Xvfb pick a free display itself, so parallel runs never collide.
exec 3>"$runtime/displayfd"
Xvfb -displayfd 3 -screen 0 "${size}x24" -nolisten tcp -noreset >"$runtime/xvfb.log" 2>&1 3>&3 &
xvfb_pid=$!
exec 3>&-

display=
for _ in $(seq 1 200); do
    display=$(head -n1 "$runtime/displayfd" 2>/dev/null || true)
    [ -n "$display" ] && break
    if ! kill -0 "$xvfb_pid" 2>/dev/null; then
        echo "xvfb-run.sh: Xvfb failed to start:" >&2
        cat "$runtime/xvfb.log" >&2
        exit 1
    fi
    sleep 0.05
done
if [ -z "$display" ]; then
    echo "xvfb-run.sh: Xvfb did not report a display" >&2
    exit 1
fi

export DISPLAY=":$display"
mkdir -p "$runtime/xdg"
chmod 700 "$runtime/xdg"
export XDG_RUNTIME_DIR="$runtime/xdg"

status=0
"$@" || status=$?
exit "$status"
