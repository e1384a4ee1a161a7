'use strict';
// Capture latency seen from outside the process, on the X server named by DISPLAY (a private
// Xvfb started by scripts/bench.sh, root window showing a desktop picture, no window manager).
// A pixel poller (xpixelwait) watches the screen's centre: the overlay has "painted" when that
// pixel changes, i.e. when the dimmed screenshot is on the server.
//
//   cold:   node start -> require -> new Main() -> screenCapture() -> overlay painted, one fresh
//           node process per round (without NODE_EXTRA_CA_CERTS, see below), beside node
//           alone; alternated with Flameshot's `flameshot gui` (no daemon running, fresh
//           config directory) when flameshot is installed.
//   warm:   in one process: new Main(), then the first screenCapture() and later ones, each
//           from the call until the overlay is painted; ended with Esc from xdotool.
//   memory: the host's resident set while the overlay of a warm capture is up, against the
//           idle host after new Main(), in screenshots (width x height x 4 bytes).
//
// Usage: node latency.js --module PATH --poller PATH [--rounds N] [--json FILE]
const { spawn, execFileSync } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const opt = { rounds: 10 };
for (let i = 2; i < process.argv.length; i += 2) opt[process.argv[i].replace(/^--/, '')] = process.argv[i + 1];
const ROUNDS = Number(opt.rounds);
const { now, median, lines } = require('./procs');
const sleep = (ms) => new Promise((r) => setTimeout(r, ms));

let width = 0;
let height = 0;
const poller = spawn(opt.poller, [], { stdio: ['pipe', 'pipe', 'inherit'] });
const pollerLine = lines(poller);
async function ask(cmd) {
  poller.stdin.write(cmd + '\n');
  return (await pollerLine(30000)).split(' ');
}

async function stop(proc) {
  if (proc.exitCode !== null || proc.signalCode !== null) return;
  const gone = new Promise((r) => proc.once('exit', r));
  try {
    process.kill(-proc.pid, 'SIGKILL'); // the whole group: flameshot may start helpers
  } catch {
    proc.kill('SIGKILL');
  }
  await gone;
}

// One cold start: spawn `cmd`, return ms from the spawn until the centre pixel changed.
// Node alone: spawn until `node -e ""` has exited, the share of the cold start that is node's.
async function bareNodeRound(env) {
  const t0 = now();
  const proc = spawn(process.execPath, ['-e', ''], { env, stdio: 'ignore' });
  await new Promise((r) => proc.once('exit', r));
  return now() - t0;
}

async function coldRound(cmd, args, env) {
  await ask('base');
  const t0 = now();
  const proc = spawn(cmd, args, { env, stdio: ['ignore', 'ignore', 'pipe'], detached: true });
  let stderr = '';
  proc.stderr.on('data', (d) => (stderr += d));
  const [what, ns] = await ask('changed 15000');
  const ms = what === 'changed' ? Number(ns) / 1e6 - t0 : NaN;
  await stop(proc);
  await ask('restored 5000');
  if (Number.isNaN(ms)) process.stderr.write(`${cmd}: no overlay within 15 s\n${stderr}\n`);
  return ms;
}

const COLD_CHILD = `
const t = require(process.argv[1]);
new t.Main().screenCapture();
`;

// The warm child: new Main(), then one capture per line on stdin, printing when each starts.
const WARM_CHILD = `
const fs = require('fs');
const rss = () => Number(/VmRSS:\\s+(\\d+)/.exec(fs.readFileSync('/proc/self/status', 'utf8'))[1]) * 1024;
const { Main } = require(process.argv[1]);
const app = new Main();
const out = (s) => fs.writeSync(1, s + '\\n');
out('idle ' + rss());
const buf = Buffer.alloc(1);
for (;;) {
  let n = 0;
  try { n = fs.readSync(0, buf, 0, 1, null); } catch (e) { if (e.code === 'EAGAIN') continue; throw e; }
  if (n === 0) break;
  if (buf[0] !== 0x0a) continue;
  out('start ' + Number(process.hrtime.bigint()) / 1e6);
  app.screenCapture();
  out('done');
}
`;

function vmRss(pid) {
  return Number(/VmRSS:\s+(\d+)/.exec(fs.readFileSync(`/proc/${pid}/status`, 'utf8'))[1]) * 1024;
}

async function warm(env) {
  const child = spawn(process.execPath, ['-e', WARM_CHILD, path.resolve(opt.module)], { env, stdio: ['pipe', 'pipe', 'pipe'] });
  child.stderr.resume();
  const next = lines(child);
  const idle = Number((await next()).split(' ')[1]);
  const times = [];
  let rssUp = 0;
  for (let i = 0; i < ROUNDS + 1; ++i) {
    await ask('base');
    child.stdin.write('\n');
    const start = Number((await next()).split(' ')[1]);
    const [what, ns] = await ask('changed 15000');
    if (what !== 'changed') throw new Error('warm capture: no overlay');
    times.push(Number(ns) / 1e6 - start);
    rssUp = Math.max(rssUp, vmRss(child.pid));
    execFileSync('xdotool', ['key', 'Escape'], { env });
    if ((await next()) !== 'done') throw new Error('warm capture did not end');
    await ask('restored 5000');
  }
  await stop(child);
  return { first: times[0], later: times.slice(1), idleRss: idle, sessionRss: rssUp };
}

function flameshotPath() {
  for (const dir of (process.env.PATH || '').split(':')) {
    const p = path.join(dir, 'flameshot');
    if (fs.existsSync(p)) return p;
  }
  return null;
}

(async () => {
  const ready = (await pollerLine()).split(' ');
  if (ready[0] !== 'ready') throw new Error('poller did not start');
  [width, height] = [Number(ready[1]), Number(ready[2])];
  const env = { ...process.env };
  // Node reads every certificate of NODE_EXTRA_CA_CERTS when it starts (70 ms here, where the
  // machine sets it for its own tools); a desktop app's node does not. The cold child runs
  // without it; when it is set, a third series shows the start with it.
  const nodeEnv = { ...env };
  delete nodeEnv.NODE_EXTRA_CA_CERTS;
  const extraCa = env.NODE_EXTRA_CA_CERTS !== undefined;
  const flameshot = flameshotPath();
  const config = fs.mkdtempSync(path.join(os.tmpdir(), 'flameshot-cfg-'));
  const ours = [];
  const theirs = [];
  const oursExtraCa = [];
  const bareNode = [];
  // Alternating rounds, so both see the same machine load; one unmeasured round of each first
  // (page cache).
  for (let i = 0; i < ROUNDS + 1; ++i) {
    const a = await coldRound(process.execPath, ['-e', COLD_CHILD, path.resolve(opt.module)], nodeEnv);
    const c = extraCa ? await coldRound(process.execPath, ['-e', COLD_CHILD, path.resolve(opt.module)], env) : NaN;
    const d = await bareNodeRound(nodeEnv);
    let b = NaN;
    if (flameshot) {
      fs.rmSync(config, { recursive: true, force: true });
      fs.mkdirSync(config);
      b = await coldRound(flameshot, ['gui'], { ...env, XDG_CONFIG_HOME: config });
    }
    if (i === 0) continue;
    ours.push(a);
    bareNode.push(d);
    if (extraCa) oursExtraCa.push(c);
    if (flameshot) theirs.push(b);
  }
  fs.rmSync(config, { recursive: true, force: true });
  const w = await warm(env);
  poller.stdin.end();
  await stop(poller);

  const shot = width * height * 4;
  const r = {
    width,
    height,
    rounds: ROUNDS,
    cold_median_ms: median(ours),
    cold_ms: ours,
    bare_node_median_ms: median(bareNode),
    cold_with_extra_ca_median_ms: extraCa ? median(oursExtraCa) : null,
    flameshot: flameshot ? 'installed' : 'not installed',
    flameshot_cold_median_ms: flameshot ? median(theirs) : null,
    flameshot_cold_ms: theirs,
    cold_over_flameshot: flameshot ? median(ours) / median(theirs) : null,
    first_capture_ms: w.first,
    later_capture_median_ms: median(w.later),
    later_capture_ms: w.later,
    first_over_later: w.first / median(w.later),
    idle_rss_bytes: w.idleRss,
    session_rss_bytes: w.sessionRss,
    screenshot_bytes: shot,
    session_rss_over_idle_in_screenshots: (w.sessionRss - w.idleRss) / shot,
  };
  const f = (v) => (typeof v === 'number' && !Number.isNaN(v) ? v.toFixed(1) : '-');
  console.log(`Latency ${width}x${height}, from outside the process (${ROUNDS} rounds, medians)`);
  console.log(`  cold: node start -> overlay painted   ${f(r.cold_median_ms)} ms   ` +
    `(node alone, start to exit: ${f(r.bare_node_median_ms)} ms)`);
  if (extraCa) {
    console.log(`        the same with this machine's NODE_EXTRA_CA_CERTS  ${f(r.cold_with_extra_ca_median_ms)} ms`);
  }
  if (flameshot) {
    console.log(`  cold: flameshot gui (no daemon)       ${f(r.flameshot_cold_median_ms)} ms   ` +
      `ratio ${r.cold_over_flameshot.toFixed(2)} (target <= 1: ${r.cold_over_flameshot <= 1 ? 'met' : 'NOT met'})`);
  } else {
    console.log('  cold: flameshot is not installed, no peer figure');
  }
  console.log(`  first screenCapture after new Main()  ${f(r.first_capture_ms)} ms`);
  console.log(`  later screenCaptures                  ${f(r.later_capture_median_ms)} ms   ` +
    `ratio ${r.first_over_later.toFixed(2)} (target <= 1.5: ${r.first_over_later <= 1.5 ? 'met' : 'NOT met'})`);
  console.log(`  host RSS: idle ${(r.idle_rss_bytes / 1048576).toFixed(1)} MiB, overlay up ` +
    `${(r.session_rss_bytes / 1048576).toFixed(1)} MiB = ${r.session_rss_over_idle_in_screenshots.toFixed(2)} screenshots above idle`);
  if (opt.json) fs.writeFileSync(opt.json, JSON.stringify(r, null, 2));
})().catch(async (e) => {
  console.error(e.stack || String(e));
  await stop(poller);
  process.exit(1);
});
