'use strict';
// Start-up of a capture on a headless Wayland session (sway, XWayland, the screenshot portal)
// against grim capturing the same screen, in the same run; with "gnome", on headless GNOME
// Shell against the portal's own answer to a plain screenshot request.
// usage: node bench/wayland.js BENCH_STARTUP_BINARY WxH ROUNDS WARMUPS JSON_OUT [gnome]
const fs = require('fs');
const os = require('os');
const path = require('path');
const { startSway, run } = require('../scripts/wayland-session');
const { startGnome } = require('../scripts/gnome-session');

const [bin, size, rounds, warmups, jsonOut, desktop] = process.argv.slice(2);
const [w, h] = size.split('x').map(Number);
const median = (a) => [...a].sort((p, q) => p - q)[a.length >> 1];
const total = Number(warmups) + Number(rounds);

// From startWinScreen (what screenCapture calls) to the overlay's first paint on the X server;
// the portal's screenshot is part of it.
async function startup(env, dir, as = {}, binary = bin) {
  const json = path.join(dir, 'startup.json');
  await run(binary, ['--rounds', rounds, '--warmups', warmups, '--json', json],
    { env: { ...env, QT_LOGGING_RULES: 'default.debug=false' }, timeout: 600000, ...as });
  return JSON.parse(fs.readFileSync(json, 'utf8'));
}

async function sway(dir, picture) {
  const s = await startSway([{ w, h }], [picture]);
  try {
    const start = await startup(s.env, dir);
    const grim = { png: [], ppm: [] };
    for (let i = 0; i < total; i++) {
      for (const type of ['png', 'ppm']) {
        const t0 = process.hrtime.bigint();
        await run('grim', ['-t', type, path.join(dir, `shot.${type}`)], { env: s.env });
        if (i >= Number(warmups)) grim[type].push(Number(process.hrtime.bigint() - t0) / 1e6);
      }
    }
    const r = {
      width: w, height: h, rounds: Number(rounds),
      start_median_ms: start.start_median_ms, start_min_ms: start.start_min_ms,
      grim_png_median_ms: median(grim.png), grim_ppm_median_ms: median(grim.ppm),
    };
    r.start_over_grim_png = r.start_median_ms / r.grim_png_median_ms;
    console.log(`Wayland start-up ${w}x${h} (headless sway, xdg-desktop-portal-wlr; ${rounds} rounds after ${warmups} warm-ups)`);
    console.log(`  screenCapture -> overlay painted  median ${r.start_median_ms.toFixed(1)} ms, min ${r.start_min_ms.toFixed(1)} ms`);
    console.log(`  grim, PNG file                    median ${r.grim_png_median_ms.toFixed(1)} ms (PPM ${r.grim_ppm_median_ms.toFixed(1)} ms)`);
    console.log(`  start / grim PNG                  ${r.start_over_grim_png.toFixed(2)}`);
    return r;
  } finally {
    await s.stop();
  }
}

async function gnome(dir, picture) {
  const s = await startGnome([{ w, h }], picture);
  try {
    await s.permit('yes');
    // The session's programs run as its user, who writes the results into its own directory.
    // A copy in its directory: the checkout may be out of its reach.
    const as = s.env[Symbol.for('screencapture.spawnAs')];
    const copy = path.join(s.env.XDG_RUNTIME_DIR, path.basename(bin));
    fs.copyFileSync(bin, copy);
    const start = await startup(s.env, s.env.XDG_RUNTIME_DIR, as, copy);
    const portal = [];
    for (let i = 0; i < total; i++) {
      const a = await s.input.portal();
      if (a.code !== 0) throw new Error(`the portal answered ${a.code}`);
      if (i >= Number(warmups)) portal.push(a.ms);
    }
    const r = {
      width: w, height: h, rounds: Number(rounds),
      start_median_ms: start.start_median_ms, start_min_ms: start.start_min_ms, portal_median_ms: median(portal),
    };
    r.start_over_portal = r.start_median_ms / r.portal_median_ms;
    console.log(`GNOME start-up ${w}x${h} (headless GNOME Shell 43, xdg-desktop-portal-gnome; ${rounds} rounds after ${warmups} warm-ups)`);
    console.log(`  screenCapture -> overlay painted  median ${r.start_median_ms.toFixed(1)} ms, min ${r.start_min_ms.toFixed(1)} ms`);
    console.log(`  portal call -> its answer         median ${r.portal_median_ms.toFixed(1)} ms`);
    console.log(`  start / portal                    ${r.start_over_portal.toFixed(2)}`);
    return r;
  } finally {
    await s.stop();
  }
}

(async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-bench-wl-'));
  const picture = path.join(dir, 'desktop.png');
  try {
    await run(bin, ['--wallpaper', picture, String(w), String(h)]);
    const r = await (desktop === 'gnome' ? gnome : sway)(dir, picture);
    fs.writeFileSync(jsonOut, JSON.stringify(r));
  } finally {
    fs.rmSync(dir, { recursive: true, force: true });
  }
})().catch((e) => {
  console.error(e);
  process.exit(1);
});
