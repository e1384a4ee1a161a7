#!/usr/bin/env bash
# Builds the benchmarks (Release, build-bench/), runs them -- the X ones each on a private
# Xvfb -- prints a report and writes build-bench/bench-results.json.
#
# Environment: BENCH_ROUNDS (start-up rounds, default 20), BENCH_WARMUPS (default 2),
#              BENCH_JOBS (build parallelism, default 2), BENCH_LATENCY_ROUNDS (cold and warm
#              capture rounds seen from outside the process, default 10),
#              BENCH_NO_FLAMESHOT=1 (do not apt-install Flameshot, the peer of the cold start).
set -euo pipefail
bash "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="$ROOT/build-bench"
ROUNDS="${BENCH_ROUNDS:-20}"
WARMUPS="${BENCH_WARMUPS:-2}"
JOBS="${BENCH_JOBS:-2}"

echo "== building benchmarks (Release, $BUILD)"
cmake -S "$ROOT" -B "$BUILD" -DSCREENCAPTURE_MODULE=OFF -DSCREENCAPTURE_TESTS=OFF \
  -DCMAKE_BUILD_TYPE=Release >"$BUILD.configure.log" 2>&1 || { cat "$BUILD.configure.log"; exit 1; }
cmake --build "$BUILD" -j"$JOBS" --target bench_pixelate bench_startup bench_mosaic_memory bench_snap \
  bench_interaction xpixelwait \
  >"$BUILD/bench-build.log" 2>&1 || { tail -n 60 "$BUILD/bench-build.log"; exit 1; }
rm -f "$BUILD.configure.log"
BIN="$BUILD/bench"
# The cold-start figures need the module itself (build/, as npm run build makes it).
MODULE="$ROOT/build/screencapture.node"
[ -e "$MODULE" ] || bash "$ROOT/scripts/build.sh" >"$BUILD/module-build.log" 2>&1 ||
  { tail -n 40 "$BUILD/module-build.log"; exit 1; }
LATENCY_ROUNDS="${BENCH_LATENCY_ROUNDS:-10}"
# Flameshot is the peer the cold start is compared with; running it is all we do with it.
if ! command -v flameshot >/dev/null && [ "${BENCH_NO_FLAMESHOT:-0}" != 1 ]; then
  sudo=; [ "$(id -u)" = 0 ] || sudo=sudo
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends flameshot \
    >"$BUILD/flameshot-install.log" 2>&1 || echo "!! could not install flameshot (see $BUILD/flameshot-install.log)"
fi
command -v flameshot >/dev/null || echo "   (flameshot is not installed: cold start printed without its peer figure)"

WORK="$(mktemp -d /tmp/screencapture-bench.XXXXXX)"
chmod 700 "$WORK"
LOGS="$BUILD/bench-logs"
mkdir -p "$LOGS"
XVFB_PIDS=()
cleanup() {
  for pid in "${XVFB_PIDS[@]}"; do
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  rm -rf "$WORK"
}
trap cleanup EXIT

# Everything below talks only to the private servers started here (or to no X at all).
unset DISPLAY WAYLAND_DISPLAY XAUTHORITY XDG_SESSION_TYPE
export XDG_RUNTIME_DIR="$WORK"
export QT_LOGGING_RULES="default.debug=false"

run() { # run NAME CMD... : stdout to the terminal, stderr to a log shown on failure
  local name="$1"; shift
  if ! "$@" 2>"$LOGS/$name.log"; then
    echo "!! $name failed; last lines of $LOGS/$name.log:" >&2
    tail -n 40 "$LOGS/$name.log" >&2
    exit 1
  fi
}

# Starts Xvfb with a WxH depth-24 screen on the first free display from :90 on; prints the
# display number. -noreset keeps the root picture when the last client disconnects.
start_xvfb() {
  local size="$1" n
  for n in $(seq 90 160); do
    [ -e "/tmp/.X$n-lock" ] || [ -e "/tmp/.X11-unix/X$n" ] && continue
    Xvfb ":$n" -screen 0 "${size}x24" -nolisten tcp -noreset >"$LOGS/xvfb-$n.log" 2>&1 &
    local pid=$!
    for _ in $(seq 1 50); do
      [ -e "/tmp/.X11-unix/X$n" ] && break
      kill -0 "$pid" 2>/dev/null || break
      sleep 0.1
    done
    if kill -0 "$pid" 2>/dev/null && [ -e "/tmp/.X11-unix/X$n" ]; then
      XVFB_PIDS+=("$pid")
      XVFB_DISPLAY="$n"
      XVFB_PID="$pid"
      return 0
    fi
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  return 1
}

stop_xvfb() {
  kill "$XVFB_PID" 2>/dev/null || true
  wait "$XVFB_PID" 2>/dev/null || true
}

echo
echo "== pixelation (no X server)"
run pixelate env QT_QPA_PLATFORM=offscreen "$BIN/bench_pixelate" --json "$WORK/pixelate.json"

HAVE_X=1
command -v Xvfb >/dev/null || { HAVE_X=0; echo "!! Xvfb not installed: start-up and memory benchmarks skipped"; }
WALLPAPER_NOTE="none"
for size in 1920x1080 3840x2160; do
  [ "$HAVE_X" = 1 ] || break
  w="${size%x*}"; h="${size#*x}"
  echo
  if ! start_xvfb "$size"; then
    echo "!! could not start Xvfb for $size"; exit 1
  fi
  echo "== $size on private Xvfb :$XVFB_DISPLAY"
  # A desktop picture on the root window, so the grab is not a flat black screen.
  if command -v display >/dev/null; then
    run "wallpaper-$size" env QT_QPA_PLATFORM=offscreen "$BIN/bench_startup" --wallpaper "$WORK/desktop-$size.png" "$w" "$h"
    # ImageMagick's display sets the root background and exits (with status 1 even on success).
    DISPLAY=":$XVFB_DISPLAY" timeout 60 display -window root "$WORK/desktop-$size.png" \
      >"$LOGS/display-$size.log" 2>&1 || true
    WALLPAPER_NOTE="generated picture set as root background with ImageMagick display"
  else
    echo "   (ImageMagick display not found: root window left as Xvfb draws it)"
    WALLPAPER_NOTE="none (ImageMagick missing)"
  fi
  export DISPLAY=":$XVFB_DISPLAY" QT_QPA_PLATFORM=xcb
  run "startup-$size" "$BIN/bench_startup" --rounds "$ROUNDS" --warmups "$WARMUPS" --json "$WORK/startup-$size.json"
  if [ "$size" = 3840x2160 ]; then
    echo
    run "snap-$size" "$BIN/bench_snap" --windows 50 --json "$WORK/snap-$size.json"
  fi
  echo
  run "memory-$size" "$BIN/bench_mosaic_memory" --json "$WORK/memory-$size.json"
  echo
  run "latency-$size" node "$ROOT/bench/latency.js" --module "$MODULE" --poller "$BIN/xpixelwait" \
    --rounds "$LATENCY_ROUNDS" --json "$WORK/latency-$size.json"
  echo
  run "hostmoves-$size" node "$ROOT/bench/hostmoves.js" --module "$MODULE" --poller "$BIN/xpixelwait" \
    --json "$WORK/hostmoves-$size.json"
  echo
  run "interaction-$size" "$BIN/bench_interaction" --json "$WORK/interaction-$size.json"
  if [ "$size" = 1920x1080 ]; then
    echo
    echo "   (same scene, handed a pixmap in device pixels at ratio 2)"
    run "memory-$size-pixmap2x" "$BIN/bench_mosaic_memory" --pixmap-scale 2 --json "$WORK/memory-$size-pixmap2x.json"
  fi
  unset DISPLAY QT_QPA_PLATFORM
  stop_xvfb
done

if [ "$HAVE_X" = 1 ] && command -v sway >/dev/null && command -v grim >/dev/null; then
  echo
  echo "== 1920x1080 on a private headless Wayland session"
  # Each round includes a PNG written and read back: fewer rounds keep it short.
  run wayland node "$ROOT/bench/wayland.js" "$BIN/bench_startup" 1920x1080 "$(( ROUNDS < 10 ? ROUNDS : 10 ))" "$WARMUPS" "$WORK/wayland-1920x1080.json"
else
  echo "!! sway or grim not installed: Wayland start-up benchmark skipped"
fi
if [ "$HAVE_X" = 1 ] && command -v gnome-shell >/dev/null && [ "$(id -u)" = 0 ]; then
  echo
  echo "== 1920x1080 on a private headless GNOME Shell session"
  run gnome node "$ROOT/bench/wayland.js" "$BIN/bench_startup" 1920x1080 "$(( ROUNDS < 10 ? ROUNDS : 10 ))" "$WARMUPS" "$WORK/gnome-1920x1080.json" gnome
else
  echo "!! gnome-shell not installed, or not root (the session runs as a user of its own): GNOME start-up benchmark skipped"
fi

# Collect everything into one JSON document.
RESULTS="$BUILD/bench-results.json"
{
  echo "{"
  echo "  \"generated\": \"$(date -u +%Y-%m-%dT%H:%M:%SZ)\","
  echo "  \"commit\": \"$(git -C "$ROOT" rev-parse --short HEAD 2>/dev/null || echo unknown)\","
  echo "  \"cpus\": $(nproc),"
  echo "  \"root_picture\": \"$WALLPAPER_NOTE\","
  printf '  "pixelate": %s' "$(cat "$WORK/pixelate.json")"
  for f in "$WORK"/startup-*.json "$WORK"/memory-*.json "$WORK"/snap-*.json "$WORK"/wayland-*.json "$WORK"/gnome-*.json \
           "$WORK"/latency-*.json "$WORK"/interaction-*.json "$WORK"/hostmoves-*.json; do
    [ -e "$f" ] || continue
    key="$(basename "$f" .json | tr '-' '_')"
    printf ',\n  "%s": %s' "$key" "$(cat "$f")"
  done
  printf '\n}\n'
} >"$RESULTS"

echo
echo "== summary"
if command -v node >/dev/null; then
  node - "$RESULTS" <<'JS'
const r = JSON.parse(require('fs').readFileSync(process.argv[2], 'utf8'));
const f = (v, d = 2) => (typeof v === 'number' ? v.toFixed(d) : '-');
const mib = b => (b / 1048576).toFixed(1);
const rows = [['measure', 'size', 'value', 'baseline', 'ratio', 'target']];
for (const k of Object.keys(r).filter(k => k.startsWith('startup_'))) {
  const s = r[k];
  rows.push(['start-up median ms', `${s.width}x${s.height}`, f(s.start_median_ms), `grab ${f(s.grab_median_ms)}`,
             f(s.ratio_of_medians), `<=1.5x ${s.target_1_5x_met ? 'met' : 'NOT met'}`]);
  rows.push(['start-up min ms (min/min)', `${s.width}x${s.height}`, f(s.start_min_ms), `grab ${f(s.grab_min_ms)}`,
             f(s.ratio_of_mins), '']);
}
for (const k of Object.keys(r).filter(k => k.startsWith('snap_'))) {
  const s = r[k], start = r[k.replace('snap_', 'startup_')];
  const base = start ? start.start_median_ms : NaN;
  rows.push([`window snapshot ms, ${s.windows} windows`, `${s.width}x${s.height}`, f(s.snapshot_median_ms, 3),
             `start-up ${f(base)}`, f(s.snapshot_median_ms / base, 3), '']);
  rows.push(['hover update ms per move', `${s.width}x${s.height}`, f(s.hover_median_ms, 3), `start-up ${f(base)}`,
             f(s.hover_median_ms / base, 3), `frame 16.7: ${f(s.hover_median_ms / 16.7, 3)}`]);
}
for (const c of r.pixelate.cases) {
  const big = c.target_10ms_applies;
  rows.push([`pixelate b=${c.block} ms`, `${c.width}x${c.height}`, f(c.fast_median_ms), `per-pixel ${f(c.plain_median_ms, 1)}`,
             `${f(c.plain_over_fast, 0)}x faster`, big ? `<=10ms ${c.target_10ms_met ? 'met' : 'NOT met'}` : '']);
}
for (const k of Object.keys(r).filter(k => k.startsWith('wayland_'))) {
  const s = r[k];
  rows.push(['Wayland start-up median ms', `${s.width}x${s.height}`, f(s.start_median_ms), `grim ${f(s.grim_png_median_ms)}`,
             f(s.start_over_grim_png), '']);
}
for (const k of Object.keys(r).filter(k => k.startsWith('gnome_'))) {
  const s = r[k];
  rows.push(['GNOME start-up median ms', `${s.width}x${s.height}`, f(s.start_median_ms), `portal ${f(s.portal_median_ms)}`,
             f(s.start_over_portal), '']);
}
const memKeys = Object.keys(r).filter(k => k.startsWith('memory_'));
memKeys.sort((a, b) => (r[a].pixmap_width !== r[a].width) - (r[b].pixmap_width !== r[b].width) || r[a].width - r[b].width);
for (const k of memKeys) {
  const m = r[k];
  const label = m.pixmap_width !== m.width ? `20 mosaics RSS MiB, pixmap ${m.pixmap_width}x${m.pixmap_height}` : '20 mosaics RSS MiB';
  rows.push([label, `${m.width}x${m.height}`, mib(m.rss_growth_20_strokes_bytes), `20 copies ${mib(m.private_copies_bytes)}`,
             f(m.growth_over_private_copies, 3), `${m.distinct_pixelated_buffers} buffer(s)`]);
}
for (const k of Object.keys(r).filter(k => k.startsWith('latency_'))) {
  const l = r[k];
  const size = `${l.width}x${l.height}`;
  rows.push(['first capture / later, ms', size, f(l.first_capture_ms), `later ${f(l.later_capture_median_ms)}`,
             f(l.first_over_later), `<=1.5x ${l.first_over_later <= 1.5 ? 'met' : 'NOT met'}`]);
  rows.push(['cold start ms (node -> painted)', size, f(l.cold_median_ms, 1),
             l.flameshot_cold_median_ms === null ? 'flameshot not installed' : `flameshot ${f(l.flameshot_cold_median_ms, 1)}`,
             l.cold_over_flameshot === null ? '-' : f(l.cold_over_flameshot),
             l.cold_over_flameshot === null ? '' : `<=1x ${l.cold_over_flameshot <= 1 ? 'met' : 'NOT met'}`]);
}
for (const k of Object.keys(r).filter(k => k.startsWith('hostmoves_'))) {
  const m = r[k];
  const size = `${m.width}x${m.height}`;
  for (const kind of ['drag', 'resize']) {
    const ratio = m[`${kind}_capture_over_blocking`];
    rows.push([`${kind} ms/move, capture() (host)`, size, f(m[`${kind}_capture_median_ms`]),
               `screenCapture ${f(m[`${kind}_blocking_median_ms`])}`, f(ratio, 3), `<=1.1x ${ratio <= 1.1 ? 'met' : 'NOT met'}`]);
  }
  rows.push(['host CPU idle after captures', size, `${f(m.idle_cpu_percent)} %`, '', '', `<1% ${m.idle_cpu_percent < 1 ? 'met' : 'NOT met'}`]);
}
for (const k of Object.keys(r).filter(k => k.startsWith('interaction_'))) {
  const i = r[k];
  const size = `${i.width}x${i.height}`;
  for (const [name, key] of [['drag out, ms/move', 'drag'], ['resize handle, ms/move', 'resize'],
                             ['pen 5,000 points, ms/move', 'pen'], ['20th mosaic, ms/move', 'mosaic20']]) {
    const v = i[`${key}_median_ms`];
    rows.push([name, size, f(v), '', '', i.width >= 3840 ? `<=8ms ${v <= 8 ? 'met' : 'NOT met'}` : '']);
  }
  rows.push(['Return -> clipboard owned ms', size, f(i.enter_plain_median_ms), `20 mosaics ${f(i.enter_mosaic_median_ms)}`, '', '']);
  rows.push(['session peak RSS over idle', size, `${mib(i.peak_rss_bytes - i.idle_rss_bytes)} MiB`,
             `screenshot ${mib(i.screenshot_bytes)} MiB`, `${f(i.peak_over_idle_screenshots)} shots`,
             `<=4 ${i.memory_target_met ? 'met' : 'NOT met'}`]);
}
const w = rows[0].map((_, i) => Math.max(...rows.map(x => String(x[i]).length)));
for (const [i, row] of rows.entries()) {
  console.log('  ' + row.map((c, j) => String(c).padEnd(w[j])).join('  '));
  if (i === 0) console.log('  ' + w.map(n => '-'.repeat(n)).join('  '));
}
JS
fi
echo
echo "results: $RESULTS"
