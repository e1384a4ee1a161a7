#!/usr/bin/env node
'use strict';
// Random input against many capture sessions in one host process, on a private Xvfb.
//
//   node scripts/monkey.js [--events N] [--seed S] [--asan] [--size WxH] [--out FILE]
//   node scripts/monkey.js --replay FILE [--asan]
//
// Seeded presses, drags, clicks (also on the toolbar and popups found on screen), double clicks,
// moves and keys; the save dialog is answered when it opens; every session ends with Escape.
// Every 2 to 5 sessions (seeded) a probe session drags a known region and presses Enter: it
// fails unless the clipboard then holds exactly that crop of the screen, so state left over
// by the sessions before it shows. Prints sessions, probes, result words, crashes, hangs and
// sanitizer reports; the events of failing sessions, with those since the last probe that
// passed, go to FILE (default monkey-failures.json) for --replay. Exit status 1 on any failure.
const { spawn } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

function parseArgs(argv) {
  const o = { events: 1000, seed: undefined, asan: false, size: '1280x800', out: 'monkey-failures.json', replay: undefined };
  for (let i = 0; i < argv.length; i++) {
    const a = argv[i];
    const value = () => {
      if (i + 1 >= argv.length) throw new Error(`${a} needs a value`);
      return argv[++i];
    };
    if (a === '--events') o.events = Number(value());
    else if (a === '--seed') o.seed = Number(value());
    else if (a === '--asan') o.asan = true;
    else if (a === '--size') o.size = value();
    else if (a === '--out') o.out = value();
    else if (a === '--replay') o.replay = value();
    else throw new Error(`unknown option ${a}`);
  }
  if (!(o.events > 0)) throw new Error('--events must be a positive number');
  if (o.seed === undefined) o.seed = Math.floor(Math.random() * 2 ** 31);
  if (!Number.isInteger(o.seed)) throw new Error('--seed must be an integer');
  return o;
}

const opts = parseArgs(process.argv.slice(2));
if (opts.asan) process.env.SCREENCAPTURE_ASAN = '1'; // read by the harness when it loads
const h = require('../tests/e2e/harness');

// mulberry32: a small, well-mixed 32-bit generator. A seed fixes the choices; where a control
// click lands still depends on what is on screen, hence the replay file.
function mulberry32(seed) {
  let a = seed >>> 0;
  return () => {
    a = (a + 0x6d2b79f5) >>> 0;
    let t = a;
    t = Math.imul(t ^ (t >>> 15), t | 1);
    t ^= t + Math.imul(t ^ (t >>> 7), t | 61);
    return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
  };
}

const DIALOG = '存储';
const KEYS = ['Return', 'KP_Enter', 'BackSpace', 'Delete', 'ctrl+z', 'Tab', 'space', 'Left', 'Right', 'Up', 'Down', 'a', 'q', 'Z', '7', 'Escape', 'shift+Return'];
// Generous: the sanitized build runs Qt several times slower.
const TIMEOUT = opts.asan ? 30000 : 10000;

// Background without white, so every white area on screen is a panel of the overlay.
const background = (x, y) => [60 + ((x >> 3) % 90), 90 + ((y >> 3) % 70), 80 + (((x + y) >> 4) % 60)];

// The bounding boxes of the screen's connected white areas of at least 12 × 8 pixels, found by
// merging white runs with touching runs of the row above. xwd is far quicker than ImageMagick.
async function whiteAreas(env) {
  // A window closing while xwd reads the tree makes it fail: then there is nothing to click.
  const img = await h.run('xwd', ['-root', '-silent'], { env, timeout: 20000 }).catch(() => null);
  if (!img) return [];
  const f = (i) => img.readUInt32BE(i * 4);
  const [width, height, byteOrder, bpp, stride, ncolors] = [f(4), f(5), f(7), f(11), f(12), f(19)];
  if (bpp !== 32) throw new Error(`xwd gave ${bpp} bits per pixel`);
  const byteOf = (mask) => (byteOrder ? 3 - Math.log2(mask & -mask) / 8 : Math.log2(mask & -mask) / 8) | 0;
  const [cr, cg, cb] = [f(13), f(14), f(15)].map(byteOf);
  const base = f(0) + ncolors * 12;
  const white = (o) => img[o + cr] >= 250 && img[o + cg] >= 250 && img[o + cb] >= 250;
  const parent = [];
  const find = (i) => (parent[i] === i ? i : (parent[i] = find(parent[i])));
  const runs = [];
  let prev = [];
  for (let y = 0; y < height; y++) {
    const row = [];
    for (let x = 0, o = base + y * stride; x < width; x++, o += 4) {
      if (!white(o)) continue;
      const x0 = x;
      while (x + 1 < width && white(o + 4)) x++, (o += 4);
      const id = runs.push({ x0, x1: x, y }) - 1;
      parent[id] = id;
      for (const p of prev) if (runs[p].x0 <= x && runs[p].x1 >= x0) parent[find(p)] = find(id);
      row.push(id);
    }
    prev = row;
  }
  const boxes = new Map();
  runs.forEach((r, i) => {
    const root = find(i);
    const b = boxes.get(root) || { x0: r.x0, y0: r.y, x1: r.x1, y1: r.y };
    boxes.set(root, { x0: Math.min(b.x0, r.x0), y0: Math.min(b.y0, r.y), x1: Math.max(b.x1, r.x1), y1: Math.max(b.y1, r.y) });
  });
  return [...boxes.values()].map((b) => ({ x: b.x0, y: b.y0, w: b.x1 - b.x0 + 1, h: b.y1 - b.y0 + 1 })).filter((b) => b.w >= 12 && b.h >= 8);
}

// The panel a white area is, by its size (one-pixel grey border excluded), and the screen points
// of its controls; an unknown area gets none, and a random point inside it is clicked instead.
function panelOf(layout, box) {
  const fits = (size) => Math.abs(box.w - (size.w - 2)) <= 3 && Math.abs(box.h - (size.h - 2)) <= 3;
  const at = (points) => points.map(([px, py]) => [box.x - 1 + px, box.y - 1 + py]);
  const { toolbar, linePopup, mosaicPopup, fontPopup } = layout;
  if (fits(toolbar.size)) return { name: 'toolbar', targets: at(Object.values(toolbar.buttons)) };
  if (fits(linePopup.size)) return { name: 'line popup', targets: at([...linePopup.widths, ...Object.values(linePopup.colors)]) };
  if (fits(mosaicPopup.size)) return { name: 'mosaic popup', targets: at(mosaicPopup.widths) };
  if (fits(fontPopup.size)) return { name: 'font popup', targets: at([fontPopup.combo, ...Object.values(fontPopup.colors)]) };
  return { name: 'white area', targets: [] };
}

// One random event as xdotool arguments, resolved to screen points so a replay needs no search.
async function randomEvent(rnd, ctx) {
  const { width: W, height: H } = ctx;
  const pick = (list) => list[Math.floor(rnd() * list.length) % list.length];
  // Half the points fall near the last toolbar seen, where the region and its items are.
  const point = () => {
    const [u, v, near] = [rnd(), rnd(), rnd() < 0.5 && ctx.bar];
    if (!near) return [Math.floor(u * W), Math.floor(v * H)];
    const [x0, y0] = [Math.max(0, ctx.bar.x + ctx.bar.w - 700), Math.max(0, ctx.bar.y - 450)];
    return [Math.min(W - 1, x0 + Math.floor(u * 700)), Math.min(H - 1, y0 + Math.floor(v * 450))];
  };
  const kind = rnd();
  const [a, b, c] = [point(), point(), rnd()];
  if (kind < 0.3) {
    const boxes = await whiteAreas(ctx.env);
    const [u, v] = [rnd(), rnd()];
    const box = boxes.length ? boxes[Math.floor(c * boxes.length)] : null;
    if (box) {
      const panel = panelOf(ctx.layout, box);
      if (panel.name === 'toolbar') ctx.bar = box;
      const [px, py] = panel.targets.length ? pick(panel.targets) : [box.x + Math.floor(u * box.w), box.y + Math.floor(v * box.h)];
      return { what: `click on the ${panel.name}`, args: ['mousemove', px, py, 'click', 1] };
    }
    return { what: 'click', args: ['mousemove', ...a, 'click', 1] };
  }
  if (kind < 0.55) {
    // A press, a few moves and the release.
    const moves = [];
    const n = 1 + Math.floor(c * 5);
    for (let i = 1; i <= n; i++) moves.push('mousemove', Math.round(a[0] + ((b[0] - a[0]) * i) / n), Math.round(a[1] + ((b[1] - a[1]) * i) / n), 'sleep', 0.02);
    return { what: 'drag', args: ['mousemove', ...a, 'mousedown', 1, ...moves, 'mouseup', 1] };
  }
  if (kind < 0.68) return { what: 'click', args: ['mousemove', ...a, 'click', 1] };
  if (kind < 0.75) return { what: 'double click', args: ['mousemove', ...a, 'click', '--repeat', 2, '--delay', 80, 1] };
  if (kind < 0.83) return { what: 'move', args: ['mousemove', ...a] };
  if (kind < 0.985) return { what: 'key', args: ['key', pick(KEYS)] };
  return { what: 'right click', args: ['mousemove', ...a, 'click', 3] };
}

// A probe's region: at least 40 × 30, anywhere on the screen.
function probeRect(rnd, { width: W, height: H }) {
  const [w, ph] = [40 + Math.floor(rnd() * (W / 2)), 30 + Math.floor(rnd() * (H / 2))];
  return { x: Math.floor(rnd() * (W - w)), y: Math.floor(rnd() * (H - ph)), w, h: ph };
}

// The host: one child process running capture sessions one after the other, each on a line
// from us; restarted after a crash or a hang.
function startHost(env) {
  const host = h.spawnChild(env, [{ op: 'wait' }, { op: 'capture', args: 'cb3' }, { op: 'loop' }]);
  host.closed = new Promise((r) => host.proc.once('close', r));
  host.sessions = 0;
  return host;
}

const rssKb = (pid) => {
  try {
    return Number(/VmRSS:\s+(\d+)/.exec(fs.readFileSync(`/proc/${pid}/status`, 'utf8'))[1]);
  } catch {
    return NaN;
  }
};

// One long-lived xdotool reading commands from stdin (a process per event costs more than the
// event). Each line ends with getmouselocation, whose output tells that the line is done.
function xdoServer(env) {
  let proc = null;
  let waiting = null;
  let out = '';
  const start = () => {
    proc = spawn('xdotool', ['-'], { env, stdio: ['pipe', 'pipe', 'ignore'] });
    proc.stdin.on('error', () => {});
    proc.stdout.on('data', (d) => {
      out += d;
      if (out.includes('\n') && waiting) waiting();
      out = out.slice(out.lastIndexOf('\n') + 1);
    });
    proc.once('exit', () => ((proc = null), waiting && waiting()));
  };
  const send = async (args) => {
    if (!proc) start();
    const done = new Promise((r) => (waiting = r));
    proc.stdin.write(`${args.join(' ')} getmouselocation\n`);
    const timer = setTimeout(() => proc && proc.kill('SIGKILL'), 20000);
    await done;
    clearTimeout(timer);
    waiting = null;
  };
  send.stop = () => proc && proc.kill('SIGKILL');
  return send;
}

// Answers the save dialog with `key` if it is open (or opens within `wait` ms).
async function answerDialog({ env, xdo }, key, wait = 0) {
  const search = () => h.run('xdotool', ['search', '--onlyvisible', '--name', DIALOG], { env, encoding: 'utf8' }).then((o) => o.split('\n').filter(Boolean), () => []);
  let ids = await search();
  if (!ids.length && wait) await h.waitUntil(async () => (ids = await search()).length, { timeout: wait });
  if (!ids.length) return false;
  // The dialog, or the question it asks before replacing a file (same title), must have the focus.
  const focused = async () => ids.includes((await h.run('xdotool', ['getwindowfocus'], { env, encoding: 'utf8' }).catch(() => '')).trim());
  if (!(await h.waitUntil(focused, { timeout: 3000 }))) await xdo(['windowfocus', ids[ids.length - 1]]);
  await h.sleep(150); // the file name field takes the focus just after the window
  await xdo(['key', key]);
  return true;
}

// The probe's clipboard, read when the next session has started: a failure, or null.
async function checkProbe(ctx, stats) {
  const { rect } = ctx.probe;
  ctx.probe = null;
  const png = await h.readClipboard(ctx.env, 'image/png').catch((e) => e);
  if (png instanceof Error) return `probe of ${JSON.stringify(rect)}: no image on the clipboard (${png.message.split('\n')[0]})`;
  const img = h.readPng(png);
  if (img.width !== rect.w || img.height !== rect.h) return `probe of ${JSON.stringify(rect)}: the clipboard holds ${img.width}x${img.height}`;
  const cmp = h.comparePixels(img, (px, py) => background(rect.x + px, rect.y + py), { tolerance: 0 });
  if (cmp.bad) return `probe of ${JSON.stringify(rect)}: ${h.diffText(cmp)}`;
  stats.probes++;
  return null;
}

// One session: start it, send its events (random, or those of `events`), end it with Escape.
// A probe session (`probe`, a rectangle) drags it out and presses Enter instead. Returns
// { word, failure, log, checked (a probe before it was checked here) }.
async function session(host, ctx, events, rnd, stats, probe) {
  const { env } = ctx;
  const index = host.sessions++;
  const log = probe ? [{ what: 'probe', rect: probe }] : [];
  let probeFailure = null;
  const ended = () => host.events('captured').find((l) => l.index === index);
  const gone = () => host.exitCode !== undefined;
  try {
    await host.waitFor(() => host.events('waiting').length > index || gone(), { timeout: TIMEOUT, what: 'the host to wait' });
    if (!gone()) {
      await h.waitForOverlayGone(env, { timeout: TIMEOUT });
      host.send();
      await h.waitForOverlay(env, { child: host, timeout: TIMEOUT });
    }
  } catch (e) {
    if (!gone()) return stats.hangs++, { failure: `hang: ${e.message.split('\n')[0]}`, log };
  }
  const checked = !!ctx.probe && !gone();
  const wrong = checked ? await checkProbe(ctx, stats) : null;
  if (wrong) return stats.probeFailures++, { failure: wrong, log };
  if (probe && !gone()) {
    const { x, y, w, h: ph } = probe;
    const path = [1, 2, 3, 4].flatMap((k) => ['mousemove', x + Math.round((w * k) / 4), y + Math.round((ph * k) / 4), 'sleep', 0.03]);
    await ctx.xdo(['mousemove', x, y, 'mousedown', 1, ...path, 'mouseup', 1, 'sleep', 0.1, 'key', 'Return']);
    await h.waitUntil(() => ended() || gone(), { timeout: TIMEOUT });
    const word = ended() && (ended().calls[0] || { args: ['no callback'] }).args[0];
    if (word === 'image') ctx.probe = { rect: probe };
    else if (!gone()) stats.probeFailures++, (probeFailure = `probe of ${JSON.stringify(probe)}: ${word ? `ended with "${word}"` : 'Enter did not end the session'}`);
  }
  const planned = probe ? [] : events || Array.from({ length: 3 + Math.floor(rnd() * 30) });
  for (let i = 0; i < planned.length && !gone() && !ended() && (events || stats.events < opts.events); i++) {
    const ev = events ? planned[i] : await randomEvent(rnd, ctx);
    log.push(ev);
    if (ev.what !== 'dialog') stats.events++;
    stats.kinds[ev.what] = (stats.kinds[ev.what] || 0) + 1;
    if (ev.what === 'dialog') await answerDialog(ctx, ev.args[1], 5000);
    else await ctx.xdo(ev.args);
    // Only the toolbar's save button opens the dialog (a stray one is closed at the end).
    const key = events ? null : rnd() < 0.7 ? 'Escape' : 'Return';
    if (ev.what === 'click on the toolbar' && key && (await answerDialog(ctx, key))) {
      log.push({ what: 'dialog', args: ['key', key] });
      stats.kinds.dialog = (stats.kinds.dialog || 0) + 1;
    }
  }
  // Escape, repeated: a popup list or the save dialog takes the first one.
  const end = Date.now() + TIMEOUT;
  while (!gone() && !ended() && Date.now() < end) {
    await answerDialog(ctx, 'Escape');
    await ctx.xdo(['mouseup', 1, 'key', 'Escape']);
    await h.waitUntil(() => ended() || gone(), { timeout: 2000 });
  }
  if (gone()) {
    await Promise.race([host.closed, h.sleep(3000)]);
    const report = h.SANITIZER_REPORT.test(host.stderr);
    stats[report ? 'sanitizer' : 'crashes']++;
    const tail = host.stderr.split('\n').slice(-40).join('\n');
    return { failure: `${report ? 'sanitizer report' : 'crash'} (exit ${host.exitCode}/${host.signal}):\n${tail}`, log };
  }
  const result = ended();
  if (!result) {
    stats.hangs++;
    const tail = host.stderr.split('\n').slice(-15).join('\n');
    return { failure: `hang: the session did not end within ${TIMEOUT} ms of Escape; the host's last log lines:\n${tail}`, log };
  }
  const word = result.calls.length ? result.calls[0].args[0] : 'no callback';
  return probeFailure ? { word, failure: probeFailure, log, checked } : { word, log, checked };
}

async function main() {
  if (!fs.existsSync(h.MODULE_PATH)) throw new Error(`${h.MODULE_PATH} is missing: build it first (README, "Random input")`);
  const [W, H] = opts.size.split('x').map(Number);
  const replay = opts.replay ? JSON.parse(fs.readFileSync(opts.replay, 'utf8')) : null;
  const x = await h.startXvfb(replay ? { width: replay.width, height: replay.height } : { width: W, height: H });
  const home = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-monkey-'));
  fs.mkdirSync(path.join(home, 'Downloads'));
  // Saved files land in a private home, removed at the end.
  const env = { ...x.env, HOME: home, XDG_CONFIG_HOME: path.join(home, '.config') };
  delete env.XDG_DOWNLOAD_DIR;
  const stats = { sessions: 0, events: 0, kinds: {}, results: {}, crashes: 0, hangs: 0, sanitizer: 0, probes: 0, probeFailures: 0, failed: [] };
  let host;
  let stopXdo = () => {};
  try {
    await h.setRootPattern(env, h.image(x.width, x.height, background));
    const layout = await h.layoutProbe(env);
    const rnd = mulberry32(opts.seed);
    const ctx = { env, width: x.width, height: x.height, layout, bar: null, xdo: xdoServer(env) };
    stopXdo = ctx.xdo.stop;
    console.log(`monkey: ${replay ? `replay of ${replay.sessions.length} session(s) from ${opts.replay}` : `seed ${opts.seed}, ${opts.events} events`}, ` +
      `${x.width}x${x.height}, module ${path.relative(process.cwd(), h.MODULE_PATH)}${h.SANITIZED ? ' (sanitized)' : ''}`);
    const started = Date.now();
    let firstRss;
    // A probe every 2 to 5 sessions; its check runs at the start of the session after it, so
    // the run ends with a session of no events when one is pending.
    const gap = () => 2 + Math.floor(rnd() * 4);
    let [untilProbe, history] = [gap(), []];
    for (let s = 0; (replay ? s < replay.sessions.length : stats.events < opts.events) || ctx.probe; s++) {
      // A new host has an empty clipboard: nothing to check.
      if (!host || host.exitCode !== undefined) (host = startHost(env)), (ctx.probe = null);
      const planned = replay ? replay.sessions[s]?.events || [] : stats.events < opts.events ? null : [];
      const probe = replay ? planned[0]?.what === 'probe' && planned[0].rect : planned === null && --untilProbe === 0 && probeRect(rnd, ctx);
      if (probe && !replay) untilProbe = gap();
      const r = await session(host, ctx, planned, rnd, stats, probe);
      stats.sessions++;
      if (r.word) stats.results[r.word] = (stats.results[r.word] || 0) + 1;
      // The sessions since the last probe that passed: a failure is replayed with them.
      if (r.checked) history = [];
      history.push({ session: s, events: r.log });
      if (r.failure) {
        stats.failed.push(...history.map((f, k) => ({ ...f, reason: k === history.length - 1 ? r.failure : 'before a failure' })));
        history = [];
        console.log(`session ${s}: ${r.failure}`);
        fs.writeFileSync(opts.out, JSON.stringify({ seed: opts.seed, width: x.width, height: x.height, sessions: stats.failed }, null, 1));
        await host.kill();
      }
      if (host.exitCode === undefined && firstRss === undefined) firstRss = rssKb(host.proc.pid);
      if (!replay && stats.sessions % 50 === 0) {
        const rss = host.exitCode === undefined ? `, host RSS ${Math.round(rssKb(host.proc.pid) / 1024)} MB` : '';
        console.log(`... ${stats.sessions} sessions, ${stats.events} events, ${Math.round((Date.now() - started) / 1000)} s${rss}`);
      }
    }
    const lastRss = host && host.exitCode === undefined ? rssKb(host.proc.pid) : NaN;
    const words = Object.entries(stats.results).map(([k, v]) => `${k} ${v}`).join(', ');
    console.log(`sessions ${stats.sessions} (${words}), events ${stats.events}, ${Math.round((Date.now() - started) / 1000)} s`);
    console.log(Object.entries(stats.kinds).map(([k, v]) => `${k} ${v}`).join(', '));
    console.log(`crashes ${stats.crashes}, hangs ${stats.hangs}, sanitizer reports ${stats.sanitizer}, probes ${stats.probes} passed, ${stats.probeFailures} failed`);
    if (firstRss && lastRss) console.log(`host RSS after the first session ${Math.round(firstRss / 1024)} MB, at the end ${Math.round(lastRss / 1024)} MB`);
    if (stats.failed.length) {
      console.log(`events of ${stats.failed.length} failing session(s) written to ${opts.out}; replay with --replay ${opts.out}`);
      process.exitCode = 1;
    }
  } finally {
    if (host) await host.kill();
    stopXdo();
    await x.stop();
    fs.rmSync(home, { recursive: true, force: true });
  }
}

main().catch((e) => {
  console.error(e.stack || e);
  process.exit(2);
});
