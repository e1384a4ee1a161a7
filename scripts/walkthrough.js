'use strict';
// Scripted capture sessions on a private Xvfb. Each scenario runs one capture in a fresh
// process and records what came out; results go to the output folder named on stdout.
//   node scripts/walkthrough.js [--out DIR] [--only NAME,...]
const fs = require('fs');
const path = require('path');
const h = require('../tests/e2e/harness');
const { desktopPicture } = require('./desktop-picture');

const W = 1920;
const H = 1080;

async function saveScreenshot(ctx, name) {
  const png = await h.run('import', ['-window', 'root', 'png24:-'], { env: ctx.env, timeout: 20000 });
  const file = path.join(ctx.out, name);
  fs.writeFileSync(file, png);
  ctx.files.push(name);
  return file;
}

async function saveClipboardImage(ctx, name) {
  const png = await h.readClipboard(ctx.env, 'image/png');
  const img = h.readPng(png); // proves it is a whole PNG
  const file = path.join(ctx.out, name);
  fs.writeFileSync(file, png);
  ctx.files.push(name);
  return { width: img.width, height: img.height };
}

// Runs one capture with a callback; `act` drives the overlay once it is up.
async function capture(ctx, act) {
  await h.mousemove(ctx.env, W - 1, H - 1);
  const child = h.spawnCapture(ctx.env);
  ctx.child = child;
  await h.waitForOverlay(ctx.env, { child });
  await h.sleep(300);
  await act(child);
  const r = await child.waitFor((l) => l.op === 'captured', { what: 'the capture to end', timeout: 20000 });
  await child.waitFor((l) => l.op === 'exec');
  return { result: r.calls.length === 1 ? r.calls[0].args[0] : null, returned: r.ret };
}

const scenarios = [
  {
    name: 'esc-cancels',
    expected: 'exit',
    async run(ctx) {
      return capture(ctx, async () => {
        await saveScreenshot(ctx, 'overlay-dimmed.png');
        await h.key(ctx.env, 'Escape');
      });
    },
  },
  {
    name: 'drag-and-enter',
    expected: 'image',
    async run(ctx) {
      const r = await capture(ctx, async () => {
        await h.drag(ctx.env, 700, 280, 1180, 620);
        await h.sleep(300);
        await saveScreenshot(ctx, 'drag-and-enter-selection.png');
        await h.key(ctx.env, 'Return');
      });
      r.clipboard = await saveClipboardImage(ctx, 'drag-and-enter-clipboard.png');
      return r;
    },
  },
];

// Further scenarios live one file per feature in scripts/scenarios/; each exports
// `(api) => [scenario, ...]` and gets the helpers above.
function loadScenarioModules() {
  const dir = path.join(__dirname, 'scenarios');
  if (!fs.existsSync(dir)) return;
  const api = { h, W, H, capture, saveScreenshot, saveClipboardImage };
  for (const f of fs.readdirSync(dir).filter((n) => n.endsWith('.js')).sort()) {
    scenarios.push(...require(path.join(dir, f))(api));
  }
}

function parseArgs(argv) {
  const opts = { out: process.env.START_OUTPUT || path.resolve('start-output'), only: null };
  for (let i = 0; i < argv.length; i++) {
    if (argv[i] === '--out') opts.out = path.resolve(argv[++i]);
    else if (argv[i] === '--only') opts.only = argv[++i].split(',');
    else throw new Error(`unknown argument ${argv[i]}`);
  }
  return opts;
}

async function main() {
  const opts = parseArgs(process.argv.slice(2));
  loadScenarioModules();
  fs.mkdirSync(opts.out, { recursive: true });
  console.log(`output folder: ${opts.out}`);

  const x = await h.startXvfb({ width: W, height: H });
  const summary = { screen: { width: W, height: H }, scenarios: [] };
  try {
    const picture = path.join(opts.out, 'desktop.png');
    fs.writeFileSync(picture, h.writePng(W, H, desktopPicture(W, H)));
    await h.setRootPattern(x.env, picture);

    for (const s of scenarios) {
      if (opts.only && !opts.only.includes(s.name)) continue;
      const ctx = { env: x.env, out: opts.out, files: [], child: null };
      const entry = { name: s.name, expected: s.expected };
      const started = Date.now();
      try {
        Object.assign(entry, await s.run(ctx));
        entry.ok = entry.result === s.expected && entry.returned === './';
      } catch (e) {
        entry.ok = false;
        entry.error = String(e.message || e);
      } finally {
        if (ctx.child) {
          entry.log = ctx.child.stderr.split('\n').filter((l) => l.includes('qapplication'));
          await ctx.child.kill();
        }
        await h.waitForOverlayGone(x.env).catch(() => {});
      }
      entry.files = ctx.files;
      entry.ms = Date.now() - started;
      summary.scenarios.push(entry);
      console.log(`${entry.ok ? 'ok  ' : 'FAIL'} ${s.name}: ${entry.result ?? entry.error}`);
    }
  } finally {
    await x.stop();
  }
  fs.writeFileSync(path.join(opts.out, 'summary.json'), JSON.stringify(summary, null, 2) + '\n');
  const failed = summary.scenarios.filter((s) => !s.ok).length;
  console.log(`summary: ${path.join(opts.out, 'summary.json')}`);
  console.log(`${summary.scenarios.length - failed} passed, ${failed} failed`);
  process.exitCode = failed ? 1 : 0;
}

if (require.main === module) {
  main().catch((e) => {
    console.error(e);
    process.exit(1);
  });
}

// For scripts that make pictures with the same desktop and capture steps.
module.exports = { W, H, desktopPicture, capture, saveScreenshot, saveClipboardImage };
