'use strict';
// Start-up of a capture on a headless Wayland session (sway, XWayland; the screen read directly,
// and through the screenshot portal) against grim capturing the same screen, in the same run.
// usage: node bench/wayland.js BENCH_STARTUP_BINARY WxH ROUNDS WARMUPS JSON_OUT
const fs = require('fs');
const os = require('os');
const path = require('path');
const { startSway, run } = require('../scripts/wayland-session');

const [bin, size, rounds, warmups, jsonOut] = process.argv.slice(2);
const [w, h] = size.split('x').map(Number);
const median = (a) => [...a].sort((p, q) => p - q)[a.length >> 1];

(async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-bench-wl-'));
  const picture = path.join(dir, 'desktop.png');
  await run(bin, ['--wallpaper', picture, String(w), String(h)]);
  const s = await startSway([{ w, h }], [picture]);
  try {
    // The session: from startWinScreen (what screenCapture calls) to the overlay's first paint
    // on the X server, the screen read directly from sway; then the same through the portal
    // (fewer rounds: it writes and reads a PNG each time).
    const startup = async (extra, n) => {
      const json = path.join(dir, 'startup.json');
      await run(bin, ['--rounds', String(n), '--warmups', warmups, '--json', json],
        { env: { ...s.env, QT_LOGGING_RULES: 'default.debug=false', ...extra }, timeout: 600000 });
      return JSON.parse(fs.readFileSync(json, 'utf8'));
    };
    const start = await startup({}, rounds);
    const portal = await startup({ SCREENCAPTURE_NO_SCREENCOPY: '1' }, Math.min(3, Number(rounds)));
    const grim = { png: [], ppm: [] };
    for (let i = 0; i < Number(warmups) + Number(rounds); i++) {
      for (const type of ['png', 'ppm']) {
        const t0 = process.hrtime.bigint();
        await run('grim', ['-t', type, path.join(dir, `shot.${type}`)], { env: s.env });
        if (i >= Number(warmups)) grim[type].push(Number(process.hrtime.bigint() - t0) / 1e6);
      }
    }
    const r = {
      width: w, height: h, rounds: Number(rounds),
      start_median_ms: start.start_median_ms, start_min_ms: start.start_min_ms,
      exposed_median_ms: start.exposed_median_ms, painted_median_ms: start.painted_median_ms,
      portal_start_median_ms: portal.start_median_ms,
      grim_png_median_ms: median(grim.png), grim_ppm_median_ms: median(grim.ppm),
    };
    r.start_over_grim_ppm = r.start_median_ms / r.grim_ppm_median_ms;
    console.log(`Wayland start-up ${w}x${h} (headless sway; ${rounds} rounds after ${warmups} warm-ups)`);
    console.log(`  screenCapture -> overlay painted  median ${r.start_median_ms.toFixed(1)} ms, min ${r.start_min_ms.toFixed(1)} ms`);
    console.log(`    (window exposed ${r.exposed_median_ms.toFixed(1)} ms, painted and flushed ${r.painted_median_ms.toFixed(1)} ms)`);
    console.log(`  the same through the portal       median ${r.portal_start_median_ms.toFixed(1)} ms`);
    console.log(`  grim, PPM file                    median ${r.grim_ppm_median_ms.toFixed(1)} ms (PNG ${r.grim_png_median_ms.toFixed(1)} ms)`);
    console.log(`  start / grim PPM                  ${r.start_over_grim_ppm.toFixed(2)}`);
    fs.writeFileSync(jsonOut, JSON.stringify(r));
  } finally {
    await s.stop();
    fs.rmSync(dir, { recursive: true, force: true });
  }
})().catch((e) => {
  console.error(e);
  process.exit(1);
});
