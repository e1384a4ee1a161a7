'use strict';
// Region selection with real X input: drag, resize by the handles, move, confirm (Enter, double
// click, toolbar), save through the file dialog; where the toolbar and the magnifier appear.
// Expected images and positions come from the position-coded root pattern and the rules below.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('./harness');

const W = 1920;
const H = 1080;
const T = { timeout: 300000 };

// Rectangles are { x, y, w, h } in screen pixels and cover [x, x + w) × [y, y + h).

const span = (x0, y0, x1, y1) => ({ x: Math.min(x0, x1), y: Math.min(y0, y1), w: Math.abs(x1 - x0), h: Math.abs(y1 - y0) });
const right = (r) => r.x + r.w;
const bottom = (r) => r.y + r.h;
const centre = (r) => ({ x: r.x + Math.floor(r.w / 2), y: r.y + Math.floor(r.h / 2) });
const show = (r) => `${r.w}x${r.h}+${r.x}+${r.y}`;

// The selection scene is two pixels wider and taller than the screen and the view shows it
// from its top-left corner, so moves are confined to [0, W + 2 − w] × [0, H + 2 − h]: a region
// pushed against the right or bottom edge hangs two pixels off the screen.
const SCENE = { x: 0, y: 0, w: W + 2, h: H + 2 };

// The clipboard holds the part of the region that lies on the screen.
function onScreen(r) {
  const x0 = Math.max(r.x, 0);
  const y0 = Math.max(r.y, 0);
  return { x: x0, y: y0, w: Math.min(right(r), W) - x0, h: Math.min(bottom(r), H) - y0 };
}

// Moving keeps the size; the new position is clamped low first, then high.
function moved(r, dx, dy) {
  const clamp = (v, lo, hi) => Math.min(Math.max(v, lo), hi);
  return { x: clamp(r.x + dx, SCENE.x, right(SCENE) - r.w), y: clamp(r.y + dy, SCENE.y, bottom(SCENE) - r.h), w: r.w, h: r.h };
}

// The eight handles, by the edges each drags (−1 left/top, +1 right/bottom, 0 neither); each
// sits on the middle of what it drags.
const HANDLES = { topLeft: [-1, -1], left: [-1, 0], bottomLeft: [-1, 1], bottom: [0, 1], bottomRight: [1, 1], right: [1, 0], topRight: [1, -1], top: [0, -1] };
const handlePoint = (r, name) => ({ x: r.x + (r.w * (HANDLES[name][0] + 1)) / 2, y: r.y + (r.h * (HANDLES[name][1] + 1)) / 2 });

// A dragged edge follows the cursor while the opposite edge stays; crossing the fixed edge
// flips the handle, so on each dragged axis the region spans the fixed edge and the cursor.
function resized(r, name, to) {
  const [hx, hy] = HANDLES[name];
  const axis = (lo, hi, dir, c) => (dir === 0 ? [lo, hi] : [Math.min(dir < 0 ? hi : lo, c), Math.max(dir < 0 ? hi : lo, c)]);
  const [x0, x1] = axis(r.x, right(r), hx, to.x);
  const [y0, y1] = axis(r.y, bottom(r), hy, to.y);
  return { x: x0, y: y0, w: x1 - x0, h: y1 - y0 };
}

test('region selection at 1920x1080', async (t) => {
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-selection-'));
  t.after(() => fs.rmSync(dir, { recursive: true, force: true }));
  const probe = await h.layoutProbe(x.env);
  const s = probe.scale;
  const TB = probe.toolbar.size; // 456 × 56 at this scale

  // Drags out the region r, from the corner named by `from` to the opposite one.
  async function select(r, from = 'topLeft') {
    const a = handlePoint(r, from);
    const b = handlePoint(r, Object.keys(HANDLES).find((n) => HANDLES[n].every((d, i) => d === -HANDLES[from][i])));
    await h.drag(x.env, a.x, a.y, b.x, b.y);
  }

  // Waits for the toolbar to show at `where` ({x, y}; {right}: its right edge; or anywhere)
  // and returns its rectangle.
  async function toolbar(where = {}) {
    const r = await h.shotUntil(x.env, (shot) => {
      const tb = h.findToolbar(shot);
      const at = tb && [where.x ?? tb.x, where.y ?? tb.y, where.right ?? tb.x + tb.w].every((v, i) => v === [tb.x, tb.y, tb.x + tb.w][i]);
      return { ok: !!tb && tb.w === TB.w && tb.h === TB.h && at, tb };
    });
    assert.ok(r.ok, `toolbar ${TB.w}x${TB.h} at ${JSON.stringify(where)} expected, found ${JSON.stringify(r.tb)}`);
    return r.tb;
  }

  async function pressToolbarButton(name) {
    const b = h.toolButton(probe, await toolbar(), name);
    await h.clickAt(x.env, b.x, b.y);
  }

  // A capture where `region` is dragged out (from the corner `from`), then `act` runs and the
  // capture must end with `expect`; returns the clipboard image, checked against the pattern.
  async function session(t, region, act, { from, expect = 'image', env, want = region, copied = true } = {}) {
    const child = await h.startCapture(t, x, { env });
    await select(region, from);
    const final = onScreen((await act(child)) || want);
    assert.deepEqual(await h.ended(child), [expect]);
    if (!copied) return null;
    const img = h.readPng(await h.readClipboard(x.env, 'image/png'));
    assert.equal(h.patternCropMismatch(img, final), null, `${t.name}: clipboard should be the pattern's ${show(final)}`);
    return img;
  }

  await t.test('confirming a dragged region puts exactly that crop on the clipboard', async (t) => {
    const cases = [
      { name: 'drag down-right, Enter', region: span(640, 360, 1000, 620), from: 'topLeft', confirm: () => h.key(x.env, 'Return') },
      { name: 'drag up-left, keypad Enter', region: span(900, 500, 1300, 800), from: 'bottomRight', confirm: () => h.key(x.env, 'KP_Enter') },
      { name: 'drag up-right, double click inside', region: span(500, 450, 800, 700), from: 'bottomLeft', confirm: (r) => h.doubleClickAt(x.env, centre(r).x, centre(r).y) },
      { name: 'drag down-left, toolbar confirm button', region: span(1200, 300, 1500, 520), from: 'topRight', confirm: () => pressToolbarButton('tool_confirm') },
    ];
    for (const c of cases) {
      await t.test(c.name, T, async (t) => {
        await session(t, c.region, async (child) => {
          await c.confirm(c.region);
          await child.waitForStderr('exitString "image"');
          await h.waitForOverlayGone(x.env);
        }, { from: c.from });
      });
    }

    await t.test('a double click before any region is chosen does not confirm', T, async (t) => {
      const child = await h.startCapture(t, x);
      await h.doubleClickAt(x.env, 700, 500);
      // Confirming would have ended it with "image".
      await h.key(x.env, 'Escape');
      assert.deepEqual(await h.ended(child), ['exit']);
    });
  });

  // Each session drags out `start` (or the base region), then applies its steps in turn to the
  // region it has so far: a handle dragged `by` or `to` a point, or a drag inside the region
  // (`move` by, `moveTo` a point). After each step the toolbar must sit `at` where given, else
  // right-aligned with the region; the clipboard must hold the final region.
  const base = span(700, 400, 1100, 700); // even sides: the edge handles sit on whole pixels
  // The toolbar goes below the region's bottom-right corner unless that is within toolbar
  // height + 10 of the screen bottom, then above the region, or inside it when there is no
  // room above; never left of the screen.
  const bb = H - (TB.h + 10) - 1;
  const chains = {
    'the toolbar follows the region': [
      { start: span(20, 300, 220, 500), at: { x: 0, y: 510 } }, { move: [780, 0], at: { x: 1000 - TB.w, y: 510 } },
      { move: [0, bb - 500], at: { x: 1000 - TB.w, y: bb + 10 } }, { move: [0, 1], at: { x: 1000 - TB.w, y: bb - 199 - TB.h - 10 } },
      { move: [0, 200] }, { handle: 'top', to: [900, 40], at: { x: 1000 - TB.w, y: H + 2 - TB.h - 10 } },
    ],
    'each handle resizes the region': [
      { handle: 'topLeft', by: [-60, -40] }, { handle: 'top', by: [25, -50] }, { handle: 'topRight', by: [70, 30] },
      { handle: 'right', by: [80, -20] }, { handle: 'bottomRight', by: [90, 60] }, { handle: 'bottom', by: [-30, 45] },
      { handle: 'bottomLeft', by: [-50, 35] }, { handle: 'left', by: [40, 20] },
    ],
    // Across the opposite edge or corner: the handle flips and the size stays positive.
    'a handle dragged past the opposite side flips': [
      { handle: 'bottomRight', to: [600, 300] }, { handle: 'topLeft', to: [1000, 350] },
      { handle: 'right', to: [550, 500] }, { handle: 'top', to: [850, 800] },
    ],
    // Moves keep the size and stop at the screen's top-left corner and the scene's far edges.
    'dragging inside moves the region': [
      { move: [-150, 120] }, { moveTo: [100, 50] }, { handle: 'topLeft', by: [30, 20] }, { moveTo: [W - 20, H - 10] },
    ],
  };
  for (const [name, steps] of Object.entries(chains)) {
    await t.test(name, T, async (t) => {
      const start = steps[0].start || base;
      await session(t, start, async () => {
        let r = start;
        for (const st of steps) {
          if (st.move || st.moveTo) {
            const g = centre(r);
            const [dx, dy] = st.move || [st.moveTo[0] - g.x, st.moveTo[1] - g.y];
            await h.drag(x.env, g.x, g.y, g.x + dx, g.y + dy);
            r = moved(r, dx, dy);
          } else if (st.handle) {
            const from = handlePoint(r, st.handle);
            const to = st.to ? { x: st.to[0], y: st.to[1] } : { x: from.x + st.by[0], y: from.y + st.by[1] };
            await h.drag(x.env, from.x, from.y, to.x, to.y);
            r = resized(r, st.handle, to);
          }
          if (right(r) <= W) await toolbar(st.at || { right: Math.max(right(r), TB.w) });
        }
        await h.key(x.env, 'Return');
        return r;
      });
    });
  }

  await t.test('save as from the toolbar', async (t) => {
    const region = span(520, 260, 860, 470);
    // Each run gets a private home whose download folder exists, so the dialog starts in
    // ~/Downloads/temp; `answer` deals with the dialog.
    const saveAs = async (t, answer, { copied } = {}) => {
      const home = fs.mkdtempSync(path.join(dir, 'home-'));
      const start = path.join(home, 'Downloads', 'temp');
      fs.mkdirSync(start, { recursive: true });
      const env = { ...x.env, HOME: home, XDG_CONFIG_HOME: path.join(home, '.config') };
      delete env.XDG_DOWNLOAD_DIR;
      let child;
      const clip = await session(t, region, async (c) => {
        child = c;
        await pressToolbarButton('tool_save');
        await answer(await h.waitForWindowNamed(x.env, '存储'));
      }, { env, expect: 'save', copied });
      return { start, clip, child };
    };
    // Types `name` into the dialog's file name field once it has the focus; `keys` follow.
    const typeName = (name, ...keys) => async (dialog) => {
      const focused = async () => (await h.run('xdotool', ['getwindowfocus'], { env: x.env, encoding: 'utf8' })).trim() === dialog;
      assert.ok(await h.waitUntil(focused), 'the dialog must have the keyboard focus');
      await h.sleep(200); // and its file name field
      await h.key(x.env, 'ctrl+a');
      await h.type(x.env, name);
      await h.key(x.env, ...keys, 'Return');
    };

    await t.test('typing a file name and Return writes the clipboard image as PNG into ~/Downloads/temp', T, async (t) => {
      const { start, clip } = await saveAs(t, typeName('region.png'));
      const file = path.join(start, 'region.png');
      assert.ok(fs.existsSync(file), `expected ${file}; the folder holds ${fs.readdirSync(start)}`);
      const saved = h.readPng(fs.readFileSync(file));
      assert.equal(h.patternCropMismatch(saved, region), null, 'saved file');
      assert.ok(saved.data.equals(clip.data), 'the file and the clipboard hold the same image');
    });

    await t.test('Ctrl+C in the file name field takes the clipboard; the file still gets the crop', T, async (t) => {
      const { start } = await saveAs(t, typeName('copied.png', 'ctrl+a', 'ctrl+c'), { copied: false });
      assert.equal(String(await h.readClipboard(x.env)), 'copied.png');
      const file = path.join(start, 'copied.png');
      assert.ok(fs.existsSync(file), `expected ${file}; the folder holds ${fs.readdirSync(start)}`);
      assert.equal(h.patternCropMismatch(h.readPng(fs.readFileSync(file)), region), null, 'saved file');
    });

    // No file can be made in /sys, not even by root.
    await t.test('a folder that takes no file: a log line says why, the clipboard keeps the crop', T, async (t) => {
      const { child } = await saveAs(t, typeName('/sys/region.png'));
      await child.waitForStderr('save as: the image was not written to "/sys/region.png": ');
      assert.match(child.stderr, /not written to "\/sys\/region\.png": \S.* \(it is on the clipboard\)/);
    });

    await t.test('Escape in the dialog still ends with "save" and leaves the image on the clipboard', T, async (t) => {
      const { start } = await saveAs(t, async () => {
        await h.sleep(300);
        await h.key(x.env, 'Escape');
      });
      assert.deepEqual(fs.readdirSync(start), [], 'nothing may be written');
    });
  });

  await t.test('while a region is dragged out, the magnifier sits beside the cursor and shows the pixel under it', T, async (t) => {
    // Sizes used for placement: width int(100·s + 10), height int(145·s). The panel's left edge
    // must stay 10 px inside the scene's left edge and its bottom inside the scene.
    const PW = Math.trunc(100 * s + 10);
    const PH = Math.trunc(145 * s);
    const panelW = 100 * s + 15; // English texts (the child runs in the C locale)
    const imageH = Math.trunc(Math.trunc(145 * s) - 65 * s);
    const env = { ...x.env, LC_ALL: 'C.UTF-8', LANG: 'C.UTF-8' };
    delete env.LANGUAGE;

    // Top-left of the panel for a cursor; r = the selection while it is being dragged.
    function panelAt(cursor, r) {
      let gx = cursor.x - PW;
      let gy = cursor.y + 10;
      if (gx < SCENE.x + 10) gx += PW + 10;
      if (gy > bottom(SCENE) - PH) gy -= PH + 10;
      const atRightCorner = r.w > 0 && r.h > 0 && cursor.x === right(r) && (cursor.y === bottom(r) || cursor.y === r.y);
      if (atRightCorner && cursor.x < right(SCENE) - PW) gx = cursor.x + 10;
      return { x: gx, y: gy };
    }

    const press = { x: 1000, y: 300 };
    // Cursor positions in one drag; each gets a screenshot with the button still down.
    const stops = [
      { at: [800, 500], label: 'left-below the cursor' },
      { at: [100, 500], label: 'flipped right near the left edge' },
      { at: [100, 1000], label: 'flipped right and above near the bottom-left corner' },
      { at: [800, 1000], label: 'above near the bottom' },
      { at: [1400, 700], label: "right of the cursor at the region's bottom-right corner" },
      { at: [1400, 200], label: "right of the cursor at the region's top-right corner" },
      { at: [1850, 500], label: 'left again when there is no room on the right' },
    ];
    const child = await h.startCapture(t, x, { env });
    await h.mousemove(x.env, press.x, press.y);
    await h.mousedown(x.env);
    let last = press;
    for (const stop of stops) {
      const to = { x: stop.at[0], y: stop.at[1] };
      for (let i = 1; i <= 4; i++) {
        await h.xdotool(x.env, ['mousemove', Math.round(last.x + ((to.x - last.x) * i) / 4), Math.round(last.y + ((to.y - last.y) * i) / 4)], { settle: 20 });
      }
      last = to;
      // The panel at its place, and the middle of its enlarged piece (the piece's pixel
      // (15, 15), beside the cross-hair) in the pattern colour of the pixel under the cursor.
      const want = panelAt(to, span(press.x, press.y, to.x, to.y));
      const r = await h.shotUntil(x.env, (shot) => {
        const m = h.findMagnifier(shot);
        return { ok: !!m && Math.abs(m.x - want.x) <= 1 && Math.abs(m.y - want.y) <= 1, m };
      });
      assert.ok(r.ok, `${stop.label}: panel expected at ${want.x},${want.y}, found ${JSON.stringify(r.m)}`);
      assert.ok(Math.abs(r.m.w - panelW) <= 2, `${stop.label}: panel width ${r.m.w}, want about ${panelW}`);
      const px0 = r.m.x + Math.floor((15.6 * Math.trunc(panelW)) / 30);
      const py0 = r.m.y + Math.floor((15.6 * imageH) / 30);
      for (const [dx, dy] of [[0, 0], [1, 0], [0, 1], [1, 1]]) {
        const got = h.patternPosition(h.pixelAt(r.shot, px0 + dx, py0 + dy));
        assert.ok(Math.abs(got.x - to.x) <= 1 && Math.abs(got.y - to.y) <= 1, `${stop.label}: the piece at ${px0 + dx},${py0 + dy} shows the pattern of ${got.x},${got.y}`);
      }
    }
    await h.mouseup(x.env);
    const gone = await h.shotUntil(x.env, (shot) => ({ ok: h.findMagnifier(shot) === null }));
    assert.ok(gone.ok, 'the magnifier must hide on release');
    await h.key(x.env, 'Escape');
    assert.deepEqual(await h.ended(child), ['exit']);
  });
});
