'use strict';
// Snapping the selection to real X windows, on a bare server and under openbox (also at a
// fractional scale), the bare desktop, and moving or resizing the chosen (dragged or clicked)
// region with the arrow keys.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { spawn } = require('child_process');
const h = require('./harness');

const W = 1280;
const H = 800;
const T = { timeout: 180000 };
const FRAME = [0x3a, 0x91, 0xf3];
// Solid windows opened in this order, so B overlaps A from above; `at` is a point where each
// is the topmost window, near its top right so that the magnifier (whose cross has the frame's
// colour) stays within it.
const WINDOWS = [
  { title: 'snapA', colour: [208, 32, 32], x: 100, y: 100, w: 300, h: 200, at: [390, 110] },
  { title: 'snapB', colour: [32, 160, 32], x: 250, y: 200, w: 300, h: 200, at: [540, 215] },
  { title: 'snapC', colour: [32, 32, 208], x: 800, y: 400, w: 200, h: 220, at: [990, 405] },
];

// Opens the windows with ImageMagick's display; returns their rectangles as the server has them,
// with the frame a window manager announces in _NET_FRAME_EXTENTS.
async function openWindows(t, x, { framed = false } = {}) {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-snap-'));
  t.after(() => fs.rmSync(dir, { recursive: true, force: true }));
  const rects = [];
  for (const win of WINDOWS) {
    const file = path.join(dir, `${win.title}.png`);
    fs.writeFileSync(file, h.writePng(win.w, win.h, h.image(win.w, win.h, () => win.colour).data));
    const proc = spawn('display', ['-borderwidth', '0', '-geometry', `+${win.x}+${win.y}`, '-title', win.title, file], { env: x.env, stdio: 'ignore' });
    t.after(() => proc.kill('SIGKILL'));
    const id = await h.waitForWindowNamed(x.env, `^${win.title}$`);
    const text = async (cmd, args) => String(await h.run(cmd, args, { env: x.env, encoding: 'utf8' }));
    rects.push(await h.eventually(async () => {
      const info = await text('xwininfo', ['-id', id]);
      const extents = (await text('xprop', ['-id', id, '_NET_FRAME_EXTENTS'])).match(/= (\d+), (\d+), (\d+), (\d+)/);
      if (framed && !extents) throw new Error(`${win.title} has no frame yet`);
      const [l, r, top, b] = extents ? extents.slice(1).map(Number) : [0, 0, 0, 0];
      const n = (label) => Number(info.match(new RegExp(`${label}:\\s+(-?\\d+)`))[1]);
      return { x: n('Absolute upper-left X') - l, y: n('Absolute upper-left Y') - top, w: n('Width') + l + r, h: n('Height') + top + b };
    }, { timeout: 10000 }));
  }
  await h.sleep(300); // let the windows paint before the desktop is photographed
  return rects;
}

// One capture: `act` chooses the region, Enter confirms, and the clipboard must hold exactly
// `want` of the desktop as `before` shows it.
async function capture(t, x, before, want, act, env = x.env) {
  const child = await h.startCapture(t, x, { env });
  await act();
  await h.key(x.env, 'Return');
  const img = await h.copiedImage(child, x.env);
  await child.kill();
  assert.deepEqual([img.width, img.height], [want.w, want.h], `clipboard size for ${JSON.stringify(want)}`);
  const cmp = h.comparePixels(img, (px, py) => h.pixelAt(before, want.x + px, want.y + py), { tolerance: 0 });
  assert.equal(cmp.bad, 0, h.diffText(cmp));
}

// Hovers `at`, checks that the frame outlines `rect` (clipped to the screen), clicks, then
// types `keys`; the clipboard must hold `want`.
async function snap(t, x, before, rect, at, keys = [], want = rect) {
  await capture(t, x, before, want, async () => {
    await h.mousemove(x.env, ...at);
    const want = { x: rect.x - 1, y: rect.y - 1, w: rect.w + 2, h: rect.h + 2 };
    const r = await h.shotUntil(x.env, (shot) => {
      const box = h.findRunsBox(shot, FRAME, { tol: 3, minRun: 100 });
      return { ok: JSON.stringify(box) === JSON.stringify(want), box };
    });
    assert.ok(r.ok, `frame ${JSON.stringify(r.box)} should outline ${JSON.stringify(rect)}`);
    await h.click(x.env);
    if (keys.length) await h.key(x.env, ...keys);
  });
}

test('snapping to windows, the bare desktop and arrow keys on a bare server', T, async (t) => {
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));
  const rects = await openWindows(t, x);
  assert.deepEqual(rects, WINDOWS.map(({ x: wx, y, w, h: wh }) => ({ x: wx, y, w, h: wh })));
  const before = await h.screenshot(x.env);
  for (const [i, win] of WINDOWS.entries()) await snap(t, x, before, rects[i], win.at);
  // Where A and B overlap, B is on top.
  await capture(t, x, before, rects[1], () => h.clickAt(x.env, 300, 250));
  await capture(t, x, before, { x: 0, y: 0, w: W, h: H }, () => h.clickAt(x.env, 1100, 100));
  // A clicked window is adjusted by keys as a dragged region is.
  const a = rects[0];
  await snap(t, x, before, a, WINDOWS[0].at, ['Right', 'Right', 'Right', 'shift+Down', 'shift+Down'], { ...a, x: a.x + 3, h: a.h + 2 });

  // At the edges the region stops, in place and in size.
  await capture(t, x, before, { x: W - 300, y: 100, w: 300, h: 200 }, async () => {
    await h.drag(x.env, W - 305, 100, W - 5, 300);
    await h.key(x.env, ...Array(10).fill('Right'), ...Array(10).fill('shift+Right'));
  });
  await capture(t, x, before, { x: 0, y: 0, w: 300, h: 200 }, async () => {
    await h.drag(x.env, 5, 5, 305, 205);
    await h.key(x.env, ...Array(10).fill('Left'), ...Array(10).fill('Up'));
  });

  // C partly off the screen, with a client-side shadow (l, r, t, b) of 10, 20, 5, 15: its
  // inside, clipped to the screen, is taken, and Left moves that by a pixel.
  const c = await h.waitForWindowNamed(x.env, '^snapC$');
  await h.xdotool(x.env, ['windowmove', '--sync', c, 1180, 700]);
  await h.run('xprop', ['-id', c, '-f', '_GTK_FRAME_EXTENTS', '32c', '-set', '_GTK_FRAME_EXTENTS', '10,20,5,15'], { env: x.env });
  const { shot } = await h.shotUntil(x.env, (s) => ({ ok: h.sameRgb(h.pixelAt(s, W - 1, H - 1), WINDOWS[2].colour) }));
  await capture(t, x, shot, { x: 1189, y: 705, w: W - 1190, h: H - 705 }, async () => {
    await h.clickAt(x.env, 1250, 750);
    await h.key(x.env, 'Left');
  });
});

test('snapping under openbox takes the window frames, also at QT_SCALE_FACTOR=1.5', T, async (t) => {
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));
  await h.windowManager(t, x, 'openbox');
  const rects = await openWindows(t, x, { framed: true });
  rects.forEach((r, i) => assert.ok(r.w > WINDOWS[i].w && r.h > WINDOWS[i].h, `${WINDOWS[i].title} has a frame`));
  const before = await h.screenshot(x.env);
  for (const [i, win] of WINDOWS.entries()) await snap(t, x, before, rects[i], win.at);
  const env = { ...x.env, QT_SCALE_FACTOR: '1.5' };
  for (const [i, win] of WINDOWS.entries()) await capture(t, x, before, rects[i], () => h.clickAt(x.env, ...win.at), env);
});
