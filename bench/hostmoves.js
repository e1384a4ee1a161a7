'use strict';
// Per-move frame times of the overlay in a Node host, with the blocking screenCapture() and with
// capture() (the host's loop idle and free meanwhile), in one process on the X server named by
// DISPLAY (a private Xvfb from scripts/bench.sh), in the order B P P B B P so that a drift of
// the machine's load weighs on both alike.
//
// One move = `xdotool mousemove` started -> a pixel just inside the new corner of the region
// changed on the server (xpixelwait), so it includes xdotool's own start, the same for both.
//   drag:   dragging out a region, MOVES moves of 6 px right and down
//   resize: then dragging its bottom-right handle on, MOVES moves
// Also: the host's CPU over 10 s idle after the captures (no exec(), Qt waiting on its thread).
//
// Usage: node hostmoves.js --module PATH --poller PATH [--moves N] [--json FILE]
const { spawn, execFileSync } = require('child_process');
const fs = require('fs');

const opt = { moves: 60 };
for (let i = 2; i < process.argv.length; i += 2) opt[process.argv[i].replace(/^--/, '')] = process.argv[i + 1];
const MOVES = Number(opt.moves);
const { now, median, lines } = require('./procs');
const sleep = (ms) => new Promise((r) => setTimeout(r, ms));

const HOST = `
const { Main } = require(process.argv[1]);
const main = new Main();
const out = (s) => process.stdout.write(s + '\\n');
process.stdin.on('data', async (d) => {
  for (const mode of String(d).split('\\n').filter(Boolean)) {
    if (mode === 'blocking') main.screenCapture(1, 2, (w) => out('done ' + w));
    else out('done ' + (await main.capture()).result);
  }
});
out('ready');
`;

const poller = spawn(opt.poller, [], { stdio: ['pipe', 'pipe', 'inherit'] });
const pollerLine = lines(poller);
const ask = async (cmd) => (poller.stdin.write(cmd + '\n'), (await pollerLine()).split(' '));
const xdotool = (...a) => new Promise((r) => spawn('xdotool', a.map(String), { stdio: 'ignore' }).once('exit', r));

// One move of the pointer to (x, y): ms until the pixel at (x - 3, y - dy) changed, which was
// outside the region before the move. A resize draws the corner handle at the old and the new
// corner: the pixel watched is further up, clear of it.
async function move(x, y, dy = 3) {
  await ask(`at ${x - 3} ${y - dy}`);
  await ask('base');
  const t0 = now();
  const done = xdotool('mousemove', x, y);
  const [what, ns] = await ask('changed 2000');
  await done;
  return what === 'changed' ? Number(ns) / 1e6 - t0 : NaN;
}

async function session(host, next, mode, series) {
  const [x0, y0] = [200, 150];
  await xdotool('mousemove', x0, y0);
  await ask(`at ${x0 + 400} ${y0 + 300}`);
  await ask('base');
  host.stdin.write(mode + '\n');
  if ((await ask('changed 15000'))[0] !== 'changed') throw new Error(`${mode}: no overlay`);
  await sleep(300);
  await xdotool('mousedown', 1);
  for (let i = 1, x = x0, y = y0; i <= MOVES; i++) series.drag.push(await move((x += 6), (y += 6)));
  await xdotool('mouseup', 1);
  await sleep(700); // a press sooner on the same spot would be a double click, which confirms
  await xdotool('mousedown', 1);
  for (let i = 1, x = x0 + 6 * MOVES, y = y0 + 6 * MOVES; i <= MOVES; i++) series.resize.push(await move((x += 6), (y += 6), 24));
  await xdotool('mouseup', 1);
  await sleep(200);
  execFileSync('xdotool', ['key', 'Escape']);
  const line = await next();
  if (!line.startsWith('done')) throw new Error(`${mode}: ${line}`);
  await sleep(500);
}

const cpuSeconds = (pid) => fs.readFileSync(`/proc/${pid}/stat`, 'utf8').split(') ')[1].split(' ').slice(11, 13).reduce((a, b) => a + Number(b), 0) / 100;

(async () => {
  const [ready, width, height] = (await pollerLine()).split(' ');
  if (ready !== 'ready') throw new Error('poller did not start');
  const host = spawn(process.execPath, ['-e', HOST, opt.module], { stdio: ['pipe', 'pipe', 'ignore'] });
  const next = lines(host);
  if ((await next()) !== 'ready') throw new Error('host did not start');
  const series = { blocking: { drag: [], resize: [] }, promise: { drag: [], resize: [] } };
  for (const mode of ['blocking', 'promise', 'promise', 'blocking', 'blocking', 'promise']) await session(host, next, mode, series[mode]);
  const cpu0 = cpuSeconds(host.pid);
  await sleep(10000);
  const idleCpu = (cpuSeconds(host.pid) - cpu0) / 10;
  host.kill();
  poller.stdin.end();

  const r = { width: Number(width), height: Number(height), moves: MOVES, idle_cpu_percent: idleCpu * 100 };
  for (const kind of ['drag', 'resize']) {
    r[`${kind}_blocking_median_ms`] = median(series.blocking[kind].filter((v) => !Number.isNaN(v)));
    r[`${kind}_capture_median_ms`] = median(series.promise[kind].filter((v) => !Number.isNaN(v)));
    r[`${kind}_capture_over_blocking`] = r[`${kind}_capture_median_ms`] / r[`${kind}_blocking_median_ms`];
  }
  console.log(`Per-move frame time in a Node host ${width}x${height} (${3 * MOVES} moves each, medians, incl. xdotool's start)`);
  for (const kind of ['drag', 'resize']) {
    console.log(`  ${kind.padEnd(6)} screenCapture ${r[`${kind}_blocking_median_ms`].toFixed(2)} ms   capture() ${r[`${kind}_capture_median_ms`].toFixed(2)} ms   ratio ${r[`${kind}_capture_over_blocking`].toFixed(3)}`);
  }
  console.log(`  host CPU idle after the captures, 10 s: ${r.idle_cpu_percent.toFixed(2)} %`);
  if (opt.json) fs.writeFileSync(opt.json, JSON.stringify(r, null, 2));
})().catch((e) => {
  console.error(e.stack || String(e));
  process.exit(1);
});
