'use strict';
// Makes the README's annotation pictures in docs/ on a private Xvfb, from the walk-through's
// desktop picture and its annotation scenarios:
//   docs/annotate-toolbar-popup.png  the toolbar with the arrow's line-style popup open
//   docs/annotate-line-tools.png     a capture with one of each line tool
//   docs/annotate-mosaic-text.png    a capture with a mosaic and a text
//   node scripts/pictures-annotate.js     (after npm run build)
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('../tests/e2e/harness');
const walk = require('./walkthrough');
const scenarios = require('./scenarios/annotate');

const DOCS = path.join(__dirname, '..', 'docs');

async function main() {
  const { W, H } = walk;
  const out = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-pictures-'));
  const x = await h.startXvfb({ width: W, height: H });
  try {
    const picture = path.join(out, 'desktop.png');
    fs.writeFileSync(picture, h.writePng(W, H, walk.desktopPicture(W, H)));
    await h.setRootPattern(x.env, picture);

    const api = { h, W, H, capture: walk.capture, saveScreenshot: walk.saveScreenshot, saveClipboardImage: walk.saveClipboardImage };
    const byName = Object.fromEntries(scenarios(api).map((s) => [s.name, s]));
    const runScenario = async (name) => {
      const ctx = { env: x.env, out, files: [], child: null };
      try {
        const r = await byName[name].run(ctx);
        if (r.result !== 'image') throw new Error(`${name} ended with ${r.result}`);
      } finally {
        if (ctx.child) await ctx.child.kill();
        await h.waitForOverlayGone(x.env).catch(() => {});
      }
    };
    await runScenario('annotate-line-tools');
    await runScenario('annotate-mosaic-text');

    fs.mkdirSync(DOCS, { recursive: true });
    const read = (name) => h.readPng(fs.readFileSync(path.join(out, name)));
    const write = (name, img) => {
      fs.writeFileSync(path.join(DOCS, name), h.writePng(img.width, img.height, img.data));
      console.log(`docs/${name} (${img.width}x${img.height})`);
    };

    // The toolbar and its popup under the region's lower edge, with some of the region.
    const layout = await h.layoutProbe(x.env);
    const R = scenarios.REGION;
    const place = h.toolPlacement(layout, R, W, H, 'linePopup');
    const left = place.toolbar.x - 40;
    const top = R.y + R.h - 120;
    const right = place.toolbar.x + layout.toolbar.size.w + 40;
    const bottom = place.popup.y + layout.linePopup.size.h + 24;
    write('annotate-toolbar-popup.png', h.cropImage(read('annotate-line-tools-overlay.png'), left, top, right - left, bottom - top));
    write('annotate-line-tools.png', read('annotate-line-tools-clipboard.png'));
    write('annotate-mosaic-text.png', read('annotate-mosaic-text-clipboard.png'));
  } finally {
    await x.stop();
    fs.rmSync(out, { recursive: true, force: true });
  }
}

main().catch((e) => {
  console.error(e);
  process.exit(1);
});
