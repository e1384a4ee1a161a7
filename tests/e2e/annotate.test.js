'use strict';
// Annotating a selected region with real input: the line tools, their style popup, selecting,
// moving and resizing, undo, double clicks and the size read-out. Expected pictures are drawn
// independently by build/annotref over the known background.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('./harness');

const W = 1920;
const H = 1080;
const T = { timeout: 60000 };
const RED = [255, 0, 0];
const BLUE = [0, 0xb4, 0xff];
const DIM = [53, 53, 53, 133];
const POINTER = { x: W - 1, y: H - 1 };
// Even sizes, so the annotation scene's origin (the region's centre) falls on a whole pixel.
const REGION = { x: 560, y: 200, w: 640, h: 400 };

// A smooth, low-contrast background in muted greens: nothing in it is close to pure red or blue.
function background(x, y) {
  return [70 + ((x >> 2) % 60), 120 + ((y >> 2) % 50), 90 + (((x + y) >> 3) % 40)];
}

function backgroundImage(width, height, fn = background, ox = 0, oy = 0) {
  const data = Buffer.alloc(width * height * 4);
  for (let y = 0; y < height; y++) {
    for (let x = 0; x < width; x++) {
      const o = (y * width + x) * 4;
      const [r, g, b] = fn(x + ox, y + oy);
      data[o] = r;
      data[o + 1] = g;
      data[o + 2] = b;
      data[o + 3] = 255;
    }
  }
  return { width, height, data };
}

const hex = (c) => '#' + c.map((v) => v.toString(16).padStart(2, '0')).join('');

test('annotating with the line tools', async (t) => {
  const x = await h.startXvfb({ width: W, height: H });
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-annotate-'));
  t.after(async () => {
    await x.stop();
    fs.rmSync(dir, { recursive: true, force: true });
  });
  const picture = path.join(dir, 'background.png');
  const full = backgroundImage(W, H);
  fs.writeFileSync(picture, h.writePng(W, H, full.data));
  await h.setRootPattern(x.env, picture);

  const layout = await h.probeLayout(x.env);
  const s = layout.scale;
  const widths = [Math.trunc(5 * s), Math.trunc(10 * s), Math.trunc(14 * s)];
  const place = h.toolPlacement(layout, REGION, W, H);
  const crop = h.cropImage(full, REGION.x, REGION.y, REGION.w, REGION.h);
  // Scene coordinates: the region's centre is the origin.
  const origin = [REGION.w / 2, REGION.h / 2];
  const toScene = ([px, py]) => [px - REGION.x - origin[0], py - REGION.y - origin[1]];
  const screenBox = (a, b) => {
    const [ax, ay] = toScene(a);
    const [bx, by] = toScene(b);
    return [Math.min(ax, bx), Math.min(ay, by), Math.abs(bx - ax), Math.abs(by - ay)];
  };
  const button = (name) => h.toolButton(layout, place.toolbar, name);
  const popupControl = (pos) => ({ x: place.popup.x + pos[0], y: place.popup.y + pos[1] });

  // Starts a capture, selects REGION, and chooses `tool` on the toolbar.
  async function annotate(tool) {
    await h.mousemove(x.env, POINTER.x, POINTER.y);
    const child = h.spawnCapture(x.env);
    try {
      await h.waitForOverlay(x.env, { child });
      await h.sleep(200);
      await h.drag(x.env, REGION.x, REGION.y, REGION.x + REGION.w, REGION.y + REGION.h);
      await h.sleep(150);
      const first = h.toolButton(layout, place.selecting, tool);
      await h.clickAt(x.env, first.x, first.y);
      await h.sleep(150);
    } catch (e) {
      await child.kill();
      throw e;
    }
    return child;
  }

  async function chooseTool(tool) {
    const b = button(tool);
    await h.clickAt(x.env, b.x, b.y);
    await h.sleep(100);
  }

  // Confirms with the toolbar's button and returns the clipboard image.
  async function confirm(child) {
    await chooseTool('tool_confirm');
    const r = await child.waitFor((l) => l.op === 'captured', { what: 'the capture to end' });
    assert.deepEqual(r.calls, [{ args: ['image'], thisIsNull: true }]);
    const img = h.readPng(await h.readClipboard(x.env, 'image/png'));
    assert.equal(img.width, REGION.w);
    assert.equal(img.height, REGION.h);
    return img;
  }

  function assertLike(got, want, { aaTolerance = 0, skip, colours = [RED] } = {}) {
    const cmp = h.compareWithReference(got, want, crop, { colours, aaTolerance, skip });
    assert.equal(cmp.bad, 0, `${cmp.bad} of ${cmp.checked} pixels differ (${cmp.blended} blended), first: ${JSON.stringify(cmp.first)}`);
    return cmp;
  }

  // `got` must be the region with `items` drawn by the reference renderer.
  async function expectPicture(got, items, opts) {
    return assertLike(got, await h.renderReference(x.env, crop, origin, items), opts);
  }

  // The region as shown on screen must become the picture of `items` (the view shows it
  // 1:1); `also(shot)` makes further checks on the same screenshot.
  async function expectScreen(items, opts, also = () => {}) {
    const want = await h.renderReference(x.env, crop, origin, items);
    await h.mousemove(x.env, POINTER.x, POINTER.y);
    await h.eventually(async () => {
      const shot = await h.screenshotRect(x.env, REGION.x, REGION.y, REGION.w, REGION.h);
      assertLike(shot, want, opts);
      also(shot);
    });
  }

  await t.test('each line tool draws its shape in default red at the default width', T, async (tt) => {
    const a = [REGION.x + 120, REGION.y + 90];
    const b = [REGION.x + 420, REGION.y + 290];
    const cases = [
      { tool: 'tool_square', item: () => ({ type: 'rect', box: screenBox(a, b) }) },
      { tool: 'tool_circle', item: () => ({ type: 'ellipse', box: screenBox(a, b) }) },
      { tool: 'tool_arrow', item: () => ({ type: 'arrow', from: toScene(a), to: toScene(b) }), aa: true },
    ];
    for (const c of cases) {
      await tt.test(c.tool, async () => {
        const child = await annotate(c.tool);
        try {
          await h.drag(x.env, a[0], a[1], b[0], b[1], { steps: 10 });
          await h.sleep(100);
          const img = await confirm(child);
          const cmp = await expectPicture(img, [{ ...c.item(), width: widths[0], color: hex(RED) }], { aaTolerance: c.aa ? 8 : 0 });
          assert.ok(cmp.exact > cmp.checked * 0.9, `only ${cmp.exact} of ${cmp.checked} pixels compared exactly`);
        } finally {
          await child.kill();
        }
      });
    }
    await tt.test('tool_paintpen', async () => {
      const child = await annotate('tool_paintpen');
      // An L-shaped stroke: right (slightly down), then down, in whole steps of (28, 1) and
      // (2, 19). Each move is awaited on screen, so the line gets exactly these points.
      const corner = [REGION.x + 400, REGION.y + 100];
      const pts = [...h.linePoints(a, corner, 28), ...h.linePoints(corner, b, 19).slice(1)];
      const redAround = async (px, py) => {
        const shot = await h.screenshotRect(x.env, px - 2, py - 2, 5, 5);
        return (h.boundingBox(shot, (rgb) => sameRgb(rgb, RED)) || { count: 0 }).count >= 5;
      };
      try {
        await h.strokeSynced(x.env, pts, redAround);
        const img = await confirm(child);
        // The line was still current when confirmed, so its grey dashed guide stays on top
        // along the middle: the pixels within 1.5 px of the centre line are checked apart.
        const scenePts = pts.map(toScene);
        const local = pts.map(([px, py]) => [px - REGION.x, py - REGION.y]);
        const nearCentre = (px, py) => local.some((p, i) => i + 1 < local.length && distToSegment(px + 0.5, py + 0.5, p, local[i + 1]) <= 1.5);
        await expectPicture(img, [{ type: 'pen', points: scenePts, width: widths[0], color: hex(RED) }], { aaTolerance: 8, skip: nearCentre });
        // Inside the red stroke, the guide shows as dashes that are not pure red.
        let length = 0;
        for (let i = 0; i + 1 < local.length; i++) length += Math.hypot(local[i + 1][0] - local[i][0], local[i + 1][1] - local[i][1]);
        let guide = 0;
        for (let py = 0; py < img.height; py++) {
          for (let px = 0; px < img.width; px++) {
            if (!nearCentre(px, py)) continue;
            const [r, g, bl] = h.pixelAt(img, px, py);
            if (r > 150 && g > 40 && Math.abs(g - bl) < 30) guide++;
          }
        }
        assert.ok(guide > length / 2, `${guide} guide pixels along a ${Math.round(length)} px line`);
      } finally {
        await child.kill();
      }
    });
  });

  await t.test('a style chosen in the popup restyles the current item only, and the items after it', T, async () => {
    const child = await annotate('tool_square');
    const boxes = [
      [[REGION.x + 60, REGION.y + 60], [REGION.x + 200, REGION.y + 160]],
      [[REGION.x + 260, REGION.y + 60], [REGION.x + 400, REGION.y + 160]],
      [[REGION.x + 460, REGION.y + 60], [REGION.x + 600, REGION.y + 160]],
    ];
    try {
      await h.drag(x.env, ...boxes[0][0], ...boxes[0][1]);
      // Drawing the second one finishes the first; the second stays current.
      await h.drag(x.env, ...boxes[1][0], ...boxes[1][1]);
      const blue = popupControl(layout.linePopup.colors.colorblue);
      await h.clickAt(x.env, blue.x, blue.y);
      const wide = popupControl(layout.linePopup.widths[1]);
      await h.clickAt(x.env, wide.x, wide.y);
      // On screen at once: the first box as it was, the second one blue and wider.
      const handles = handlePoints(screenBox(...boxes[1])).map(([px, py]) => [px + origin[0], py + origin[1]]);
      await expectScreen([
        { type: 'rect', box: screenBox(...boxes[0]), width: widths[0], color: hex(RED) },
        { type: 'rect', box: screenBox(...boxes[1]), width: widths[1], color: hex(BLUE) },
      ], { colours: [RED, BLUE], skip: (px, py) => handles.some(([hx, hy]) => Math.abs(px - hx) <= 8 && Math.abs(py - hy) <= 8) });
      await h.drag(x.env, ...boxes[2][0], ...boxes[2][1]);
      const img = await confirm(child);
      await expectPicture(img, [
        { type: 'rect', box: screenBox(...boxes[0]), width: widths[0], color: hex(RED) },
        { type: 'rect', box: screenBox(...boxes[1]), width: widths[1], color: hex(BLUE) },
        { type: 'rect', box: screenBox(...boxes[2]), width: widths[1], color: hex(BLUE) },
      ], { colours: [RED, BLUE] });
    } finally {
      await child.kill();
    }
  });

  await t.test('a finished rectangle is picked up by its outline, moved and resized; its inside is not', T, async () => {
    const child = await annotate('tool_square');
    const a = [REGION.x + 100, REGION.y + 80];
    const b = [REGION.x + 300, REGION.y + 220];
    const empty = [REGION.x + 600, REGION.y + 370];
    const rectItem = (box) => ({ type: 'rect', box, width: widths[0], color: hex(RED) });
    const nearHandles = (box) => {
      const pts = handlePoints(box).map(([px, py]) => [px + origin[0], py + origin[1]]);
      return (px, py) => pts.some(([hx, hy]) => Math.abs(px - hx) <= 8 && Math.abs(py - hy) <= 8);
    };
    // Handles are white discs with a blue ring: the pixels around each handle point are white.
    const assertHandles = (shot, box, shown) => {
      for (const [px, py] of handlePoints(box)) {
        const lx = px + origin[0];
        const ly = py + origin[1];
        let white = 0;
        for (let dy = -1; dy <= 1; dy++) for (let dx = -1; dx <= 1; dx++) if (h.pixelAt(shot, lx + dx, ly + dy).every((v) => v === 255)) white++;
        assert.equal(white === 9, shown, `handle at ${lx},${ly}: ${white} of 9 pixels white`);
      }
    };
    try {
      await h.drag(x.env, a[0], a[1], b[0], b[1]);
      let box = screenBox(a, b);
      await h.clickAt(x.env, empty[0], empty[1]); // a click on empty ground finishes it
      await expectScreen([rectItem(box)], {}, (shot) => assertHandles(shot, box, false));

      // Press 3 px above the top edge (inside the band of half the scaled line width), a
      // quarter along, away from the edge's middle handle, and drag.
      const grab = [a[0] + 50, a[1] - 3];
      const move = [150, 60];
      await h.drag(x.env, grab[0], grab[1], grab[0] + move[0], grab[1] + move[1]);
      box = [box[0] + move[0], box[1] + move[1], box[2], box[3]];
      await expectScreen([rectItem(box)], { skip: nearHandles(box) }, (shot) => assertHandles(shot, box, true));

      // Drag the bottom-right handle: the top-left corner stays, the box grows.
      const corner = [box[0] + box[2] + REGION.x + origin[0], box[1] + box[3] + REGION.y + origin[1]];
      const grow = [80, 50];
      await h.drag(x.env, corner[0], corner[1], corner[0] + grow[0], corner[1] + grow[1]);
      box = [box[0], box[1], box[2] + grow[0], box[3] + grow[1]];
      await expectScreen([rectItem(box)], { skip: nearHandles(box) }, (shot) => assertHandles(shot, box, true));

      // Finish it, then press in its middle and drag: that draws a new rectangle.
      await h.clickAt(x.env, empty[0], empty[1]);
      const inside = [box[0] + box[2] / 2 + REGION.x + origin[0], box[1] + box[3] / 2 + REGION.y + origin[1]];
      const end = [inside[0] + 60, inside[1] + 40];
      await h.drag(x.env, inside[0], inside[1], end[0], end[1]);
      const img = await confirm(child);
      await expectPicture(img, [rectItem(box), rectItem(screenBox(inside, end))]);
    } finally {
      await child.kill();
    }
  });

  await t.test('undo removes the newest item per click; its button shows checked exactly when none is left', T, async () => {
    const child = await annotate('tool_square');
    const boxes = [
      [[REGION.x + 60, REGION.y + 60], [REGION.x + 200, REGION.y + 160]],
      [[REGION.x + 260, REGION.y + 120], [REGION.x + 400, REGION.y + 220]],
      [[REGION.x + 460, REGION.y + 180], [REGION.x + 600, REGION.y + 280]],
    ];
    const items = boxes.map(([p, q]) => ({ type: 'rect', box: screenBox(p, q), width: widths[0], color: hex(RED) }));
    const undo = button('tool_back');
    const side = Math.trunc(16 * s);
    // The checked picture has a light-blue (#DCEBFD) background; the unchecked one none.
    const assertUndoLook = async (checked) => {
      const shot = await h.screenshotRect(x.env, undo.x - (side >> 1), undo.y - (side >> 1), side, side);
      const light = h.boundingBox(shot, (rgb) => near(rgb, [0xdc, 0xeb, 0xfd], 8));
      assert.equal(Boolean(light && light.count > (side * side) / 3), checked, `undo button ${checked ? '' : 'not '}checked: ${JSON.stringify(light)}`);
    };
    // On screen: exactly the first n items (the newest may show its handles), and the undo
    // button checked exactly when n is 0.
    const expectItems = async (n) => {
      const last = n > 0 ? handlePoints(items[n - 1].box).map(([px, py]) => [px + origin[0], py + origin[1]]) : [];
      const skip = (px, py) => last.some(([hx, hy]) => Math.abs(px - hx) <= 8 && Math.abs(py - hy) <= 8);
      await expectScreen(items.slice(0, n), { skip });
      await h.eventually(() => assertUndoLook(n === 0));
    };
    try {
      await expectItems(0);
      for (let n = 1; n <= boxes.length; n++) {
        await h.drag(x.env, ...boxes[n - 1][0], ...boxes[n - 1][1]);
        await expectItems(n);
      }
      for (let n = boxes.length - 1; n >= 0; n--) {
        await h.clickAt(x.env, undo.x, undo.y);
        await expectItems(n);
      }
      // Once more with nothing left: nothing changes.
      await h.clickAt(x.env, undo.x, undo.y);
      await expectItems(0);
      const img = await confirm(child);
      await expectPicture(img, []);
    } finally {
      await child.kill();
    }
  });

  await t.test('double clicks: on the background after drawing it confirms; ending a drag it does not', T, async (tt) => {
    const a = [REGION.x + 100, REGION.y + 80];
    const b = [REGION.x + 300, REGION.y + 220];
    await tt.test('background', async () => {
      const child = await annotate('tool_square');
      try {
        await h.drag(x.env, a[0], a[1], b[0], b[1]);
        await h.sleep(150);
        await h.doubleClickAt(x.env, REGION.x + 500, REGION.y + 330);
        const r = await child.waitFor((l) => l.op === 'captured', { what: 'the double click to confirm' });
        assert.deepEqual(r.calls, [{ args: ['image'], thisIsNull: true }]);
        const img = h.readPng(await h.readClipboard(x.env, 'image/png'));
        await expectPicture(img, [{ type: 'rect', box: screenBox(a, b), width: widths[0], color: hex(RED) }]);
      } finally {
        await child.kill();
      }
    });
    for (const tool of ['tool_square', 'tool_mosaic']) {
      await tt.test(`ending a short drag with ${tool}`, async () => {
        const child = await annotate(tool);
        const p = [REGION.x + 320, REGION.y + 200];
        try {
          // Press, two small moves (under Qt's 5 px double-click distance), release, and a
          // second click on the spot at once: Qt reports that second press as a double click.
          await h.mousemove(x.env, p[0], p[1]);
          await h.xdotool(x.env, ['mousedown', 1, 'sleep', 0.03, 'mousemove', p[0] + 2, p[1] + 1, 'sleep', 0.03, 'mousemove', p[0] + 3, p[1] + 2,
            'sleep', 0.03, 'mouseup', 1, 'sleep', 0.06, 'click', 1]);
          // Something visible that the overlay can only do after handling the double click:
          // the text tool's popup (wider than the others) replaces the current one.
          await chooseTool('tool_text');
          const textPopup = h.toolPlacement(layout, REGION, W, H, 'fontPopup').popup;
          await h.mousemove(x.env, POINTER.x, POINTER.y);
          await h.waitForWhite(x.env, textPopup.x + layout.fontPopup.size.w - 6, textPopup.y + layout.fontPopup.size.h / 2, true);
          assert.equal(child.events('captured').length, 0, 'the capture must go on');
          assert.equal((await h.visibleOverlays(x.env)).length, 1);
          // The drag did draw something, and the capture still confirms normally.
          const img = await confirm(child);
          const changed = h.boundingBox(img, (px, x0, y0) => !sameRgb(px, h.pixelAt(crop, x0, y0)));
          assert.ok(changed, 'the short drag left a mark');
          assert.ok(Math.abs(changed.x + changed.w / 2 - (p[0] - REGION.x)) < 40, JSON.stringify(changed));
        } finally {
          await child.kill();
        }
      });
    }
  });

  await t.test('while annotating, the region shows 1:1 in a one-pixel blue frame with its size read-out above it', T, async () => {
    const child = await annotate('tool_circle');
    try {
      await h.mousemove(x.env, POINTER.x, POINTER.y);
      const bw = layout.sizeDisplay.w;
      const bh = layout.sizeDisplay.h;
      assert.deepEqual([bw, bh], [Math.round(100 * s), Math.round(20 * s)]);
      const bx = REGION.x - 1;
      const by = Math.trunc(REGION.y - 20 * s - 10);
      // A margin of 4 px around the badge: the dimmed desktop must show there.
      const m = 4;
      const dimmed = backgroundImage(bw + 2 * m, bh + 2 * m, (px, py) => h.blend(background(px, py), DIM), bx - m, by - m);
      const want = await h.renderReference(x.env, dimmed, [0, 0], [{ type: 'badge', box: [m, m, bw, bh], text: `${REGION.w} x ${REGION.h}` }]);
      await h.eventually(async () => {
        const shot = await h.screenshotRect(x.env, bx - m, by - m, bw + 2 * m, bh + 2 * m);
        const cmp = h.comparePixels(shot, (px, py) => h.pixelAt(want, px, py), { tolerance: 2 });
        assert.equal(cmp.bad, 0, `${cmp.bad} of ${cmp.checked} pixels differ, first: ${JSON.stringify(cmp.first)}`);
        // And independently of the reference: dark inside, white text in the middle.
        const inner = h.boundingBox(shot, ([r, g, bl], px, py) => px >= m && py >= m && px < m + bw && py < m + bh && r < 60 && g < 60 && bl < 60);
        assert.ok(inner && inner.count > bw * bh * 0.6, JSON.stringify(inner));
        const text = h.boundingBox(shot, ([r, g, bl]) => r > 200 && g > 200 && bl > 200);
        assert.ok(text && text.w > 30 && text.h > 5 && text.y > m && text.y + text.h < m + bh, JSON.stringify(text));
      });
      // The frame: one pixel outside the region on every side.
      const frame = await h.screenshotRect(x.env, REGION.x - 2, REGION.y - 2, REGION.w + 4, REGION.h + 4);
      const onFrame = (px, py) => (px === 1 || py === 1 || px === REGION.w + 2 || py === REGION.h + 2) && px >= 1 && py >= 1 && px <= REGION.w + 2 && py <= REGION.h + 2;
      const cmp = h.comparePixels(frame, (px, py) => (onFrame(px, py) ? [0x3a, 0x91, 0xf3] : px >= 2 && py >= 2 && px < REGION.w + 2 && py < REGION.h + 2 ? h.pixelAt(crop, px - 2, py - 2) : h.blend(background(REGION.x - 2 + px, REGION.y - 2 + py), DIM)), { tolerance: 2 });
      assert.equal(cmp.bad, 0, `frame, region and dimmed surroundings: ${cmp.bad} pixels differ, first: ${JSON.stringify(cmp.first)}`);
      await h.key(x.env, 'Escape');
      await child.waitFor((l) => l.op === 'captured');
    } finally {
      await child.kill();
    }
  });
});

// The eight handle points of a box, in scene coordinates.
function handlePoints([bx, by, bw, bh]) {
  return [
    [bx, by], [bx, by + bh / 2], [bx, by + bh], [bx + bw / 2, by + bh],
    [bx + bw, by + bh], [bx + bw, by + bh - bh / 2], [bx + bw, by], [bx + bw / 2, by],
  ];
}

function near(a, b, tol) {
  return Math.abs(a[0] - b[0]) <= tol && Math.abs(a[1] - b[1]) <= tol && Math.abs(a[2] - b[2]) <= tol;
}

function sameRgb(a, b) {
  return a[0] === b[0] && a[1] === b[1] && a[2] === b[2];
}

function distToSegment(px, py, [ax, ay], [bx, by]) {
  const dx = bx - ax;
  const dy = by - ay;
  const len2 = dx * dx + dy * dy;
  let u = len2 ? ((px - ax) * dx + (py - ay) * dy) / len2 : 0;
  u = Math.max(0, Math.min(1, u));
  return Math.hypot(px - (ax + u * dx), py - (ay + u * dy));
}
