'use strict';
// Annotating a selected region with real input: the line tools, their style popup, selecting,
// moving and resizing, double clicks and the size read-out. Expected pictures are drawn
// independently by build/annotref over the known background.
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
const hex = (c) => '#' + c.map((v) => v.toString(16).padStart(2, '0')).join('');

// A smooth, low-contrast background in muted greens: nothing in it is close to pure red or blue.
const background = (x, y) => [70 + ((x >> 2) % 60), 120 + ((y >> 2) % 50), 90 + (((x + y) >> 3) % 40)];

test('annotating with the line tools', async (t) => {
  const full = h.image(W, H, background);
  const x = await h.desktop(t, W, H, full);
  const layout = await h.layoutProbe(x.env);
  const s = layout.scale;
  const widths = [Math.trunc(5 * s), Math.trunc(10 * s), Math.trunc(14 * s)];
  const crop = h.cropImage(full, REGION.x, REGION.y, REGION.w, REGION.h);
  // Scene coordinates: the region's centre is the origin.
  const origin = [REGION.w / 2, REGION.h / 2];
  const toScene = ([px, py]) => [px - REGION.x - origin[0], py - REGION.y - origin[1]];
  const at = (lx, ly) => [REGION.x + lx, REGION.y + ly];
  const screenBox = (a, b) => {
    const [[ax, ay], [bx, by]] = [toScene(a), toScene(b)];
    return [Math.min(ax, bx), Math.min(ay, by), Math.abs(bx - ax), Math.abs(by - ay)];
  };
  const rectItem = (box, width = widths[0], colour = RED) => ({ type: 'rect', box, width, color: hex(colour) });
  // The eight handle points of a scene box, in region pixels.
  const handlePoints = ([bx, by, bw, bh]) =>
    [[bx, by], [bx, by + bh / 2], [bx, by + bh], [bx + bw / 2, by + bh], [bx + bw, by + bh], [bx + bw, by + bh - bh / 2], [bx + bw, by], [bx + bw / 2, by]]
      .map(([px, py]) => [px + origin[0], py + origin[1]]);
  const nearHandles = (box) => (px, py) => !!box && handlePoints(box).some(([hx, hy]) => Math.abs(px - hx) <= 8 && Math.abs(py - hy) <= 8);
  const annotate = (t, tool) => h.annotate(t, x, layout, REGION, tool);

  function assertLike(got, want, { aaTolerance = 0, skip, colours = [RED] } = {}) {
    const cmp = h.compareWithReference(got, want, crop, { colours, aaTolerance, skip });
    assert.equal(cmp.bad, 0, `${h.diffText(cmp)} (${cmp.blended} blended)`);
    return cmp;
  }

  // `got` must be the region with `items` drawn by the reference renderer.
  const expectPicture = async (got, items, opts) => assertLike(got, await h.renderReference(x.env, crop, origin, items), opts);

  // The region as shown on screen (1:1) must become the picture of `items`; `also(shot)` makes
  // further checks on the same screenshot.
  async function expectScreen(items, opts, also = () => {}) {
    const want = await h.renderReference(x.env, crop, origin, items);
    await h.mousemove(x.env, W - 1, H - 1);
    await h.eventually(async () => {
      const shot = await h.screenshot(x.env, REGION.x, REGION.y, REGION.w, REGION.h);
      assertLike(shot, want, opts);
      also(shot);
    });
  }

  await t.test('each line tool draws its shape in default red at the default width', T, async (t) => {
    // One session: choosing the next tool finishes each shape; the pen's line is drawn last.
    const cases = [
      { tool: 'tool_square', a: at(30, 30), b: at(200, 150), item: (a, b) => ({ type: 'rect', box: screenBox(a, b) }) },
      { tool: 'tool_circle', a: at(230, 30), b: at(400, 150), item: (a, b) => ({ type: 'ellipse', box: screenBox(a, b) }) },
      { tool: 'tool_arrow', a: at(440, 40), b: at(610, 160), item: (a, b) => ({ type: 'arrow', from: toScene(a), to: toScene(b) }) },
    ];
    const ses = await annotate(t, 'tool_square');
    for (const c of cases) {
      await ses.tool(c.tool);
      await h.drag(x.env, ...c.a, ...c.b, { steps: 10 });
    }
    await ses.tool('tool_paintpen');
    // An L-shaped stroke: right (slightly down), then down, in whole steps of (28, 1) and
    // (2, 19). Each move is awaited on screen, so the line gets exactly these points.
    const [p0, corner, p1] = [at(60, 200), at(340, 210), at(360, 380)];
    const pts = [...h.linePoints(p0, corner, 28), ...h.linePoints(corner, p1, 19).slice(1)];
    const drawnAt = async (px, py) => (h.boundingBox(await h.screenshot(x.env, px - 2, py - 2, 5, 5), (rgb) => h.sameRgb(rgb, RED))?.count || 0) >= 5;
    await h.stroke(x.env, pts, { drawnAt });
    const img = await ses.confirm();
    // The line was still current when confirmed, so its grey dashed guide stays on top
    // along the middle: the pixels within 1.5 px of the centre line are checked apart.
    const local = pts.map(([px, py]) => [px - REGION.x, py - REGION.y]);
    const nearCentre = (px, py) => local.some((p, i) => i + 1 < local.length && distToSegment(px + 0.5, py + 0.5, p, local[i + 1]) <= 1.5);
    const items = [...cases.map((c) => c.item(c.a, c.b)), { type: 'pen', points: pts.map(toScene) }];
    const cmp = await expectPicture(img, items.map((it) => ({ ...it, width: widths[0], color: hex(RED) })), { aaTolerance: 8, skip: nearCentre });
    assert.ok(cmp.exact > cmp.checked * 0.9, `only ${cmp.exact} of ${cmp.checked} pixels compared exactly`);
    // Inside the red stroke, the guide shows as dashes that are not pure red.
    let length = 0;
    for (let i = 0; i + 1 < local.length; i++) length += Math.hypot(local[i + 1][0] - local[i][0], local[i + 1][1] - local[i][1]);
    const guide = h.boundingBox(img, ([r, g, bl], px, py) => nearCentre(px, py) && r > 150 && g > 40 && Math.abs(g - bl) < 30);
    assert.ok(guide && guide.count > length / 2, `${guide && guide.count} guide pixels along a ${Math.round(length)} px line`);
  });

  await t.test('a style chosen in the popup restyles the current item only, and the items after it', T, async (t) => {
    const ses = await annotate(t, 'tool_square');
    const boxes = [0, 1, 2].map((i) => screenBox(at(60 + 200 * i, 60), at(200 + 200 * i, 160)));
    const dragBox = (i) => h.drag(x.env, ...at(60 + 200 * i, 60), ...at(200 + 200 * i, 160));
    await dragBox(0);
    // Drawing the second one finishes the first; the second stays current.
    await dragBox(1);
    for (const control of [layout.linePopup.colors.colorblue, layout.linePopup.widths[1]]) await ses.popupClick(control);
    // On screen at once: the first box as it was, the second one blue and wider.
    const restyled = [rectItem(boxes[0]), rectItem(boxes[1], widths[1], BLUE)];
    await expectScreen(restyled, { colours: [RED, BLUE], skip: nearHandles(boxes[1]) });
    await dragBox(2);
    await expectPicture(await ses.confirm(), [...restyled, rectItem(boxes[2], widths[1], BLUE)], { colours: [RED, BLUE] });
  });

  await t.test('a finished rectangle is picked up by its outline, moved and resized; its inside is not', T, async (t) => {
    const ses = await annotate(t, 'tool_square');
    const a = at(100, 80);
    const b = at(300, 220);
    const empty = at(600, 370);
    // Handles are white discs with a blue ring: the pixels around each handle point are white.
    const handles = (box, shown) => (shot) => {
      for (const [lx, ly] of handlePoints(box)) {
        const white = [-1, 0, 1].flatMap((dy) => [-1, 0, 1].map((dx) => h.sameRgb(h.pixelAt(shot, lx + dx, ly + dy), [255, 255, 255]))).filter(Boolean).length;
        assert.equal(white === 9, shown, `handle at ${lx},${ly}: ${white} of 9 pixels white`);
      }
    };
    await h.drag(x.env, ...a, ...b);
    let box = screenBox(a, b);
    await h.clickAt(x.env, ...empty); // a click on empty ground finishes it
    await expectScreen([rectItem(box)], {}, handles(box, false));

    // Press 3 px above the top edge (inside the band of half the scaled line width), a quarter
    // along, away from the edge's middle handle, and drag.
    const grab = [a[0] + 50, a[1] - 3];
    await h.drag(x.env, ...grab, grab[0] + 150, grab[1] + 60);
    box = [box[0] + 150, box[1] + 60, box[2], box[3]];
    await expectScreen([rectItem(box)], { skip: nearHandles(box) }, handles(box, true));

    // Drag the bottom-right handle: the top-left corner stays, the box grows.
    const corner = at(box[0] + box[2] + origin[0], box[1] + box[3] + origin[1]);
    await h.drag(x.env, ...corner, corner[0] + 80, corner[1] + 50);
    box = [box[0], box[1], box[2] + 80, box[3] + 50];
    await expectScreen([rectItem(box)], { skip: nearHandles(box) }, handles(box, true));

    // Finish it, then press in its middle and drag: that draws a new rectangle.
    await h.clickAt(x.env, ...empty);
    const inside = at(box[0] + box[2] / 2 + origin[0], box[1] + box[3] / 2 + origin[1]);
    const end = [inside[0] + 60, inside[1] + 40];
    await h.drag(x.env, ...inside, ...end);
    await expectPicture(await ses.confirm(), [rectItem(box), rectItem(screenBox(inside, end))]);
  });

  await t.test('double clicks: on the background after drawing it confirms; ending a drag it does not', T, async (t) => {
    await t.test('background', async (t) => {
      const ses = await annotate(t, 'tool_square');
      await h.drag(x.env, ...at(100, 80), ...at(300, 220));
      await h.sleep(150);
      const img = await ses.confirm(() => h.doubleClickAt(x.env, ...at(500, 330)));
      await expectPicture(img, [rectItem(screenBox(at(100, 80), at(300, 220)))]);
    });
    for (const tool of ['tool_square', 'tool_mosaic']) {
      await t.test(`ending a short drag with ${tool}`, async (t) => {
        const ses = await annotate(t, tool);
        const p = at(320, 200);
        // Press, two small moves (under Qt's 5 px double-click distance), release, and a second
        // click on the spot at once: Qt reports that second press as a double click.
        await h.mousemove(x.env, ...p);
        await h.xdotool(x.env, ['mousedown', 1, 'sleep', 0.03, 'mousemove', p[0] + 2, p[1] + 1, 'sleep', 0.03, 'mousemove', p[0] + 3, p[1] + 2,
          'sleep', 0.03, 'mouseup', 1, 'sleep', 0.06, 'click', 1]);
        // Something visible that the overlay can only do after handling the double click: the
        // text tool's popup (wider than the others) replaces the current one.
        await ses.tool('tool_text');
        const textPopup = h.toolPlacement(layout, REGION, W, H, 'fontPopup').popup;
        await h.mousemove(x.env, W - 1, H - 1);
        await h.waitForWhite(x.env, textPopup.x + layout.fontPopup.size.w - 6, textPopup.y + layout.fontPopup.size.h / 2, true);
        await h.assertOngoing(x.env, ses.child, 'the capture must go on');
        // The drag did draw something, and the capture still confirms normally.
        const img = await ses.confirm();
        const changed = h.boundingBox(img, (px, x0, y0) => !h.sameRgb(px, h.pixelAt(crop, x0, y0)));
        assert.ok(changed, 'the short drag left a mark');
        assert.ok(Math.abs(changed.x + changed.w / 2 - (p[0] - REGION.x)) < 40, JSON.stringify(changed));
      });
    }
  });

  await t.test('while annotating, the region shows 1:1 in a one-pixel blue frame with its size read-out above it', T, async (t) => {
    const { child } = await annotate(t, 'tool_circle');
    await h.mousemove(x.env, W - 1, H - 1);
    const [bw, bh] = [layout.sizeDisplay.w, layout.sizeDisplay.h];
    assert.deepEqual([bw, bh], [Math.round(100 * s), Math.round(20 * s)]);
    const bx = REGION.x - 1;
    const by = Math.trunc(REGION.y - 20 * s - 10);
    const dimmed = (px, py) => h.blend(background(px, py), DIM);
    // A margin of 4 px around the badge: the dimmed desktop must show there.
    const m = 4;
    const under = h.image(bw + 2 * m, bh + 2 * m, (px, py) => dimmed(px + bx - m, py + by - m));
    const want = await h.renderReference(x.env, under, [0, 0], [{ type: 'badge', box: [m, m, bw, bh], text: `${REGION.w} x ${REGION.h}` }]);
    await h.eventually(async () => {
      const shot = await h.screenshot(x.env, bx - m, by - m, bw + 2 * m, bh + 2 * m);
      const cmp = h.comparePixels(shot, (px, py) => h.pixelAt(want, px, py));
      assert.equal(cmp.bad, 0, h.diffText(cmp));
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
