'use strict';
// README picture of snapping: on a private Xvfb with openbox, two framed windows over the
// walk-through's desktop picture; the pointer rests on the front one and the frame, with its
// size box, outlines that window and its title bar.
//   node scripts/pictures-snap.js [--out docs/snap-window.png]
const fs = require('fs');
const os = require('os');
const path = require('path');
const { spawn } = require('child_process');
const h = require('../tests/e2e/harness');
const { desktopPicture } = require('./desktop-picture');

const W = 1920;
const H = 1080;
const VIEW = { x: 300, y: 140, w: 1100, h: 700 };

async function main() {
  const args = process.argv.slice(2);
  const out = path.resolve(args[0] === '--out' ? args[1] : path.join(h.ROOT, 'docs', 'snap-window.png'));
  const tmp = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-pictures-'));
  const x = await h.startXvfb({ width: W, height: H });
  const procs = [];
  let child;
  try {
    const picture = path.join(tmp, 'desktop.png');
    fs.writeFileSync(picture, h.writePng(W, H, desktopPicture(W, H)));
    await h.setRootPattern(x.env, picture);
    procs.push(spawn('openbox', ['--sm-disable'], { env: x.env, stdio: 'ignore' }));
    await h.sleep(1500);
    // Two "documents": striped pictures in windows that overlap.
    const windows = [
      { title: 'Notes', at: '+420+220', w: 560, h: 380, colours: [[245, 245, 235], [200, 210, 230]] },
      { title: 'Photos', at: '+760+380', w: 520, h: 340, colours: [[40, 90, 60], [90, 150, 110]] },
    ];
    for (const win of windows) {
      const file = path.join(tmp, `${win.title}.png`);
      const img = h.image(win.w, win.h, (px, py) => win.colours[Math.floor(py / 24) % 2]);
      fs.writeFileSync(file, h.writePng(win.w, win.h, img.data));
      procs.push(spawn('display', ['-borderwidth', '0', '-geometry', win.at, '-title', win.title, file], { env: x.env, stdio: 'ignore' }));
      await h.waitForWindowNamed(x.env, `^${win.title}$`);
    }
    await h.sleep(800);
    await h.mousemove(x.env, W - 1, H - 1);
    child = h.spawnCapture({ ...x.env, LC_ALL: 'C.UTF-8', LANG: 'C.UTF-8' });
    await h.waitForOverlay(x.env, { child });
    await h.sleep(300);
    await h.mousemove(x.env, 1000, 600);
    await h.mousemove(x.env, 1010, 610);
    const hovered = await h.shotUntil(x.env, (shot) => ({ ok: !!h.findMagnifier(shot) }));
    if (!hovered.ok) throw new Error('the hover frame did not show');
    await h.key(x.env, 'Escape');
    await child.waitFor((l) => l.op === 'captured', { what: 'the capture to end' });

    const img = h.cropImage(hovered.shot, VIEW.x, VIEW.y, VIEW.w, VIEW.h);
    fs.mkdirSync(path.dirname(out), { recursive: true });
    fs.writeFileSync(out, h.writePng(img.width, img.height, img.data));
    console.log(`wrote ${out} (${img.width}x${img.height})`);
  } finally {
    if (child) await child.kill();
    for (const p of procs) p.kill('SIGKILL');
    await x.stop();
    fs.rmSync(tmp, { recursive: true, force: true });
  }
}

main().catch((e) => {
  console.error(e);
  process.exit(1);
});
