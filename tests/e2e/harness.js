'use strict';
// End-to-end helpers: private Xvfb servers, a scripted child process that owns the module,
// xdotool/xclip/ImageMagick wrappers, control positions from build/layoutprobe, and pixel
// checks.
const assert = require('node:assert/strict');
const { spawn, execFile, execFileSync } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { PNG } = require('pngjs');

const ROOT = path.resolve(__dirname, '..', '..');
// SCREENCAPTURE_ASAN=1: the module of build-asan/, loaded with the sanitizer runtimes preloaded.
const SANITIZED = process.env.SCREENCAPTURE_ASAN === '1';
const MODULE_PATH = process.env.SCREENCAPTURE_MODULE || path.join(ROOT, SANITIZED ? 'build-asan' : 'build', 'screencapture.node');
const OVERLAY_TITLE = 'Diagramscene';

const sleep = (ms) => new Promise((r) => setTimeout(r, ms));
const readPng = (buf) => PNG.sync.read(buf);
const writePng = (width, height, data) => PNG.sync.write({ width, height, data });

// Retries an async check until it stops throwing; rethrows its last error after `timeout` ms.
async function eventually(check, { timeout = 4000, interval = 150 } = {}) {
  for (const end = Date.now() + timeout; ; await sleep(interval)) {
    try {
      return await check();
    } catch (e) {
      if (Date.now() >= end) throw e;
    }
  }
}

// Polls an (async) predicate every 50 ms; resolves true once it holds, false on timeout.
const waitUntil = (pred, { timeout = 5000 } = {}) =>
  eventually(async () => {
    if (!(await pred())) throw new Error('not yet');
    return true;
  }, { timeout, interval: 50 }).catch(() => false);

// Every process we start, so nothing outlives the test run even when a test throws.
const live = new Set();
function track(proc) {
  live.add(proc);
  proc.once('exit', () => live.delete(proc));
  return proc;
}
process.once('exit', () => live.forEach((p) => p.kill('SIGKILL')));

function run(cmd, args, { env, input, timeout = 15000, encoding = 'buffer' } = {}) {
  return new Promise((resolve, reject) => {
    const child = execFile(cmd, args, { env, timeout, encoding, maxBuffer: 256 << 20 }, (err, stdout, stderr) =>
      err ? reject(Object.assign(err, { stdout, stderr })) : resolve(stdout));
    if (input !== undefined) child.stdin.end(input);
  });
}

// Resolves to the exit status; never rejects on a non-zero status.
const runStatus = (cmd, args, opts = {}) =>
  run(cmd, args, opts).then((stdout) => ({ status: 0, stdout }), (err) => {
    if (typeof err.code !== 'number') throw err;
    return { status: err.code, stdout: err.stdout, stderr: err.stderr };
  });

// Hidden key on env objects: lets helpers register children with their server.
const CHILDREN = Symbol('children');

// Xvfb on a display it picks itself, or (dummyXorg) Xorg with the dummy driver, which unlike
// Xvfb puts monitors side by side and can switch one off (see xrandr); stop() also kills every
// child started with its env.
async function startXvfb({ width = 1280, height = 800, depth = 24, timeout = 10000, dummyXorg = false } = {}) {
  const runtime = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-xvfb-'));
  fs.chmodSync(runtime, 0o700);
  const conf = path.join(runtime, 'xorg.conf');
  fs.writeFileSync(conf, `Section "Device"\nIdentifier "d"\nDriver "dummy"\nVideoRam 256000\nEndSection
Section "Monitor"\nIdentifier "m"\nHorizSync 5.0-1000.0\nVertRefresh 5.0-200.0\nEndSection
Section "Screen"\nIdentifier "s"\nDevice "d"\nMonitor "m"\nDefaultDepth 24
SubSection "Display"\nDepth 24\nVirtual 4000 2000\nEndSubSection\nEndSection\n`);
  const [cmd, own] = dummyXorg ? ['Xorg', ['-config', conf, '-logfile', path.join(runtime, 'log')]] : ['Xvfb', ['-screen', '0', `${width}x${height}x${depth}`]];
  const xvfb = track(spawn(cmd, [...own, '-displayfd', '3', '-nolisten', 'tcp', '-noreset'], { stdio: ['ignore', 'ignore', 'pipe', 'pipe'] }));
  let log = '';
  xvfb.stderr.on('data', (d) => (log += d));
  const display = await new Promise((resolve, reject) => {
    let text = '';
    const timer = setTimeout(() => reject(new Error(`${cmd} did not start:\n${log}`)), timeout);
    xvfb.stdio[3].on('data', (d) => (text += d).includes('\n') && (clearTimeout(timer), resolve(':' + text.trim())));
    xvfb.once('exit', (code) => (clearTimeout(timer), reject(new Error(`${cmd} exited with ${code} (Xorg needs root):\n${log}`))));
  });
  xvfb.removeAllListeners('exit');
  const env = { ...process.env, DISPLAY: display, XDG_RUNTIME_DIR: runtime, QT_QPA_PLATFORM: 'xcb' };
  delete env.WAYLAND_DISPLAY;
  delete env.XDG_SESSION_TYPE; // an X11 session, whatever desktop runs the tests
  delete env.QT_MESSAGE_PATTERN; // log lines are matched verbatim
  const children = (env[CHILDREN] = new Set());
  const running = () => xvfb.exitCode === null && xvfb.signalCode === null;
  return {
    display, width, height, env,
    xrandr: (...a) => run('xrandr', a, { env }),
    async stop() {
      for (const c of children) await c.kill();
      children.clear();
      if (running()) {
        const gone = new Promise((r) => xvfb.once('exit', r));
        xvfb.kill('SIGTERM');
        await Promise.race([gone, sleep(3000)]);
        if (running()) xvfb.kill('SIGKILL');
      }
      fs.rmSync(runtime, { recursive: true, force: true });
    },
  };
}

// A server of width × height showing `picture` (an image) on its root window, stopped after `t`.
async function desktop(t, width, height, picture) {
  const x = await startXvfb({ width, height });
  t.after(() => x.stop());
  await setRootPattern(x.env, picture);
  return x;
}

// Images are { width, height, data: RGBA bytes }; colours are [r, g, b].

// An image whose pixel (x, y) is fn(x, y).
function image(width, height, fn) {
  const data = Buffer.alloc(width * height * 4, 255);
  for (let y = 0; y < height; y++) for (let x = 0; x < width; x++) data.set(fn(x, y), (y * width + x) * 4);
  return { width, height, data };
}

function pixelAt(img, x, y) {
  const o = (y * img.width + x) * 4;
  return [img.data[o], img.data[o + 1], img.data[o + 2]];
}

const sameRgb = (a, b, tol = 0) => [0, 1, 2].every((i) => Math.abs(a[i] - b[i]) <= tol);
const cropImage = (img, x, y, w, h) => image(w, h, (px, py) => pixelAt(img, x + px, y + py));

// Each pixel's colour encodes its own position, so any crop reveals where it came from.
// variant changes every pixel, so two patterns never share a colour at one spot.
function patternPixel(x, y, variant = 0) {
  const rgb = [x & 0xff, y & 0xff, (((x >> 8) & 0xf) << 4) | ((y >> 8) & 0xf)];
  return variant ? [rgb[0] ^ 0xa5, rgb[1] ^ 0x5a, rgb[2] ^ 0xff] : rgb;
}

// Inverse of patternPixel (for x, y < 4096).
function patternPosition([r, g, b], variant = 0) {
  if (variant) [r, g, b] = [r ^ 0xa5, g ^ 0x5a, b ^ 0xff];
  return { x: ((b >> 4) << 8) | r, y: ((b & 0xf) << 8) | g };
}

const makePatternImage = (width, height, variant = 0) => image(width, height, (x, y) => patternPixel(x, y, variant));

// Source-over of a solid colour with alpha onto an opaque pixel, in 8 bits.
const blend = (src, [r, g, b, a]) => [r, g, b].map((c, i) => Math.round(c * (a / 255) + src[i] * (1 - a / 255)));
// The pattern under the overlay: dimmed, with the dimming rectangle's black pen on row/column 0.
const dimmedPattern = (x, y, variant = 0) => (x === 0 || y === 0 ? [0, 0, 0] : blend(patternPixel(x, y, variant), [53, 53, 53, 133]));

// Compares an image with expectedAt(x, y) → [r, g, b] pixel by pixel; skip(x, y) ignores a
// pixel. Returns { checked, bad, first: [{x, y, got, want}] }.
function comparePixels(img, expectedAt, { tolerance = 2, skip = () => false, maxReport = 5 } = {}) {
  const r = { checked: 0, bad: 0, first: [] };
  for (let y = 0; y < img.height; y++) {
    for (let x = 0; x < img.width; x++) {
      if (skip(x, y)) continue;
      r.checked++;
      const [want, got] = [expectedAt(x, y), pixelAt(img, x, y)];
      if (!sameRgb(got, want, tolerance) && r.bad++ < maxReport) r.first.push({ x, y, got, want });
    }
  }
  return r;
}

const diffText = (cmp) => `${cmp.bad} of ${cmp.checked} pixels differ, first: ${JSON.stringify(cmp.first)}`;

// Compares img with the pattern's crop rect = {x, y, w, h} exactly; null when equal.
function patternCropMismatch(img, rect, { variant = 0 } = {}) {
  if (img.width !== rect.w || img.height !== rect.h) {
    const origin = patternPosition(pixelAt(img, 0, 0), variant);
    return `size ${img.width}x${img.height} (origin colour says ${origin.x},${origin.y}), want ${rect.w}x${rect.h} at ${rect.x},${rect.y}`;
  }
  const cmp = comparePixels(img, (px, py) => patternPixel(rect.x + px, rect.y + py, variant), { tolerance: 0 });
  return cmp.bad === 0 ? null : diffText(cmp);
}

// Bounding box {x, y, w, h, count} of the pixels where `pred(rgb, x, y)` holds, or null.
function boundingBox(img, pred) {
  let [x0, y0, x1, y1, count] = [Infinity, Infinity, -1, -1, 0];
  for (let y = 0; y < img.height; y++) {
    for (let x = 0; x < img.width; x++) {
      if (!pred(pixelAt(img, x, y), x, y)) continue;
      count++;
      [x0, y0, x1, y1] = [Math.min(x0, x), Math.min(y0, y), Math.max(x1, x), Math.max(y1, y)];
    }
  }
  return count ? { x: x0, y: y0, w: x1 - x0 + 1, h: y1 - y0 + 1, count } : null;
}

// The first and last x of the runs of at least minRun pixels of `colour` (± tol) on row y, or
// null: long runs single out drawn frames and panels from stray pixels of that colour.
function rowRuns(img, y, colour, tol, minRun) {
  let [x0, x1] = [Infinity, -1];
  for (let x = 0, start = -1; x <= img.width; x++) {
    const hit = x < img.width && sameRgb(pixelAt(img, x, y), colour, tol);
    if (hit && start < 0) start = x;
    if (hit || start < 0) continue;
    if (x - start >= minRun) [x0, x1] = [Math.min(x0, start), Math.max(x1, x - 1)];
    start = -1;
  }
  return x1 < 0 ? null : [x0, x1];
}

function findRunsBox(img, colour, { tol = 3, minRun = 40 } = {}) {
  let [x0, y0, x1, y1] = [Infinity, Infinity, -1, -1];
  for (let y = 0; y < img.height; y++) {
    const r = rowRuns(img, y, colour, tol, minRun);
    if (r) [x0, y0, x1, y1] = [Math.min(x0, r[0]), Math.min(y0, y), Math.max(x1, r[1]), y];
  }
  return x1 < 0 ? null : { x: x0, y: y0, w: x1 - x0 + 1, h: y1 - y0 + 1 };
}

// The toolbar: a white panel with a grey border `border` device pixels wide. With a style
// popup 10 px above or below it, the box around both.
function findToolbar(img, { border = 1 } = {}) {
  const b = findRunsBox(img, [255, 255, 255], { tol: 2, minRun: 60 });
  return b && { x: b.x - border, y: b.y - border, w: b.w + 2 * border, h: b.h + 2 * border };
}

// Where the toolbar and the style popup (10 px above or below it, left-aligned with it) are in
// a screenshot, or null. The toolbar is the wider: its top rows are white across.
function findPanels(img, layout) {
  const u = findToolbar(img);
  if (!u) return null;
  const T = layout.toolbar.size.h;
  const top = rowRuns(img, u.y + 3, [255, 255, 255], 2, 60);
  const onTop = !!top && top[1] - top[0] + 1 >= layout.toolbar.size.w - 10;
  return { toolbar: { x: u.x, y: onTop ? u.y : u.y + u.h - T }, popup: u.h > T ? { x: u.x, y: onTop ? u.y + T + 10 : u.y, h: u.h - T - 10 } : null };
}

const findMagnifier = (img) => findRunsBox(img, [0x60, 0x60, 0x60], { tol: 3, minRun: 40 });


// Screenshot of the X screen, or of its part (x, y, w, h), decoded.
async function screenshot(env, x, y, w, h) {
  const crop = w ? ['-crop', `${w}x${h}+${x}+${y}`, '+repage'] : [];
  return readPng(await run('import', ['-window', 'root', ...crop, 'png24:-'], { env, timeout: 20000 }));
}

// Takes screenshots until check(shot).ok or the timeout; returns the last result with its shot.
async function shotUntil(env, check, { timeout = 3000 } = {}) {
  let r;
  await waitUntil(async () => {
    const shot = await screenshot(env);
    return (r = { ...check(shot), shot }).ok;
  }, { timeout });
  return r;
}

// Shows a picture (a PNG file or an image) on the root window. ImageMagick's `display` exits 1
// even when it worked, so success is judged by a screenshot.
async function setRootPattern(env, picture) {
  const want = typeof picture === 'string' ? readPng(fs.readFileSync(picture)) : picture;
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-root-'));
  try {
    const file = path.join(dir, 'root.png');
    fs.writeFileSync(file, writePng(want.width, want.height, want.data));
    await runStatus('display', ['-window', 'root', file], { env, timeout: 20000 });
    const sample = (x, y) => x % 41 || y % 37 || x >= want.width || y >= want.height; // skip all but a grid
    const shown = await shotUntil(env, (shot) => ({
      ok: comparePixels(shot, (x, y) => pixelAt(want, x, y), { tolerance: 0, skip: sample, maxReport: 0 }).bad === 0,
    }), { timeout: 4000 });
    if (!shown.ok) throw new Error('root window does not show the picture');
    return shown.shot;
  } finally {
    fs.rmSync(dir, { recursive: true, force: true });
  }
}


// Node itself is not instrumented, so the runtimes must be preloaded. Leak checks are off (Qt
// and V8 keep allocations to exit); any other report aborts the child.
let sanitizerEnv;
function childEnv(env) {
  if (!SANITIZED) return env;
  if (!sanitizerEnv) {
    const lib = (name) => execFileSync('gcc', [`-print-file-name=${name}`], { encoding: 'utf8' }).trim();
    sanitizerEnv = {
      LD_PRELOAD: `${lib('libasan.so')} ${lib('libubsan.so')}`,
      ASAN_OPTIONS: 'detect_leaks=0:halt_on_error=1',
      UBSAN_OPTIONS: 'print_stacktrace=1:halt_on_error=1',
    };
  }
  return { ...env, ...sanitizerEnv };
}

// Sanitizer reports in a child's stderr; a test process that saw one exits with status 1.
const SANITIZER_REPORT = /ERROR: AddressSanitizer|runtime error:/;
const reports = [];
process.once('exit', () => {
  if (!reports.length) return;
  process.stderr.write(`sanitizer reports in ${reports.length} child process(es):\n${reports.join('\n')}\n`);
  process.exitCode = 1;
});

let copies;
function reachableCopies() {
  if (!copies) {
    const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-child-'));
    fs.chmodSync(dir, 0o755);
    copies = [path.join(__dirname, 'child.js'), MODULE_PATH].map((f) => {
      fs.copyFileSync(f, path.join(dir, path.basename(f)));
      return path.join(dir, path.basename(f));
    });
    process.once('exit', () => fs.rmSync(dir, { recursive: true, force: true }));
  }
  return copies;
}

// Runs tests/e2e/child.js with a list of steps (see there); its stdout is JSON lines.
// A session of another user (scripts/gnome-session.js) runs its clients as that user, on
// copies it can reach wherever this checkout is.
function spawnChild(env, steps) {
  const as = env?.[Symbol.for('screencapture.spawnAs')];
  const args = ['--expose-gc', ...(as ? reachableCopies() : [path.join(__dirname, 'child.js'), MODULE_PATH]), JSON.stringify(steps)];
  return spawnNode(env, args, { as });
}

// A node host running `source` with `args` as process.argv[1...], in `cwd`; stdout is JSON lines.
const spawnScript = (env, source, args = [], { cwd } = {}) => spawnNode(env, ['-e', source, ...args], { cwd });

function spawnNode(env, args, { cwd = os.tmpdir(), as } = {}) {
  const proc = track(spawn(process.execPath, args, { env: childEnv(env), cwd, stdio: 'pipe', ...as }));
  const handle = { proc, lines: [], stderr: '', exitCode: undefined, signal: undefined };
  const waiters = new Set();
  const notify = () => waiters.forEach((w) => w());
  let buffered = '';
  proc.stdout.on('data', (d) => {
    const parts = (buffered + d).split('\n');
    buffered = parts.pop();
    for (const line of parts) {
      try {
        handle.lines.push(JSON.parse(line));
      } catch {
        handle.lines.push({ raw: line });
      }
    }
    notify();
  });
  proc.stderr.on('data', (d) => ((handle.stderr += d), notify()));
  proc.stdin.on('error', () => {});
  proc.once('close', () => SANITIZER_REPORT.test(handle.stderr) && reports.push(handle.stderr));
  handle.exited = new Promise((resolve) =>
    proc.once('exit', (code, signal) => (Object.assign(handle, { exitCode: code, signal }), notify(), resolve({ code, signal }))));
  // Resolves with found() once it is truthy; rejects on exit or timeout.
  const until = (found, what, timeout) =>
    new Promise((resolve, reject) => {
      const done = (fn, v) => (clearTimeout(timer), waiters.delete(check), fn(v));
      const fail = (why) => done(reject, new Error(`${why} ${what}; lines: ${JSON.stringify(handle.lines)}; stderr:\n${handle.stderr}`));
      const check = () => {
        const hit = found();
        if (hit) done(resolve, hit);
        else if (handle.exitCode !== undefined) fail(`child exited (${handle.exitCode}/${handle.signal}) before`);
      };
      const timer = setTimeout(() => fail('timed out waiting for'), timeout);
      waiters.add(check);
      check();
    });
  handle.events = (op) => handle.lines.filter((l) => l.op === op);
  handle.waitFor = (pred, { timeout = 10000, what = 'child output' } = {}) => until(() => handle.lines.find(pred), what, timeout);
  handle.waitForStderr = (text, { timeout = 10000 } = {}) => until(() => handle.stderr.includes(text), JSON.stringify(text), timeout);
  handle.result = (index = 0) =>
    handle.waitFor((l) => l.op === 'captured' && l.index === index, { what: `capture ${index} to end`, timeout: 20000 });
  handle.send = (line = '') => proc.stdin.write(line + '\n');
  handle.kill = async () => handle.exitCode === undefined && (proc.kill('SIGKILL'), await handle.exited);
  env?.[CHILDREN]?.add(handle);
  return handle;
}

// Constructs Main, calls screenCapture(a, b, cb) (or with the arguments named by `args`, see
// child.js), prints the result, then exec()s to keep serving the clipboard.
const spawnCapture = (env, { args = 'cb3' } = {}) => spawnChild(env, [{ op: 'capture', args }, { op: 'exec' }]);

// Starts a capture with the pointer in the screen's bottom-right corner and waits for its
// overlay; the child is killed when `t` ends. `env` defaults to the server's.
async function startCapture(t, x, { env = x.env, settle = 150, ...opts } = {}) {
  await mouseup(x.env); // a test that failed mid-drag may have left the button down
  await mousemove(x.env, x.width - 1, x.height - 1);
  const child = spawnCapture(env, opts);
  t.after(() => child.kill());
  await waitForOverlay(x.env, { child });
  await sleep(settle);
  return child;
}


async function xdotool(env, args, { settle = 60 } = {}) {
  const out = await run('xdotool', args.map(String), { env, encoding: 'utf8' });
  if (settle) await sleep(settle);
  return out;
}

const mousemove = (env, x, y) => xdotool(env, ['mousemove', x, y]);
const mousedown = (env, button = 1) => xdotool(env, ['mousedown', button]);
const mouseup = (env, button = 1) => xdotool(env, ['mouseup', button]);
const click = (env, button = 1) => xdotool(env, ['click', button]);
const key = (env, ...keys) => xdotool(env, ['key', ...keys]);
const type = (env, text) => xdotool(env, ['type', '--delay', '20', text]);
const clickAt = (env, x, y, button = 1) => xdotool(env, ['mousemove', x, y, 'click', button]);
// Two clicks 80 ms apart, well inside Qt's double-click interval.
const doubleClickAt = (env, x, y) => xdotool(env, ['mousemove', x, y, 'click', '--repeat', '2', '--delay', '80', '1']);

// Points from a to b every `step` pixels or less, a and b included.
function linePoints(a, b, step = 6) {
  const n = Math.max(1, Math.ceil(Math.max(Math.abs(b[0] - a[0]), Math.abs(b[1] - a[1])) / step));
  return Array.from({ length: n + 1 }, (_, i) => [0, 1].map((k) => Math.round(a[k] + ((b[k] - a[k]) * i) / n)));
}

// Presses at the first point, moves through the others and releases at the last. With
// drawnAt(x, y), each move waits until that reports the overlay has drawn up to the point, so
// every move reaches it as its own event (Qt merges motion events that queue up).
async function stroke(env, points, { settle = 25, drawnAt, timeout = 5000 } = {}) {
  await mousemove(env, ...points[0]);
  await mousedown(env);
  try {
    for (const [px, py] of points.slice(1)) {
      await xdotool(env, ['mousemove', px, py], { settle: drawnAt ? 0 : settle });
      if (drawnAt && !(await waitUntil(() => drawnAt(px, py), { timeout }))) throw new Error(`the stroke was not drawn up to ${px},${py}`);
    }
    if (!drawnAt) await sleep(50);
  } finally {
    await mouseup(env);
  }
}

// A drag with intermediate moves, so the scene sees a real drag, not a jump.
const drag = (env, x0, y0, x1, y1, { steps = 8 } = {}) =>
  stroke(env, Array.from({ length: steps + 1 }, (_, i) => [Math.round(x0 + ((x1 - x0) * i) / steps), Math.round(y0 + ((y1 - y0) * i) / steps)]), { settle: 20 });

async function findWindows(env, name) {
  const r = await runStatus('xdotool', ['search', '--onlyvisible', '--name', name], { env, encoding: 'utf8' });
  return r.status === 0 ? String(r.stdout).split('\n').filter(Boolean) : [];
}
const visibleOverlays = (env) => findWindows(env, OVERLAY_TITLE);
// Answers the open save dialog with `file` (its name field takes the keys a moment after it
// shows).
async function typeSaveName(env, file) {
  await sleep(300);
  await key(env, 'ctrl+a');
  await type(env, file);
  await key(env, 'Return');
}

// Drags out a region and waits for its toolbar, right-aligned to the region's corner: X delivers
// input in order, so everything sent before has been handled once it shows. What a negative
// check waits for instead of a sleep.
async function regionTaken(env) {
  await drag(env, 100, 100, 900, 600);
  const at = (shot) => { const b = findToolbar(shot); return { ok: !!b && Math.abs(b.x + b.w - 900) <= 3 }; };
  if (!(await shotUntil(env, at, { timeout: 10000 })).ok) throw new Error('a dragged region got no toolbar by its corner');
}

// The capture of `child` goes on: it has not ended and its overlay is still mapped.
async function assertOngoing(env, child, what) {
  assert.equal(child.events('captured').length, 0, what);
  assert.equal((await visibleOverlays(env)).length, 1, what);
}

// Id of the first visible window whose name matches `name` (a regular expression for xdotool).
async function waitForWindowNamed(env, name, { timeout = 10000, child } = {}) {
  let ids = [];
  await waitUntil(async () => (ids = await findWindows(env, name)).length || child?.exitCode !== undefined, { timeout });
  if (ids.length) return ids[0];
  throw new Error(`no visible window named ${JSON.stringify(name)}` + (child ? ` (child exit ${child.exitCode}/${child.signal}); stderr:\n${child.stderr}` : ''));
}

const waitForOverlay = (env, { timeout = 15000, child } = {}) => waitForWindowNamed(env, OVERLAY_TITLE, { timeout, child });

async function waitForOverlayGone(env, { timeout = 10000 } = {}) {
  if (!(await waitUntil(async () => (await visibleOverlays(env)).length === 0, { timeout }))) throw new Error('overlay window is still mapped');
}

// Waits until the 3 × 3 pixels around (x, y) are (open = true) or are not (false) plain white.
async function waitForWhite(env, x, y, open, { timeout = 5000 } = {}) {
  const white = async () => boundingBox(await screenshot(env, x - 1, y - 1, 3, 3), (rgb) => sameRgb(rgb, [255, 255, 255]))?.count === 9;
  if (!(await waitUntil(async () => (await white()) === open, { timeout }))) throw new Error(`the screen at ${x},${y} did not turn ${open ? '' : 'non-'}white`);
}


const readClipboard = (env, target = 'UTF8_STRING') => run('xclip', ['-selection', 'clipboard', '-t', target, '-o'], { env, timeout: 10000 });

const clipboardTargets = (env) => readClipboard(env, 'TARGETS').then((out) => String(out).split('\n').filter(Boolean), () => []);

// An xclip process owning the clipboard with `data` under `target` until kill().
async function holdClipboard(env, target, data) {
  const proc = track(spawn('xclip', ['-quiet', '-selection', 'clipboard', '-t', target, '-i'], { env, stdio: ['pipe', 'ignore', 'ignore'] }));
  const exited = new Promise((r) => proc.once('exit', r));
  proc.stdin.end(data);
  const handle = { alive: () => proc.exitCode === null && proc.signalCode === null };
  handle.kill = async () => handle.alive() && (proc.kill('SIGKILL'), await exited);
  env[CHILDREN].add(handle);
  const serves = () => readClipboard(env, target).then((out) => Buffer.from(out).equals(Buffer.from(data)), () => false);
  if (await waitUntil(serves, { timeout: 10000 })) return handle;
  await handle.kill();
  throw new Error('xclip did not take the clipboard');
}

// The first argument of each callback call of capture `index`, which must have returned "./".
async function ended(child, index = 0) {
  const r = await child.result(index);
  assert.equal(r.ret, './');
  return r.calls.map((c) => c.args[0]);
}

// The capture `index` of `child` ended with callback("image"); the image on the clipboard.
async function copiedImage(child, env, index = 0) {
  assert.deepEqual((await child.result(index)).calls, [{ args: ['image'], thisIsNull: true }]);
  return readPng(await readClipboard(env, 'image/png'));
}


// openbox, or xfwm4 (Xfce's, with its settings daemon on a private session bus, and its
// focus-stealing prevention on), managing the server x until the test t ends.
async function windowManager(t, x, name) {
  const [cmd, args] = name === 'openbox' ? ['openbox', ['--sm-disable']] : ['dbus-run-session', ['--', 'xfwm4', '--compositor=off', '--sm-client-disable']];
  const config = path.join(x.env.XDG_RUNTIME_DIR, 'config');
  const channel = path.join(config, 'xfce4', 'xfconf', 'xfce-perchannel-xml');
  fs.mkdirSync(channel, { recursive: true });
  fs.writeFileSync(path.join(channel, 'xfwm4.xml'), `<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfwm4" version="1.0"><property name="general" type="empty">
<property name="prevent_focus_stealing" type="bool" value="true"/></property></channel>\n`);
  const wm = track(spawn(cmd, args, { env: { ...x.env, XDG_CONFIG_HOME: config }, stdio: 'ignore', detached: true }));
  t.after(() => {
    try {
      process.kill(-wm.pid, 'SIGKILL');
    } catch {}
  });
  const managing = async () => /window id/.test(String(await run('xprop', ['-root', '_NET_SUPPORTING_WM_CHECK'], { env: x.env, encoding: 'utf8' })));
  assert.ok(await waitUntil(managing, { timeout: 20000 }), `${name} did not start`);
}

// With the text tool chosen over `region`, clicks into it and types: the text must show on
// shot() (a screenshot). click(x, y) and type(text) send input however the desktop takes it.
async function typedTextShows(region, { click, type, shot }) {
  const spot = [region.x + 40, region.y + 60];
  await click(...spot);
  await sleep(200);
  const area = async () => cropImage(await shot(), spot[0], spot[1] - 20, 120, 60);
  const blank = await area();
  await type('WWW');
  assert.ok(await waitUntil(async () => comparePixels(await area(), (px, py) => pixelAt(blank, px, py)).bad > 30), 'the typed text must show');
}

// Waits for the toolbar, with or without a style popup, on the X screen of env; see findPanels.
async function panelsOn(env, layout, withPopup) {
  const r = await shotUntil(env, (shot) => {
    const p = findPanels(shot, layout);
    return { ok: !!p && !!p.popup === withPopup, ...p };
  });
  if (!r.ok) throw new Error(`no toolbar${withPopup ? ' and popup' : ''} on screen`);
  return r;
}

// A capture on server x with `region` dragged out and `tool` chosen. panels() waits for the
// toolbar and a style popup on screen (see findPanels); tool() and popupClick() click a
// toolbar button or a popup control (layout positions) where they are; confirm() clicks the
// confirm button (or runs `how`) and returns the clipboard image.
async function annotate(t, x, layout, region, tool) {
  const child = await startCapture(t, x, { settle: 200 });
  const clickThen = async (px, py) => (await clickAt(x.env, px, py), await sleep(150));
  const ses = {
    child,
    at: (lx, ly) => [region.x + lx, region.y + ly],
    panels: (withPopup = true) => panelsOn(x.env, layout, withPopup),
    tool: async (name, withPopup) => clickThen(...Object.values(toolButton(layout, (await ses.panels(withPopup)).toolbar, name))),
    popupClick: async (pos) => {
      const { popup } = await ses.panels();
      await clickThen(popup.x + pos[0], popup.y + pos[1]);
    },
    async confirm(how = () => ses.tool('tool_confirm')) {
      await how();
      const img = await copiedImage(child, x.env);
      assert.deepEqual([img.width, img.height], [region.w, region.h]);
      return img;
    },
  };
  await drag(x.env, region.x, region.y, region.x + region.w, region.y + region.h);
  await ses.tool(tool, false);
  return ses;
}

const probeCache = new Map();

// Runs build/layoutprobe on the server of `env` (with its QT_SCALE_FACTOR). JSON: { scale,
// toolbar: { size: {w, h}, buttons: { tool_confirm: [cx, cy], ... } }, linePopup, ... };
// positions are logical pixels relative to each widget's top-left.
async function layoutProbe(env) {
  const k = `${env.DISPLAY}|${env.QT_SCALE_FACTOR || ''}`;
  if (!probeCache.has(k)) {
    const out = await run(path.join(ROOT, 'build', 'layoutprobe'), [], { env, encoding: 'utf8', timeout: 20000 });
    probeCache.set(k, JSON.parse(out.trim().split('\n').pop()));
  }
  return probeCache.get(k);
}

// Where the toolbar shows for a region clear of the screen's edges, before a tool is chosen:
// right-aligned with the region, 10 px below it.
const barBelow = (layout, r) => ({ x: r.x + r.w - layout.toolbar.size.w, y: r.y + r.h + 10 });

function toolButton(layout, bar, name) {
  const c = layout.toolbar.buttons[name];
  if (!c) throw new Error(`no toolbar button ${name}`);
  return { x: bar.x + c[0], y: bar.y + c[1] };
}

module.exports = {
  ROOT, MODULE_PATH, SANITIZED, SANITIZER_REPORT, sleep, eventually, waitUntil, run, startXvfb, desktop, image, pixelAt, sameRgb,
  cropImage, patternPixel, patternPosition, makePatternImage, blend, dimmedPattern, comparePixels, diffText,
  patternCropMismatch, boundingBox, findRunsBox, findPanels, findToolbar, findMagnifier, screenshot, shotUntil, setRootPattern,
  spawnChild, spawnScript, spawnCapture, startCapture, xdotool, mousemove, mousedown, mouseup, click, key, type, clickAt,
  doubleClickAt, linePoints, stroke, drag, visibleOverlays, typeSaveName, regionTaken, assertOngoing, waitForWindowNamed, waitForOverlay,
  waitForOverlayGone, waitForWhite, readClipboard, clipboardTargets, holdClipboard, ended, copiedImage, annotate, layoutProbe,
  windowManager, typedTextShows, panelsOn, barBelow, toolButton, readPng, writePng,
};
