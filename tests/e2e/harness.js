'use strict';
// End-to-end helpers: private Xvfb servers, a scripted child process that owns the
// module, xdotool/xclip/ImageMagick wrappers and pixel checks.
const { spawn, execFile } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { writePng, readPng } = require('./png');

const ROOT = path.resolve(__dirname, '..', '..');
const MODULE_PATH = process.env.SCREENCAPTURE_MODULE || path.join(ROOT, 'build', 'screencapture.node');
const CHILD_SCRIPT = path.join(__dirname, 'child.js');
const OVERLAY_TITLE = 'Diagramscene';

const sleep = (ms) => new Promise((r) => setTimeout(r, ms));

// Polls an (async) predicate every 50 ms; resolves true once it holds, false on timeout.
async function waitUntil(pred, { timeout = 5000 } = {}) {
  const end = Date.now() + timeout;
  for (;;) {
    if (await pred()) return true;
    if (Date.now() >= end) return false;
    await sleep(50);
  }
}

// Every process we start, so nothing outlives the test run even when a test throws.
const live = new Set();
function track(proc) {
  live.add(proc);
  proc.once('exit', () => live.delete(proc));
  return proc;
}
process.once('exit', () => {
  for (const p of live) {
    try {
      p.kill('SIGKILL');
    } catch {}
  }
});

function run(cmd, args, { env, input, timeout = 15000, encoding = 'buffer' } = {}) {
  return new Promise((resolve, reject) => {
    const child = execFile(
      cmd,
      args,
      { env, timeout, encoding, maxBuffer: 256 * 1024 * 1024 },
      (err, stdout, stderr) => {
        if (err) {
          err.stdout = stdout;
          err.stderr = stderr;
          reject(err);
        } else resolve(stdout);
      },
    );
    if (input !== undefined) child.stdin.end(input);
  });
}

// Resolves to the exit status; never rejects on a non-zero status.
function runStatus(cmd, args, opts = {}) {
  return run(cmd, args, opts).then(
    (stdout) => ({ status: 0, stdout }),
    (err) => {
      if (typeof err.code !== 'number') throw err;
      return { status: err.code, stdout: err.stdout, stderr: err.stderr };
    },
  );
}

/**
 * Starts Xvfb on a display it picks itself (-displayfd), depth 24.
 * Returns { display, env, width, height, stop() }; stop() also kills every child
 * started through this server's env.
 */
async function startXvfb({ width = 1280, height = 800, timeout = 10000 } = {}) {
  const runtime = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-xvfb-'));
  fs.chmodSync(runtime, 0o700);
  const xvfb = track(
    spawn(
      'Xvfb',
      ['-displayfd', '3', '-screen', '0', `${width}x${height}x24`, '-nolisten', 'tcp', '-noreset'],
      { stdio: ['ignore', 'ignore', 'pipe', 'pipe'] },
    ),
  );
  let log = '';
  xvfb.stderr.on('data', (d) => (log += d));
  const display = await new Promise((resolve, reject) => {
    let text = '';
    const timer = setTimeout(() => reject(new Error(`Xvfb did not start:\n${log}`)), timeout);
    xvfb.stdio[3].on('data', (d) => {
      text += d;
      if (text.includes('\n')) {
        clearTimeout(timer);
        resolve(':' + text.trim());
      }
    });
    xvfb.once('exit', (code) => {
      clearTimeout(timer);
      reject(new Error(`Xvfb exited with ${code}:\n${log}`));
    });
  });
  xvfb.removeAllListeners('exit');
  const env = { ...process.env, DISPLAY: display, XDG_RUNTIME_DIR: runtime, QT_QPA_PLATFORM: 'xcb' };
  delete env.WAYLAND_DISPLAY;
  delete env.QT_MESSAGE_PATTERN; // log lines are matched verbatim
  const children = new Set();
  env[CHILDREN] = children;
  const server = {
    display,
    width,
    height,
    env,
    async stop() {
      for (const c of children) await c.kill();
      children.clear();
      if (xvfb.exitCode === null && xvfb.signalCode === null) {
        const gone = new Promise((r) => xvfb.once('exit', r));
        xvfb.kill('SIGTERM');
        await Promise.race([gone, sleep(3000)]);
        if (xvfb.exitCode === null && xvfb.signalCode === null) xvfb.kill('SIGKILL');
      }
      fs.rmSync(runtime, { recursive: true, force: true });
    },
  };
  return server;
}

// Hidden key on env objects: lets helpers register children with their server.
const CHILDREN = Symbol('children');
function register(env, handle) {
  if (env && env[CHILDREN]) env[CHILDREN].add(handle);
}
function cleanEnv(env) {
  const copy = { ...env };
  return copy; // symbols are not copied into the child's environment anyway
}

// ---------- test pictures ----------

// Each pixel's colour encodes its own position, so any crop reveals where it came from.
// variant changes every pixel, so two patterns never share a colour at one spot.
function patternPixel(x, y, variant = 0) {
  const r = x & 0xff;
  const g = y & 0xff;
  const b = (((x >> 8) & 0xf) << 4) | ((y >> 8) & 0xf);
  return variant ? [r ^ 0xa5, g ^ 0x5a, b ^ 0xff] : [r, g, b];
}

// Inverse of patternPixel (for x, y < 4096): where a colour came from.
function patternPosition([r, g, b], variant = 0) {
  if (variant) {
    r ^= 0xa5;
    g ^= 0x5a;
    b ^= 0xff;
  }
  return { x: ((b >> 4) << 8) | r, y: ((b & 0xf) << 8) | g };
}

function makePatternImage(width, height, variant = 0) {
  const data = Buffer.alloc(width * height * 4);
  for (let y = 0; y < height; y++) {
    for (let x = 0; x < width; x++) {
      const [r, g, b] = patternPixel(x, y, variant);
      const o = (y * width + x) * 4;
      data[o] = r;
      data[o + 1] = g;
      data[o + 2] = b;
      data[o + 3] = 255;
    }
  }
  return { width, height, data };
}

function makePattern(width, height, file, { variant = 0 } = {}) {
  const img = makePatternImage(width, height, variant);
  fs.writeFileSync(file, writePng(width, height, img.data));
  return img;
}

// Screenshot of the whole X screen, decoded to RGBA.
async function screenshot(env) {
  const png = await run('import', ['-window', 'root', 'png24:-'], { env, timeout: 20000 });
  return readPng(png);
}

/**
 * Shows a PNG on the root window. ImageMagick's `display` exits 1 even when it worked,
 * so success is judged by a screenshot matching the file.
 */
async function setRootPattern(displayOrEnv, pngPath) {
  const env = typeof displayOrEnv === 'string' ? { ...process.env, DISPLAY: displayOrEnv } : displayOrEnv;
  const expected = readPng(fs.readFileSync(pngPath));
  await runStatus('display', ['-window', 'root', pngPath], { env, timeout: 20000 });
  for (let attempt = 0; attempt < 20; attempt++) {
    const shot = await screenshot(env);
    const w = Math.min(shot.width, expected.width);
    const h = Math.min(shot.height, expected.height);
    if (sampleMismatches(shot, expected, w, h) === 0) return shot;
    await sleep(100);
  }
  throw new Error(`root window does not show ${pngPath}`);
}

function sampleMismatches(a, b, w, h) {
  let bad = 0;
  for (let y = 0; y < h; y += 37) {
    for (let x = 0; x < w; x += 41) {
      const oa = (y * a.width + x) * 4;
      const ob = (y * b.width + x) * 4;
      if (a.data[oa] !== b.data[ob] || a.data[oa + 1] !== b.data[ob + 1] || a.data[oa + 2] !== b.data[ob + 2]) bad++;
    }
  }
  return bad;
}

// Source-over of a solid colour with alpha onto an opaque pixel, in 8 bits.
function blend(src, [r, g, b, a]) {
  const f = a / 255;
  return [0, 1, 2].map((i) => Math.round([r, g, b][i] * f + src[i] * (1 - f)));
}

/**
 * Compares a screenshot with the expected picture pixel by pixel.
 * expectedAt(x, y) → [r, g, b]; skip(x, y) → true to ignore a pixel.
 * Returns { checked, bad, first: [{x, y, got, want}] }.
 */
function comparePixels(shot, expectedAt, { tolerance = 2, skip = () => false, maxReport = 5 } = {}) {
  let checked = 0;
  let bad = 0;
  const first = [];
  for (let y = 0; y < shot.height; y++) {
    for (let x = 0; x < shot.width; x++) {
      if (skip(x, y)) continue;
      checked++;
      const o = (y * shot.width + x) * 4;
      const want = expectedAt(x, y);
      const got = [shot.data[o], shot.data[o + 1], shot.data[o + 2]];
      if (Math.abs(got[0] - want[0]) > tolerance || Math.abs(got[1] - want[1]) > tolerance || Math.abs(got[2] - want[2]) > tolerance) {
        bad++;
        if (first.length < maxReport) first.push({ x, y, got, want });
      }
    }
  }
  return { checked, bad, first };
}

// ---------- the child process that owns the module ----------

/**
 * Runs tests/e2e/child.js with a list of steps (see that file). Its stdout is JSON lines;
 * returns a handle with lines, stderr text, waitFor(pred), send(line), kill(), exited.
 */
function spawnChild(env, steps, { modulePath = MODULE_PATH, cwd } = {}) {
  const proc = track(
    spawn(process.execPath, [CHILD_SCRIPT, modulePath, JSON.stringify(steps)], {
      env: cleanEnv(env),
      cwd: cwd || os.tmpdir(),
      stdio: ['pipe', 'pipe', 'pipe'],
    }),
  );
  const handle = {
    proc,
    lines: [],
    stderr: '',
    exitCode: undefined,
    signal: undefined,
  };
  const waiters = new Set();
  const notify = () => {
    for (const w of waiters) w();
  };
  let buffered = '';
  proc.stdout.on('data', (d) => {
    buffered += d;
    let nl;
    while ((nl = buffered.indexOf('\n')) >= 0) {
      const line = buffered.slice(0, nl);
      buffered = buffered.slice(nl + 1);
      try {
        handle.lines.push(JSON.parse(line));
      } catch {
        handle.lines.push({ raw: line });
      }
    }
    notify();
  });
  proc.stderr.on('data', (d) => {
    handle.stderr += d;
    notify();
  });
  proc.stdin.on('error', () => {});
  handle.exited = new Promise((resolve) => {
    proc.once('exit', (code, signal) => {
      handle.exitCode = code;
      handle.signal = signal;
      notify();
      resolve({ code, signal });
    });
  });
  handle.events = (op) => handle.lines.filter((l) => l.op === op);
  handle.waitFor = (pred, { timeout = 10000, what = 'child output' } = {}) =>
    new Promise((resolve, reject) => {
      const check = () => {
        const hit = handle.lines.find(pred);
        if (hit) {
          done();
          resolve(hit);
        } else if (handle.exitCode !== undefined) {
          done();
          reject(new Error(`child exited (${handle.exitCode}/${handle.signal}) before ${what}; stderr:\n${handle.stderr}`));
        }
      };
      const timer = setTimeout(() => {
        done();
        reject(new Error(`timed out waiting for ${what}; lines: ${JSON.stringify(handle.lines)}; stderr:\n${handle.stderr}`));
      }, timeout);
      const done = () => {
        clearTimeout(timer);
        waiters.delete(check);
      };
      waiters.add(check);
      check();
    });
  handle.waitForStderr = (text, { timeout = 10000 } = {}) =>
    new Promise((resolve, reject) => {
      const check = () => {
        if (handle.stderr.includes(text)) {
          done();
          resolve();
        } else if (handle.exitCode !== undefined) {
          done();
          reject(new Error(`child exited before logging ${JSON.stringify(text)}; stderr:\n${handle.stderr}`));
        }
      };
      const timer = setTimeout(() => {
        done();
        reject(new Error(`timed out waiting for ${JSON.stringify(text)} on stderr:\n${handle.stderr}`));
      }, timeout);
      const done = () => {
        clearTimeout(timer);
        waiters.delete(check);
      };
      waiters.add(check);
      check();
    });
  handle.send = (line = '') => proc.stdin.write(line + '\n');
  handle.kill = async () => {
    if (handle.exitCode !== undefined) return;
    proc.kill('SIGKILL');
    await handle.exited;
  };
  register(env, handle);
  return handle;
}

/**
 * The common case: construct Main, call screenCapture(a, b, cb) (or with the arguments
 * given by `args`: 'cb3' | 'none' | 'two' | 'four' | 'notfn'), print the result, then exec()
 * so the process keeps serving the clipboard until killed.
 */
function spawnCapture(env, { args = 'cb3', captures = 1, exec = true, modulePath, cwd } = {}) {
  const steps = [];
  for (let i = 0; i < captures; i++) steps.push({ op: 'capture', args });
  if (exec) steps.push({ op: 'exec' });
  return spawnChild(env, steps, { modulePath, cwd });
}

// ---------- X input and window queries ----------

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

// Drags with intermediate moves so the scene sees a real drag, not a jump.
async function drag(env, x0, y0, x1, y1, { steps = 8, button = 1 } = {}) {
  await mousemove(env, x0, y0);
  await mousedown(env, button);
  for (let i = 1; i <= steps; i++) {
    await xdotool(env, ['mousemove', Math.round(x0 + ((x1 - x0) * i) / steps), Math.round(y0 + ((y1 - y0) * i) / steps)], { settle: 20 });
  }
  await sleep(50);
  await mouseup(env, button);
}

async function visibleOverlays(env) {
  const r = await runStatus('xdotool', ['search', '--onlyvisible', '--name', OVERLAY_TITLE], { env, encoding: 'utf8' });
  return r.status === 0 ? String(r.stdout).split('\n').filter(Boolean) : [];
}

// Polls every ~50 ms (xdotool's own --sync polls only twice a second).
async function waitForOverlay(env, { timeout = 15000, child } = {}) {
  const end = Date.now() + timeout;
  while (Date.now() < end) {
    const ids = await visibleOverlays(env);
    if (ids.length) return ids[0];
    if (child && child.exitCode !== undefined) {
      throw new Error(`capture process exited (${child.exitCode}/${child.signal}) before the overlay showed; stderr:\n${child.stderr}`);
    }
    await sleep(50);
  }
  throw new Error(`overlay window "${OVERLAY_TITLE}" did not appear within ${timeout} ms` + (child ? `; stderr:\n${child.stderr}` : ''));
}

async function waitForOverlayGone(env, { timeout = 10000 } = {}) {
  const end = Date.now() + timeout;
  while (Date.now() < end) {
    if ((await visibleOverlays(env)).length === 0) return;
    await sleep(50);
  }
  throw new Error('overlay window is still mapped');
}

async function windowGeometry(env, id) {
  const out = await run('xdotool', ['getwindowgeometry', '--shell', id], { env, encoding: 'utf8' });
  const g = {};
  for (const line of out.split('\n')) {
    const m = /^(\w+)=(\d+)$/.exec(line.trim());
    if (m) g[m[1].toLowerCase()] = Number(m[2]);
  }
  return g;
}

// ---------- clipboard ----------

function readClipboard(env, target = 'UTF8_STRING') {
  return run('xclip', ['-selection', 'clipboard', '-t', target, '-o'], { env, timeout: 10000 });
}

async function clipboardTargets(env) {
  const r = await runStatus('xclip', ['-selection', 'clipboard', '-t', 'TARGETS', '-o'], { env, encoding: 'utf8', timeout: 10000 });
  return r.status === 0 ? String(r.stdout).split('\n').filter(Boolean) : [];
}

/**
 * Makes an xclip process own the clipboard with `data` under `target`, kept alive in the
 * foreground until stop() (or until another program takes the clipboard).
 */
async function holdClipboard(env, target, data, { timeout = 10000 } = {}) {
  const proc = track(
    spawn('xclip', ['-quiet', '-selection', 'clipboard', '-t', target, '-i'], {
      env: cleanEnv(env),
      stdio: ['pipe', 'ignore', 'ignore'],
    }),
  );
  const exited = new Promise((r) => proc.once('exit', r));
  proc.stdin.end(data);
  const handle = {
    proc,
    get alive() {
      return proc.exitCode === null && proc.signalCode === null;
    },
    async kill() {
      if (handle.alive) {
        proc.kill('SIGKILL');
        await exited;
      }
    },
  };
  register(env, handle);
  const want = Buffer.from(data);
  const end = Date.now() + timeout;
  while (Date.now() < end) {
    const r = await runStatus('xclip', ['-selection', 'clipboard', '-t', target, '-o'], { env, timeout: 5000 });
    if (r.status === 0 && Buffer.from(r.stdout).equals(want)) return handle;
    await sleep(50);
  }
  await handle.kill();
  throw new Error('xclip did not take the clipboard');
}

/** Stops a list of servers/children in order, remembering the first error. */
async function cleanup(...things) {
  let first;
  for (const t of things) {
    if (!t) continue;
    try {
      if (t.kill) await t.kill();
      else if (t.stop) await t.stop();
    } catch (e) {
      first = first || e;
    }
  }
  if (first) throw first;
}

module.exports = {
  ROOT,
  MODULE_PATH,
  OVERLAY_TITLE,
  sleep,
  waitUntil,
  run,
  runStatus,
  startXvfb,
  patternPixel,
  patternPosition,
  makePatternImage,
  makePattern,
  setRootPattern,
  screenshot,
  blend,
  comparePixels,
  spawnChild,
  spawnCapture,
  xdotool,
  mousemove,
  mousedown,
  mouseup,
  click,
  key,
  type,
  drag,
  visibleOverlays,
  waitForOverlay,
  waitForOverlayGone,
  windowGeometry,
  readClipboard,
  clipboardTargets,
  holdClipboard,
  cleanup,
  readPng,
  writePng,
};

// ======================================================================================
// Region-selection helpers: layout probe, finding the toolbar and the magnifier in a
// screenshot, pattern-crop checks. Self-contained: uses only what is defined above.
// ======================================================================================

const LAYOUT_PROBE = path.join(ROOT, 'build', 'layoutprobe');
const probeCache = new Map();

/**
 * Runs build/layoutprobe on the server of `env` (with that env's QT_SCALE_FACTOR) and returns
 * its JSON: { scale, toolbar: { size: {w, h}, buttons: { tool_confirm: [cx, cy], ... } }, ... }.
 * Button centres are relative to the toolbar's top-left, in logical pixels.
 */
async function layoutProbe(env) {
  const k = `${env.DISPLAY}|${env.QT_SCALE_FACTOR || ''}`;
  if (!probeCache.has(k)) {
    const out = await run(LAYOUT_PROBE, [], { env: cleanEnv(env), encoding: 'utf8', timeout: 20000 });
    probeCache.set(k, JSON.parse(out.trim().split('\n').pop()));
  }
  return probeCache.get(k);
}

function pixelAt(img, x, y) {
  const o = (y * img.width + x) * 4;
  return [img.data[o], img.data[o + 1], img.data[o + 2]];
}

/**
 * Bounding box {x, y, w, h} of the pixels of `colour` (± tol) that lie in horizontal runs of
 * at least minRun pixels, or null. Long runs single out drawn frames and filled panels from
 * isolated pattern pixels that happen to have the colour.
 */
function findRunsBox(img, colour, { tol = 3, minRun = 40 } = {}) {
  let x0 = Infinity;
  let y0 = Infinity;
  let x1 = -1;
  let y1 = -1;
  const [r, g, b] = colour;
  const d = img.data;
  for (let y = 0; y < img.height; y++) {
    let start = -1;
    for (let x = 0; x <= img.width; x++) {
      const o = (y * img.width + x) * 4;
      const hit =
        x < img.width && Math.abs(d[o] - r) <= tol && Math.abs(d[o + 1] - g) <= tol && Math.abs(d[o + 2] - b) <= tol;
      if (hit && start < 0) start = x;
      if (!hit && start >= 0) {
        if (x - start >= minRun) {
          x0 = Math.min(x0, start);
          x1 = Math.max(x1, x - 1);
          y0 = Math.min(y0, y);
          y1 = Math.max(y1, y);
        }
        start = -1;
      }
    }
  }
  return x1 < 0 ? null : { x: x0, y: y0, w: x1 - x0 + 1, h: y1 - y0 + 1 };
}

// The toolbar is a white panel with a one-pixel grey border (`border` device pixels under a
// Qt scale factor): its white inside grown by the border.
function findToolbar(img, { border = 1 } = {}) {
  const b = findRunsBox(img, [255, 255, 255], { tol: 2, minRun: 60 });
  return b && { x: b.x - border, y: b.y - border, w: b.w + 2 * border, h: b.h + 2 * border };
}

// The magnifier panel's outline is drawn in #606060.
function findMagnifier(img) {
  return findRunsBox(img, [0x60, 0x60, 0x60], { tol: 3, minRun: 40 });
}

/**
 * Takes screenshots until check(shot) returns { ok: true, ... } or the timeout passes;
 * returns the last check result with the shot attached (so a failing assert can report it).
 */
async function shotUntil(env, check, { timeout = 3000 } = {}) {
  const end = Date.now() + timeout;
  for (;;) {
    const shot = await screenshot(env);
    const r = { ...check(shot), shot };
    if (r.ok || Date.now() >= end) return r;
    await sleep(100);
  }
}

/**
 * Compares an image with the pattern's crop rect = {x, y, w, h} (screen pixels), exactly.
 * Returns null when equal, else a description of the first differences.
 */
function patternCropMismatch(img, rect, { variant = 0 } = {}) {
  if (img.width !== rect.w || img.height !== rect.h) {
    const origin = patternPosition(pixelAt(img, 0, 0), variant);
    return `size ${img.width}x${img.height} (origin colour says ${origin.x},${origin.y}), want ${rect.w}x${rect.h} at ${rect.x},${rect.y}`;
  }
  const cmp = comparePixels(img, (px, py) => patternPixel(rect.x + px, rect.y + py, variant), { tolerance: 0 });
  return cmp.bad === 0 ? null : `${cmp.bad} of ${cmp.checked} pixels differ, first: ${JSON.stringify(cmp.first)}`;
}

async function clickAt(env, x, y, button = 1) {
  await mousemove(env, x, y);
  await click(env, button);
}

// Id of the first visible window whose name matches `name` (a regular expression for xdotool).
async function waitForWindowNamed(env, name, { timeout = 10000 } = {}) {
  const end = Date.now() + timeout;
  while (Date.now() < end) {
    const r = await runStatus('xdotool', ['search', '--onlyvisible', '--name', name], { env, encoding: 'utf8' });
    const ids = r.status === 0 ? String(r.stdout).split('\n').filter(Boolean) : [];
    if (ids.length) return ids[0];
    await sleep(50);
  }
  throw new Error(`no visible window named ${JSON.stringify(name)} within ${timeout} ms`);
}

Object.assign(module.exports, {
  layoutProbe,
  pixelAt,
  findRunsBox,
  findToolbar,
  findMagnifier,
  shotUntil,
  patternCropMismatch,
  clickAt,
  waitForWindowNamed,
});
// =====================================================================================
// Annotation helpers: control positions from build/layoutprobe, reference drawings from
// build/annotref, cropped screenshots and image comparisons for the annotation tests.
// Self-contained: uses only what is defined above this block.
// =====================================================================================
{
  const LAYOUTPROBE = path.join(ROOT, 'build', 'layoutprobe');
  const ANNOTREF = path.join(ROOT, 'build', 'annotref');

  const probeLayout = layoutProbe;

  /**
   * Where the toolbar and the style popup sit for a selected region (screen coordinates)
   * on a screen of width × height, for the layout from probeLayout:
   *   selecting: the toolbar right after the region was dragged (before any tool);
   *   annotating: the toolbar and the popup's top-left once a tool is chosen.
   */
  function toolPlacement(layout, region, width, height, popup = 'linePopup') {
    const TW = layout.toolbar.size.w;
    const T = layout.toolbar.size.h;
    const P = layout[popup].size.h;
    const right = region.x + region.w;
    const y = region.y + region.h;
    let L = right - TW;
    if (L < 0) L = right > width ? width - TW : 0;
    // Bottom edges of the window shrunk at top and bottom (QRect bottom = top + height - 1).
    const barTop = T + 10;
    const barBottom = height - (T + 10) - 1;
    const styleTop = T + P + 20;
    const styleBottom = height - (T + P + 20) - 1;
    let selecting;
    if (y <= barBottom) selecting = { x: L, y: y + 10 };
    else if (y - region.h > barTop) selecting = { x: L, y: Math.trunc(y - region.h - T - 10) };
    else selecting = { x: L, y: y - T - 10 };
    let toolbar;
    let popupPos;
    if (y <= styleBottom) {
      toolbar = { x: L, y: y + 10 };
      popupPos = { x: L, y: y + 10 + T + 10 };
    } else if (y - region.h > styleTop) {
      toolbar = { x: L, y: Math.trunc(y - region.h - T - 10) };
      popupPos = { x: L, y: Math.trunc(y - region.h - T - 20 - P) };
    } else {
      toolbar = { x: L, y: y - T - 10 };
      popupPos = { x: L, y: y - T - 20 - P };
    }
    return { selecting, toolbar, popup: popupPos };
  }

  /** Screen position of a toolbar button whose toolbar's top-left is `bar`. */
  function toolButton(layout, bar, name) {
    const c = layout.toolbar.buttons[name];
    if (!c) throw new Error(`no toolbar button ${name}`);
    return { x: bar.x + c[0], y: bar.y + c[1] };
  }

  /** Moves the pointer to (x, y) and clicks there. */
  /** A double click at (x, y): two clicks 80 ms apart, well inside Qt's interval. */
  async function doubleClickAt(env, x, y) {
    await mousemove(env, x, y);
    await xdotool(env, ['click', '--repeat', '2', '--delay', '80', '1']);
  }

  /**
   * Presses at the first point, moves through the others (each move its own motion event,
   * `settle` ms apart) and releases at the last one.
   */
  async function stroke(env, points, { settle = 25 } = {}) {
    await mousemove(env, points[0][0], points[0][1]);
    await mousedown(env);
    for (const [px, py] of points.slice(1)) await xdotool(env, ['mousemove', px, py], { settle });
    await sleep(50);
    await mouseup(env);
  }

  /**
   * Like stroke(), but after each move waits until drawnAt(x, y) (async) reports that the
   * overlay has drawn up to that point, so every move reaches the overlay as its own event
   * (Qt merges motion events that queue up while it is busy).
   */
  async function strokeSynced(env, points, drawnAt, { timeout = 5000 } = {}) {
    await mousemove(env, points[0][0], points[0][1]);
    await mousedown(env);
    try {
      for (const [px, py] of points.slice(1)) {
        await xdotool(env, ['mousemove', px, py], { settle: 0 });
        if (!(await waitUntil(() => drawnAt(px, py), { timeout }))) throw new Error(`the stroke was not drawn up to ${px},${py}`);
      }
    } finally {
      await mouseup(env);
    }
  }

  /** Points from a to b every `step` pixels or less, a and b included. */
  function linePoints(a, b, step = 6) {
    const n = Math.max(1, Math.ceil(Math.max(Math.abs(b[0] - a[0]), Math.abs(b[1] - a[1])) / step));
    const out = [];
    for (let i = 0; i <= n; i++) out.push([Math.round(a[0] + ((b[0] - a[0]) * i) / n), Math.round(a[1] + ((b[1] - a[1]) * i) / n)]);
    return out;
  }

  /** Screenshot of a part of the screen, decoded to RGBA. */
  async function screenshotRect(env, x, y, w, h) {
    const png = await run('import', ['-window', 'root', '-crop', `${w}x${h}+${x}+${y}`, '+repage', 'png24:-'], { env, timeout: 20000 });
    return readPng(png);
  }

  /** A sub-rectangle of a decoded image (same { width, height, data } form). */
  function cropImage(img, x, y, w, h) {
    const data = Buffer.alloc(w * h * 4);
    for (let row = 0; row < h; row++) img.data.copy(data, row * w * 4, ((y + row) * img.width + x) * 4, ((y + row) * img.width + x + w) * 4);
    return { width: w, height: h, data };
  }

  /**
   * Draws `items` (see tests/tools/annotref.cpp) over `base` with build/annotref, run on the
   * server of `env` so fonts and rendering are those of the module; origin maps scene
   * coordinates to pixels of `base`. Returns the decoded picture.
   */
  async function renderReference(env, base, origin, items) {
    const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-annotref-'));
    try {
      const inFile = path.join(dir, 'in.png');
      const outFile = path.join(dir, 'out.png');
      fs.writeFileSync(inFile, writePng(base.width, base.height, base.data));
      await run(ANNOTREF, [inFile, outFile, JSON.stringify({ origin, items })], { env, timeout: 20000 });
      return readPng(fs.readFileSync(outFile));
    } finally {
      fs.rmSync(dir, { recursive: true, force: true });
    }
  }

  /**
   * Compares `got` with the reference `want` drawn over `base`. Pixels that the reference
   * leaves as in `base` or paints in one of the solid `colours` must match exactly; pixels it
   * blends (antialiased edges) and their 8 neighbours may differ by `aaTolerance` per
   * channel. skip(x, y) excludes pixels. Returns { checked, exact, blended, bad, first }.
   */
  function compareWithReference(got, want, base, { colours = [], aaTolerance = 0, skip = () => false, maxReport = 5 } = {}) {
    if (got.width !== want.width || got.height !== want.height) {
      throw new Error(`size ${got.width}x${got.height}, expected ${want.width}x${want.height}`);
    }
    const w = want.width;
    const h = want.height;
    const blended = new Uint8Array(w * h);
    const solid = (o) => colours.some((c) => want.data[o] === c[0] && want.data[o + 1] === c[1] && want.data[o + 2] === c[2]);
    for (let y = 0; y < h; y++) {
      for (let x = 0; x < w; x++) {
        const o = (y * w + x) * 4;
        const same = want.data[o] === base.data[o] && want.data[o + 1] === base.data[o + 1] && want.data[o + 2] === base.data[o + 2];
        if (same || solid(o)) continue;
        for (let dy = -1; dy <= 1; dy++) {
          for (let dx = -1; dx <= 1; dx++) {
            const nx = x + dx;
            const ny = y + dy;
            if (nx >= 0 && ny >= 0 && nx < w && ny < h) blended[ny * w + nx] = 1;
          }
        }
      }
    }
    const r = { checked: 0, exact: 0, blended: 0, bad: 0, worstBlended: 0, first: [] };
    for (let y = 0; y < h; y++) {
      for (let x = 0; x < w; x++) {
        if (skip(x, y)) continue;
        r.checked++;
        const o = (y * w + x) * 4;
        const tol = blended[y * w + x] ? aaTolerance : 0;
        if (tol) r.blended++;
        else r.exact++;
        let worst = 0;
        for (let c = 0; c < 3; c++) worst = Math.max(worst, Math.abs(got.data[o + c] - want.data[o + c]));
        if (tol) r.worstBlended = Math.max(r.worstBlended, worst);
        if (worst > tol) {
          r.bad++;
          if (r.first.length < maxReport) {
            r.first.push({ x, y, got: [got.data[o], got.data[o + 1], got.data[o + 2]], want: [want.data[o], want.data[o + 1], want.data[o + 2]], tol });
          }
        }
      }
    }
    return r;
  }

  /** Bounding box of the pixels where `pred(rgb, x, y)` holds, or null. */
  function boundingBox(img, pred) {
    let x0 = Infinity;
    let y0 = Infinity;
    let x1 = -1;
    let y1 = -1;
    let count = 0;
    for (let y = 0; y < img.height; y++) {
      for (let x = 0; x < img.width; x++) {
        const o = (y * img.width + x) * 4;
        if (!pred([img.data[o], img.data[o + 1], img.data[o + 2]], x, y)) continue;
        count++;
        if (x < x0) x0 = x;
        if (y < y0) y0 = y;
        if (x > x1) x1 = x;
        if (y > y1) y1 = y;
      }
    }
    return count ? { x: x0, y: y0, w: x1 - x0 + 1, h: y1 - y0 + 1, count } : null;
  }

  /**
   * Retries an async check until it stops throwing (the app may still be catching up with
   * the input queue); rethrows its last error after `timeout` ms.
   */
  async function eventually(check, { timeout = 4000, interval = 150 } = {}) {
    const end = Date.now() + timeout;
    for (;;) {
      try {
        return await check();
      } catch (e) {
        if (Date.now() >= end) throw e;
      }
      await sleep(interval);
    }
  }

  /** Waits until the screen at (x, y) is (open = true) or is not (false) plain white. */
  async function waitForWhite(env, x, y, open, { timeout = 5000 } = {}) {
    const ok = await waitUntil(async () => {
      const img = await screenshotRect(env, x - 1, y - 1, 3, 3);
      const white = [...Array(9).keys()].every((i) => img.data[i * 4] === 255 && img.data[i * 4 + 1] === 255 && img.data[i * 4 + 2] === 255);
      return white === open;
    }, { timeout });
    if (!ok) throw new Error(`the screen at ${x},${y} did not turn ${open ? '' : 'non-'}white`);
  }

  Object.assign(module.exports, {
    eventually,
    waitForWhite,
    probeLayout,
    toolPlacement,
    toolButton,
    clickAt,
    doubleClickAt,
    stroke,
    strokeSynced,
    linePoints,
    screenshotRect,
    cropImage,
    renderReference,
    compareWithReference,
    boundingBox,
  });
}
