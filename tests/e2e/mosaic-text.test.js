'use strict';
// The mosaic and text tools with real input, and undo across mixed items. The mosaic's
// expected pixels are block averages of the known background, computed here.
const test = require('node:test');
const assert = require('node:assert/strict');
const h = require('./harness');

const W = 1920;
const H = 1080;
const T = { timeout: 300000 };
const BLUE = [0, 0xb4, 0xff];
// Left of SPLIT the background is noise (so block averages differ from the pixels), right of
// it a smooth warm gradient (nothing blue in it, so text pixels are easy to pick out).
const SPLIT = 900;
// Region sizes are even (the scene's origin falls on a pixel) and not multiples of the
// mosaic block, so partial strips remain at the right and bottom.
const MOSAIC_REGION = { x: 100, y: 150, w: 602, h: 402 };
const TEXT_REGION = { x: 1000, y: 200, w: 700, h: 360 };

function background(x, y) {
  if (x >= SPLIT) return [170 + ((x >> 3) % 60), 110 + ((y >> 3) % 60), 40 + (((x + y) >> 4) % 40)];
  let v = (Math.imul(x, 374761393) + Math.imul(y, 668265263)) >>> 0;
  v = Math.imul(v ^ (v >>> 13), 1274126177) >>> 0;
  return [v & 0xff, (v >>> 8) & 0xff, (v >>> 16) & 0xff];
}

// The region's pixels pixelated in whole block × block cells from its top-left corner: each
// cell takes the truncated mean of its pixels per channel; the partial strips at the right
// and bottom keep their own pixels.
function pixelate(crop, block) {
  const means = new Map();
  const mean = (bx, by) => [0, 1, 2].map((c) => {
    let sum = 0;
    for (let y = by * block; y < (by + 1) * block; y++) for (let x = bx * block; x < (bx + 1) * block; x++) sum += h.pixelAt(crop, x, y)[c];
    return Math.floor(sum / (block * block));
  });
  return h.image(crop.width, crop.height, (x, y) => {
    const [bx, by] = [Math.floor(x / block), Math.floor(y / block)];
    if ((bx + 1) * block > crop.width || (by + 1) * block > crop.height) return h.pixelAt(crop, x, y);
    if (!means.has(by * 10000 + bx)) means.set(by * 10000 + bx, mean(bx, by));
    return means.get(by * 10000 + bx);
  });
}

// Longest vertical run of pixels for which pred(x, y) holds.
function longestColumn(img, pred) {
  let best = 0;
  for (let x = 0; x < img.width; x++) for (let y = 0, run = 0; y < img.height; y++) best = Math.max(best, (run = pred(x, y) ? run + 1 : 0));
  return best;
}

test('mosaic and text annotations', async (t) => {
  const x = await h.desktop(t, W, H, h.image(W, H, background));
  const layout = await h.layoutProbe(x.env);
  const s = layout.scale;
  const widths = [Math.trunc(5 * s), Math.trunc(10 * s), Math.trunc(14 * s)];

  // A capture with `region` selected and `tool` chosen; crop = the region's background,
  // screen() = the region on screen with the pointer out of the way.
  async function annotate(t, region, tool) {
    const ses = await h.annotate(t, x, layout, region, tool);
    ses.crop = h.image(region.w, region.h, (px, py) => background(region.x + px, region.y + py));
    ses.screen = async () => {
      await h.mousemove(x.env, W - 1, H - 1);
      await h.sleep(150);
      return h.screenshot(x.env, region.x, region.y, region.w, region.h);
    };
    return ses;
  }

  await t.test('mosaic strokes reveal block averages under squares of side width × 3', T, async (t) => {
    const R = MOSAIC_REGION;
    const ses = await annotate(t, R, 'tool_mosaic');
    const block = Math.trunc(4 * s);
    const pixelated = pixelate(ses.crop, block);
    // Region-local strokes and the brush side each was drawn with.
    const strokes = [
      // along a row into the right-hand partial strip
      { pts: h.linePoints([30, 60], [596, 60], 12), side: widths[0] * 3 },
      // down a column into the bottom partial strip
      { pts: h.linePoints([200, 300], [200, 398], 12), side: widths[0] * 3 },
      // one-pixel strokes, after choosing the second and the third width
      { pts: [[100, 200], [101, 200]], side: widths[1] * 3, choose: 1 },
      { pts: [[400, 200], [401, 200]], side: widths[2] * 3, choose: 2 },
    ];
    for (const st of strokes) {
      if (st.choose !== undefined) {
        // Choosing the tool again leaves no mosaic current, so the width only affects what
        // comes next.
        await ses.tool('tool_mosaic');
        await ses.popupClick(layout.mosaicPopup.widths[st.choose]);
      }
      // Each move is awaited on screen (the pixels around it change), so the stroke gets
      // exactly these points.
      const drawnAt = async (px, py) => {
        const shot = await h.screenshot(x.env, px - 1, py - 1, 3, 3);
        const [lx, ly] = [px - R.x - 1, py - R.y - 1];
        return (h.boundingBox(shot, (rgb, qx, qy) => !h.sameRgb(rgb, h.pixelAt(ses.crop, lx + qx, ly + qy)))?.count || 0) >= 5;
      };
      await h.stroke(x.env, st.pts.map(([lx, ly]) => ses.at(lx, ly)), { drawnAt });
      await h.sleep(100);
    }
    const img = await ses.confirm();

    // Each point reveals the side × side square whose top-left is the point minus half the
    // side (truncated); inside whole blocks that is the block mean, elsewhere the pixel.
    const covered = new Uint8Array(R.w * R.h);
    for (const st of strokes) {
      const half = Math.trunc(st.side / 2);
      for (const [px, py] of st.pts) {
        for (let y = py - half; y < py - half + st.side; y++) {
          for (let xx = px - half; xx < px - half + st.side; xx++) {
            if (xx >= 0 && y >= 0 && xx < R.w && y < R.h) covered[y * R.w + xx] = 1;
          }
        }
      }
    }
    const expected = (px, py) => h.pixelAt(covered[py * R.w + px] ? pixelated : ses.crop, px, py);
    const cmp = h.comparePixels(img, expected, { tolerance: 0 });
    assert.equal(cmp.bad, 0, h.diffText(cmp));
  });

  await t.test('text: typed in place, Enter keeps the capture, the font popup restyles it, no frame in the result', T, async (t) => {
    const R = TEXT_REGION;
    const ses = await annotate(t, R, 'tool_text');
    const at = [100, 80];
    const bg = ses.crop;
    // Coverage of the text colour, from the red channel (the blue text has none of it).
    const coverage = (img, px, py) => {
      const back = h.pixelAt(bg, px, py)[0];
      return (back - h.pixelAt(img, px, py)[0]) / back;
    };
    const isBlue = (img) => (px, py) => {
      const [r, g, b] = h.pixelAt(img, px, py);
      return b > 200 && g > 120 && r < 60;
    };
    // The frame's top and bottom edges are the only long horizontal runs of text colour.
    const frameRows = (img) => [...Array(img.height).keys()].filter((py) => {
      let [run, best] = [0, 0];
      for (let qx = 0; qx < img.width; qx++) best = Math.max(best, (run = isBlue(img)(qx, py) ? run + 1 : 0));
      return best >= 60;
    });
    await h.clickAt(x.env, ...ses.at(...at));
    await h.type(x.env, 'Hello');
    // Up takes the cursor back into the first line: the arrow keys belong to the text.
    await h.key(x.env, 'Return', 'Up');
    await h.type(x.env, 'o');

    // Large from the size drop-down, then blue.
    const { popup } = await ses.panels();
    const large = layout.fontPopup.comboRows[2];
    await ses.popupClick(layout.fontPopup.combo);
    await h.waitForWhite(x.env, popup.x + large[0], popup.y + large[1], true);
    await h.clickAt(x.env, popup.x + large[0], popup.y + large[1]); // the open list hides the popup
    await h.waitForWhite(x.env, popup.x + large[0], popup.y + large[1], false);
    await ses.popupClick(layout.fontPopup.colors.colorblue);
    // The text being edited has its frame, in the new colour and around two lines: Enter
    // went into the text. The capture is still on.
    await h.eventually(async () => {
      const rows = frameRows(await ses.screen());
      assert.ok(rows.length >= 2, `frame edges at rows ${rows}`);
      const height = rows[rows.length - 1] - rows[0];
      assert.ok(height > 2 * 64, `a frame ${height} px high holds two lines of 64 px text`);
    });
    await h.assertOngoing(x.env, ses.child, 'Enter in a text being edited must not end the capture');

    // Choosing the tool again finishes the text: no frame. A double click on it reopens it.
    await ses.tool('tool_text');
    let glyphs;
    await h.eventually(async () => {
      const shot = await ses.screen();
      assert.deepEqual(frameRows(shot), [], 'a finished text has no frame');
      glyphs = h.boundingBox(shot, (rgb, px, py) => coverage(shot, px, py) >= 0.5);
      assert.ok(glyphs, 'the text is on screen');
    });
    await h.doubleClickAt(x.env, ...ses.at(glyphs.x + glyphs.w / 2, glyphs.y + glyphs.h / 2));
    await h.eventually(async () => {
      assert.ok(frameRows(await ses.screen()).length >= 2, 'the double click reopened the text for editing');
    });
    await h.assertOngoing(x.env, ses.child, 'a double click on a text does not confirm');

    const img = await ses.confirm();
    const text = h.boundingBox(img, (rgb, px, py) => coverage(img, px, py) >= 0.5);
    assert.ok(text, 'the text is in the result');
    // "oHello" on one line has no descenders: the box spans the ascender of "l" and the cap
    // height of "H", which for a sans-serif face lie between 0.65 and 0.85 of the pixel size.
    const px = 64;
    assert.ok(text.h >= 0.65 * px && text.h <= 0.85 * px, `glyph box ${JSON.stringify(text)} for ${px} px`);
    assert.ok(text.w > text.h * 2 && text.w < px * 5, `width ${text.w} for six letters`);
    // It starts at the click point (plus the document margin and side bearing).
    assert.ok(text.x >= at[0] && text.x <= at[0] + 20 && text.y >= at[1] && text.y <= at[1] + 40, JSON.stringify(text));
    const solid = h.boundingBox(img, (rgb) => h.sameRgb(rgb, BLUE));
    assert.ok(solid && solid.count >= 200, `${solid && solid.count} pixels in exactly #00B4FF`);
    assert.equal(h.boundingBox(img, ([r, g, b]) => r > 200 && g < 60 && b < 60), null, 'nothing is left in the default red');
    assert.deepEqual(frameRows(img), [], 'no frame');
    assert.ok(longestColumn(img, isBlue(img)) < px, 'no cursor');
  });

  await t.test('undo across a mosaic, a text and an arrow removes them newest first', T, async (t) => {
    const R = MOSAIC_REGION;
    const ses = await annotate(t, R, 'tool_mosaic');
    // Region-local areas that hold each item, and nothing else.
    const areas = {
      mosaic: [10, 40, 270, 80],
      text: [340, 15, 500, 110],
      arrow: [80, 230, 420, 370],
    };
    const changed = (shot, [x0, y0, x1, y1]) => {
      for (let py = y0; py < y1; py++) for (let px = x0; px < x1; px++) if (!h.sameRgb(h.pixelAt(shot, px, py), h.pixelAt(ses.crop, px, py))) return true;
      return false;
    };
    const undo = h.toolButton(layout, (await ses.panels()).toolbar, 'tool_back');
    const expectShown = (names) => h.eventually(async () => {
      const shot = await ses.screen();
      for (const [name, area] of Object.entries(areas)) assert.equal(changed(shot, area), names.includes(name), `${name} ${names.includes(name) ? 'shown' : 'gone'}`);
      // Nothing outside the three areas ever changes.
      const outside = h.boundingBox(shot, (rgb, px, py) =>
        !Object.values(areas).some(([x0, y0, x1, y1]) => px >= x0 && py >= y0 && px < x1 && py < y1) && !h.sameRgb(rgb, h.pixelAt(ses.crop, px, py)));
      assert.equal(outside, null);
      // Checked: a light-blue (#DCEBFD) button, exactly when nothing is left.
      const side = Math.trunc(16 * s);
      const button = await h.screenshot(x.env, undo.x - (side >> 1), undo.y - (side >> 1), side, side);
      assert.equal((h.boundingBox(button, (rgb) => h.sameRgb(rgb, [0xdc, 0xeb, 0xfd], 8))?.count || 0) > (side * side) / 3, names.length === 0, 'undo look');
    });
    await expectShown([]);
    await h.stroke(x.env, h.linePoints([30, 60], [250, 60], 12).map(([lx, ly]) => ses.at(lx, ly)));
    await ses.tool('tool_text');
    await h.clickAt(x.env, ...ses.at(350, 30));
    await h.type(x.env, 'Hi');
    await ses.tool('tool_arrow');
    await h.drag(x.env, ...ses.at(100, 250), ...ses.at(400, 350));
    await expectShown(['mosaic', 'text', 'arrow']);
    // One undo per item, then once more with nothing left: nothing changes.
    for (const left of [['mosaic', 'text'], ['mosaic'], [], []]) {
      await h.clickAt(x.env, undo.x, undo.y);
      await expectShown(left);
    }
    const img = await ses.confirm();
    const cmp = h.comparePixels(img, (px, py) => h.pixelAt(ses.crop, px, py), { tolerance: 0 });
    assert.equal(cmp.bad, 0, JSON.stringify(cmp.first));
  });
});
