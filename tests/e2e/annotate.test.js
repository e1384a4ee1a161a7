'use strict';
// Annotating with real input: the line tools, their style popup, selecting, moving, resizing,
// double clicks, the size read-out. Shapes are checked by what any drawing of them must show.
const test = require('node:test');
const assert = require('node:assert/strict');
const h = require('./harness');

const W = 1920;
const H = 1080;
const T = { timeout: 300000 };
const RED = [255, 0, 0];
const BLUE = [0, 0xb4, 0xff];
const DIM = [53, 53, 53, 133];
// Even sizes, so the annotation scene's origin (the region's centre) falls on a whole pixel.
const REGION = { x: 560, y: 200, w: 640, h: 400 };

// A smooth, low-contrast background in muted greens: nothing in it is close to pure red, blue
// or white.
const background = (x, y) => [70 + ((x >> 2) % 60), 120 + ((y >> 2) % 50), 90 + (((x + y) >> 3) % 40)];
const crop = h.image(REGION.w, REGION.h, (px, py) => background(REGION.x + px, REGION.y + py));

// Region pixels inside [x0, x1) × [y0, y1) that differ from the background (or, with `colour`,
// are that colour): their bounding box and count, or null.
const inked = (img, [x0, y0, x1, y1], colour) =>
  h.boundingBox(img, (rgb, px, py) => px >= x0 && py >= y0 && px < x1 && py < y1 && (colour ? h.sameRgb(rgb, colour) : !h.sameRgb(rgb, h.pixelAt(crop, px, py), 2)));

// The box must reach [x0, y0]–[x1, y1] widened by half the pen on each side, within a pixel.
function assertReach(box, [x0, y0, x1, y1], pen, what) {
  const want = [x0 - pen / 2, y0 - pen / 2, x1 + pen / 2, y1 + pen / 2];
  const got = box && [box.x, box.y, box.x + box.w, box.y + box.h];
  assert.ok(got && got.every((v, i) => Math.abs(v - want[i]) <= 1), `${what}: ink over ${JSON.stringify(got)}, want about ${want}`);
}

// The rows of column `cx` within [y0, y1) in `colour`: an unsmoothed stroke's thickness.
const thickness = (img, cx, y0, y1, colour) => inked(img, [cx, y0, cx + 1, y1], colour)?.count || 0;

test('annotating with the line tools', async (t) => {
  const x = await h.desktop(t, W, H, h.image(W, H, background));
  const layout = await h.layoutProbe(x.env);
  const s = layout.scale;
  const widths = [Math.trunc(5 * s), Math.trunc(10 * s), Math.trunc(14 * s)];
  const w = widths[0];
  const at = (lx, ly) => [REGION.x + lx, REGION.y + ly];
  const annotate = (t, tool) => h.annotate(t, x, layout, REGION, tool);
  const all = [0, 0, REGION.w, REGION.h];
  // The region as shown on screen, with the pointer out of the way.
  const screen = async () => (await h.mousemove(x.env, W - 1, H - 1), h.screenshot(x.env, REGION.x, REGION.y, REGION.w, REGION.h));

  await t.test('each line tool draws its shape in default red at the default width', T, async (t) => {
    // One session: choosing the next tool finishes each shape; the pen's line is drawn last.
    const cases = [
      { tool: 'tool_square', a: [30, 30], b: [200, 150], area: [15, 15, 215, 165] },
      { tool: 'tool_circle', a: [230, 30], b: [400, 150], area: [220, 15, 415, 165] },
      { tool: 'tool_arrow', a: [440, 100], b: [610, 100], area: [430, 80, 625, 125] },
    ];
    const ses = await annotate(t, 'tool_square');
    for (const c of cases) {
      await ses.tool(c.tool);
      await h.drag(x.env, ...at(...c.a), ...at(...c.b), { steps: 10 });
    }
    await ses.tool('tool_paintpen');
    // An L-shaped stroke: right (slightly down), then down, in whole steps of (28, 1) and
    // (2, 19). Each move is awaited on screen, so the line gets exactly these points.
    const local = [...h.linePoints([60, 200], [340, 210], 28), ...h.linePoints([340, 210], [360, 380], 19).slice(1)];
    const pts = local.map((p) => at(...p));
    const drawnAt = async (px, py) => (h.boundingBox(await h.screenshot(x.env, px - 2, py - 2, 5, 5), (rgb) => h.sameRgb(rgb, RED))?.count || 0) >= 5;
    await h.stroke(x.env, pts, { drawnAt });
    const img = await ses.confirm();

    const [rect, ellipse, arrow] = cases;
    for (const c of [rect, ellipse]) {
      const box = inked(img, c.area);
      assertReach(box, [...c.a, ...c.b], w, c.tool);
      assert.ok(inked(img, c.area, RED).count > 300, `${c.tool}: drawn in red`);
      // Round at the corner: a bevelled or square one fills most of the 3 × 3 pixels there.
      assert.ok((inked(img, [box.x, box.y, box.x + 3, box.y + 3])?.count || 0) <= 2, `${c.tool}: a round corner`);
    }
    assert.ok(inked(img, [315, 28, 316, 33]), 'the ellipse touches the middle of its box top');
    assert.equal(inked(img, [250, 26, 252, 34]), null, 'but not its box top an eighth along');
    // Unsmoothed outlines: exactly the pen's width thick.
    assert.equal(thickness(img, 100, 20, 40, RED), w, 'rectangle edge');
    // The arrow: from its start to its tip; a head 2 × width long and wide at the tip, a thin
    // wedge at the start.
    assertReach(inked(img, arrow.area), [440, 100 - w, 610, 100 + w], 0, 'arrow');
    assert.ok(thickness(img, 610 - w, 80, 125) >= w, 'the head is at the end of the drag');
    assert.ok(thickness(img, 440 + w, 80, 125) <= 3, 'the start is thin');
    // The pen's round caps reach half the width beyond both ends.
    assertReach(inked(img, [40, 185, 380, 395]), [60, 200, 360, 380], w, 'pen');

    // The line was still current when confirmed, so its grey dashed guide stays on top inside
    // the red stroke, along its middle.
    const nearCentre = (px, py) => local.some((p, i) => i + 1 < local.length && distToSegment(px + 0.5, py + 0.5, p, local[i + 1]) <= 1.5);
    let length = 0;
    for (let i = 0; i + 1 < local.length; i++) length += Math.hypot(local[i + 1][0] - local[i][0], local[i + 1][1] - local[i][1]);
    const guide = h.boundingBox(img, ([r, g, bl], px, py) => nearCentre(px, py) && r > 150 && g > 40 && Math.abs(g - bl) < 30);
    assert.ok(guide && guide.count > length / 2, `${guide && guide.count} guide pixels along a ${Math.round(length)} px line`);
  });

  await t.test('a style chosen in the popup restyles the current item only, and the items after it', T, async (t) => {
    const ses = await annotate(t, 'tool_square');
    const dragBox = (i) => h.drag(x.env, ...at(60 + 200 * i, 60), ...at(200 + 200 * i, 160));
    // Each box's top edge, a quarter along (clear of its handles): colour and thickness.
    const edge = (img, i, colour) => thickness(img, 95 + 200 * i, 40, 80, colour);
    await dragBox(0);
    // Drawing the second one finishes the first; the second stays current.
    await dragBox(1);
    for (const control of [layout.linePopup.colors.colorblue, layout.linePopup.widths[1]]) await ses.popupClick(control);
    // On screen at once: the first box as it was, the second one blue and wider.
    await h.eventually(async () => {
      const shot = await screen();
      assert.deepEqual([edge(shot, 0, RED), edge(shot, 1, BLUE)], [w, widths[1]]);
    });
    await dragBox(2);
    const img = await ses.confirm();
    assert.deepEqual([0, 1, 2].map((i) => edge(img, i, i ? BLUE : RED)), [w, widths[1], widths[1]]);
    assert.equal(inked(img, all, [255, 255, 255]), null, 'no handles in the copy');
  });

  await t.test('a finished rectangle is picked up by its outline, moved and resized; its inside is not', T, async (t) => {
    const ses = await annotate(t, 'tool_square');
    const empty = at(600, 370);
    // Handles are white discs with a blue ring: the pixels around each handle point are white.
    const expectBox = (box, handles) => h.eventually(async () => {
      const shot = await screen();
      assertReach(inked(shot, all, RED), box, w, 'the rectangle');
      const [x0, y0, x1, y1] = box;
      for (const [lx, ly] of [[x0, y0], [x0, (y0 + y1) / 2], [x0, y1], [(x0 + x1) / 2, y1], [x1, y1], [x1, (y0 + y1) / 2], [x1, y0], [(x0 + x1) / 2, y0]]) {
        const white = inked(shot, [lx - 1, ly - 1, lx + 2, ly + 2], [255, 255, 255])?.count || 0;
        assert.equal(white === 9, handles, `handle at ${lx},${ly}: ${white} of 9 pixels white`);
      }
    });
    await h.drag(x.env, ...at(100, 80), ...at(300, 220));
    await h.clickAt(x.env, ...empty); // a click on empty ground finishes it
    await expectBox([100, 80, 300, 220], false);
    // Press 3 px above the top edge (inside the band of half the scaled line width), a quarter
    // along, away from the edge's middle handle, and drag.
    await h.drag(x.env, ...at(150, 77), ...at(300, 137));
    await expectBox([250, 140, 450, 280], true);
    // Drag the bottom-right handle: the top-left corner stays, the box grows.
    await h.drag(x.env, ...at(450, 280), ...at(530, 330));
    await expectBox([250, 140, 530, 330], true);
    // Finish it, then press in its middle and drag: that draws a new rectangle inside it.
    await h.clickAt(x.env, ...empty);
    await h.drag(x.env, ...at(390, 235), ...at(450, 275));
    const img = await ses.confirm();
    assertReach(inked(img, all, RED), [250, 140, 530, 330], w, 'the moved rectangle');
    assert.equal(thickness(img, 405, 220, 250, RED), w, 'the new rectangle');
    assert.equal(inked(img, [290, 180, 370, 220]), null, 'the first one was not filled or moved');
  });

  await t.test('a double click on the background after drawing confirms', T, async (t) => {
    const ses = await annotate(t, 'tool_square');
    await h.drag(x.env, ...at(100, 80), ...at(300, 220));
    await h.sleep(150);
    const img = await ses.confirm(() => h.doubleClickAt(x.env, ...at(500, 330)));
    assertReach(inked(img, all, RED), [100, 80, 300, 220], w, 'the rectangle');
  });

  await t.test('while annotating, the region shows 1:1 in a one-pixel blue frame with its size read-out above it', T, async (t) => {
    const { child } = await annotate(t, 'tool_circle');
    await h.mousemove(x.env, W - 1, H - 1);
    const [bw, bh] = [layout.sizeDisplay.w, layout.sizeDisplay.h];
    assert.deepEqual([bw, bh], [Math.round(100 * s), Math.round(20 * s)]);
    const [bx, by] = [REGION.x - 1, Math.trunc(REGION.y - 20 * s - 10)];
    const dimmed = (px, py) => h.blend(background(px, py), DIM);
    // The read-out: a dark rounded box (black at alpha 200 over the dimmed desktop) with white
    // text centred in it; the dimmed desktop around it. m: the margin shot around it.
    const m = 4;
    await h.eventually(async () => {
      const shot = await h.screenshot(x.env, bx - m, by - m, bw + 2 * m, bh + 2 * m);
      const near = (px, py, want) => assert.ok(h.sameRgb(h.pixelAt(shot, px, py), want, 2), `${px},${py}: ${h.pixelAt(shot, px, py)}, want ${want}`);
      near(m + 3, m + (bh >> 1), h.blend(dimmed(bx + 3, by + (bh >> 1)), [0, 0, 0, 200]));
      for (const [px, py] of [[m, m], [m - 2, m + (bh >> 1)], [m + bw + 1, m + bh + 1]]) near(px, py, dimmed(bx - m + px, by - m + py));
      const text = h.boundingBox(shot, ([r, g, b]) => Math.min(r, g, b) > 200);
      assert.ok(text && text.count > 20 && Math.abs(text.x + text.w / 2 - (m + bw / 2)) <= 3, `text ${JSON.stringify(text)}`);
    });
    // The frame: one pixel outside the region on every side, the dimmed desktop beyond it.
    const frame = await h.screenshot(x.env, REGION.x - 2, REGION.y - 2, REGION.w + 4, REGION.h + 4);
    const inRegion = (px, py) => px >= 2 && py >= 2 && px < REGION.w + 2 && py < REGION.h + 2;
    const inFrame = (px, py) => px >= 1 && py >= 1 && px <= REGION.w + 2 && py <= REGION.h + 2;
    const cmp = h.comparePixels(frame, (px, py) =>
      inRegion(px, py) ? h.pixelAt(crop, px - 2, py - 2) : inFrame(px, py) ? [0x3a, 0x91, 0xf3] : dimmed(REGION.x - 2 + px, REGION.y - 2 + py));
    assert.equal(cmp.bad, 0, `frame, region and dimmed surroundings: ${h.diffText(cmp)}`);
    await h.key(x.env, 'Escape');
    await child.result();
  });
});

function distToSegment(px, py, [ax, ay], [bx, by]) {
  const [dx, dy] = [bx - ax, by - ay];
  const len2 = dx * dx + dy * dy;
  const u = len2 ? Math.max(0, Math.min(1, ((px - ax) * dx + (py - ay) * dy) / len2)) : 0;
  return Math.hypot(px - (ax + u * dx), py - (ay + u * dy));
}
