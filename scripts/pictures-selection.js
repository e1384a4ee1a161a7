'use strict';
// README picture of a capture in progress, made on a private Xvfb with the walk-through's
// desktop picture: on the left a chosen region with its size box and toolbar, on the right
// the same region while its bottom-right handle is dragged, with the magnifier beside it.
// (The toolbar hides while a handle is held, so the two moments are shown side by side.)
//   node scripts/pictures-selection.js [--out docs/selection.png]
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('../tests/e2e/harness');
const { desktopPicture } = require('./desktop-picture');

const W = 1920;
const H = 1080;
// The part of the screen shown from each moment.
const VIEW = { x: 540, y: 180, w: 880, h: 820 };
const GAP = 16;

function crop(img, r) {
  const data = Buffer.alloc(r.w * r.h * 4);
  for (let y = 0; y < r.h; y++) {
    img.data.copy(data, y * r.w * 4, ((r.y + y) * img.width + r.x) * 4, ((r.y + y) * img.width + r.x + r.w) * 4);
  }
  return { width: r.w, height: r.h, data };
}

function sideBySide(a, b) {
  const width = a.width + GAP + b.width;
  const height = Math.max(a.height, b.height);
  const data = Buffer.alloc(width * height * 4, 255);
  for (const [img, x0] of [[a, 0], [b, a.width + GAP]]) {
    for (let y = 0; y < img.height; y++) {
      img.data.copy(data, (y * width + x0) * 4, y * img.width * 4, (y + 1) * img.width * 4);
    }
  }
  return { width, height, data };
}

async function main() {
  const args = process.argv.slice(2);
  const out = path.resolve(args[0] === '--out' ? args[1] : path.join(h.ROOT, 'docs', 'selection.png'));
  const tmp = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-pictures-'));
  const x = await h.startXvfb({ width: W, height: H });
  let child;
  try {
    const picture = path.join(tmp, 'desktop.png');
    fs.writeFileSync(picture, h.writePng(W, H, desktopPicture(W, H)));
    await h.setRootPattern(x.env, picture);
    await h.mousemove(x.env, W - 1, H - 1);
    child = h.spawnCapture({ ...x.env, LC_ALL: 'C.UTF-8', LANG: 'C.UTF-8' });
    await h.waitForOverlay(x.env, { child });
    await h.sleep(300);

    // A region around the green block, then wait for its toolbar.
    await h.drag(x.env, 700, 270, 1170, 720);
    const chosen = await h.shotUntil(x.env, (shot) => ({ ok: !!h.findToolbar(shot) }));
    if (!chosen.ok) throw new Error('the toolbar did not show');

    // Hold the bottom-right handle and pull it to the blue block's corner; the magnifier follows.
    await h.mousemove(x.env, 1170, 720);
    await h.mousedown(x.env);
    await h.mousemove(x.env, 1210, 680);
    await h.mousemove(x.env, 1255, 645);
    const dragging = await h.shotUntil(x.env, (shot) => ({ ok: !!h.findMagnifier(shot) }));
    if (!dragging.ok) throw new Error('the magnifier did not show');
    await h.mouseup(x.env);
    await h.key(x.env, 'Escape');
    await child.waitFor((l) => l.op === 'captured', { what: 'the capture to end' });

    const img = sideBySide(crop(chosen.shot, VIEW), crop(dragging.shot, VIEW));
    fs.mkdirSync(path.dirname(out), { recursive: true });
    fs.writeFileSync(out, h.writePng(img.width, img.height, img.data));
    console.log(`wrote ${out} (${img.width}x${img.height})`);
  } finally {
    if (child) await child.kill();
    await x.stop();
    fs.rmSync(tmp, { recursive: true, force: true });
  }
}

main().catch((e) => {
  console.error(e);
  process.exit(1);
});
