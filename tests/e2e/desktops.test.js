'use strict';
// Desktops as users run them: several monitors (Xorg with the dummy driver) under real window
// managers with another application focused, monitors of different sizes, and fractional and
// per-monitor scales.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const path = require('path');
const { spawn } = require('child_process');
const h = require('./harness');

const T = { timeout: 120000 };
const EXIT = [{ args: ['exit'], thisIsNull: true }];

// A dummy Xorg server with `list` = [{ w, h, x, y }] as monitors (the first is the primary),
// the position pattern on its root window.
async function monitors(t, list) {
  const x = await h.startXvfb({ dummyXorg: true, timeout: 30000 });
  t.after(() => x.stop());
  const args = [];
  for (const [i, m] of list.entries()) {
    if (i) await x.xrandr('--addmode', `DUMMY${i}`, `${m.w}x${m.h}`);
    args.push('--output', `DUMMY${i}`, '--mode', `${m.w}x${m.h}`, '--pos', `${m.x}x${m.y}`);
  }
  await x.xrandr(...args);
  await x.xrandr(); // the server probes its outputs and tells clients
  Object.assign(x, { width: Math.max(...list.map((m) => m.x + m.w)), height: Math.max(...list.map((m) => m.y + m.h)) });
  await h.setRootPattern(x.env, h.makePatternImage(x.width, x.height));
  return x;
}

// Another application's window (ImageMagick's display), given the focus by the window manager.
async function otherApp(t, x, at) {
  const file = path.join(x.env.XDG_RUNTIME_DIR, 'other.png');
  fs.writeFileSync(file, h.writePng(200, 120, h.image(200, 120, () => [200, 40, 40]).data));
  const proc = spawn('display', ['-geometry', `+${at[0]}+${at[1]}`, '-title', 'otherapp', file], { env: x.env, stdio: 'ignore' });
  t.after(() => proc.kill('SIGKILL'));
  const id = await h.waitForWindowNamed(x.env, '^otherapp$', { timeout: 30000 });
  const focus = async () => {
    await h.run('xdotool', ['windowactivate', id], { env: x.env }).catch(() => {});
    return (await h.run('xdotool', ['getwindowfocus'], { env: x.env, encoding: 'utf8' })).trim() === id;
  };
  return { focus: async () => assert.ok(await h.waitUntil(focus, { timeout: 10000 }), 'the other application has the focus') };
}

const inside = (r, m) => r.x >= m.x && r.y >= m.y && r.x + r.w <= m.x + m.w && r.y + r.h <= m.y + m.h;
const monitorOf = (list, px, py) => list.find((m) => px >= m.x && py >= m.y && px < m.x + m.w && py < m.y + m.h);

// The overlay shows `before` dimmed wherever a monitor shows it, and black elsewhere.
async function assertFrozen(x, list, before) {
  const want = (px, py) => (!monitorOf(list, px, py) ? [0, 0, 0] : px === 0 || py === 0 ? [0, 0, 0] : h.blend(h.pixelAt(before, px, py), [53, 53, 53, 133]));
  const grid = (px, py) => px % 13 !== 0 || py % 11 !== 0;
  const r = await h.shotUntil(x.env, (shot) => {
    const cmp = h.comparePixels(shot, want, { skip: grid, tolerance: 1 });
    return { ok: cmp.bad === 0, cmp };
  }, { timeout: 8000 });
  assert.ok(r.ok, `the frozen desktop, dimmed: ${h.diffText(r.cmp)}`);
}

// The toolbar once it shows, with (optionally) a popup under or over it: the white panels.
const panels = (x) => h.shotUntil(x.env, (shot) => {
  const b = h.findToolbar(shot);
  return { ok: !!b, b };
}).then((r) => r.b);

for (const wm of ['openbox', 'xfwm4']) {
  test(`two monitors under ${wm}, another application focused`, async (t) => {
    const list = [{ w: 1920, h: 1080, x: 0, y: 0 }, { w: 1280, h: 1024, x: 1920, y: 0 }];
    const x = await monitors(t, list);
    await h.windowManager(t, x, wm);
    const other = await otherApp(t, x, [100, 700]);
    await other.focus();
    const before = await h.screenshot(x.env);
    const layout = await h.layoutProbe(x.env);

    await t.test('both monitors frozen and dimmed; a region across the border copied with Enter; the toolbar on its monitor', T, async (t) => {
      const child = await h.startCapture(t, x);
      await assertFrozen(x, list, before);
      const region = { x: 1700, y: 300, w: 450, h: 220 };
      await h.drag(x.env, region.x, region.y, region.x + region.w, region.y + region.h);
      const bar = await panels(x);
      assert.ok(inside(bar, list[1]), `toolbar ${JSON.stringify(bar)} on the right monitor`);
      await h.key(x.env, 'Return');
      assert.equal(h.patternCropMismatch(await h.copiedImage(child, x.env), region), null);
    });

    await t.test('typed text reaches the text tool, its popup on the monitor of the region, Esc ends it', T, async (t) => {
      await other.focus();
      const child = await h.startCapture(t, x);
      const region = { x: 1940, y: 400, w: 300, h: 200 };
      await h.drag(x.env, region.x, region.y, region.x + region.w, region.y + region.h);
      const bar = await panels(x);
      await h.clickAt(x.env, ...Object.values(h.toolButton(layout, bar, 'tool_text')));
      await h.mousemove(x.env, 10, 10);
      const both = await h.shotUntil(x.env, (shot) => {
        const b = h.findToolbar(shot);
        return { ok: !!b && b.h > bar.h + 20, b };
      });
      assert.ok(both.ok && inside(both.b, list[1]), `toolbar and popup ${JSON.stringify(both.b)} on the right monitor`);
      await h.typedTextShows(region, { click: (...p) => h.clickAt(x.env, ...p), type: (s) => h.type(x.env, s), shot: () => h.screenshot(x.env) });
      await h.key(x.env, 'Escape');
      assert.deepEqual((await child.result()).calls, EXIT);
    });
  });
}

test('three monitors of different sizes, one below another', async (t) => {
  const list = [{ w: 1920, h: 1080, x: 0, y: 0 }, { w: 1280, h: 1024, x: 1920, y: 0 }, { w: 1024, h: 768, x: 0, y: 1080 }];
  const x = await monitors(t, list);
  await h.windowManager(t, x, 'openbox');
  const before = await h.screenshot(x.env);
  // One on each monitor; the second's bottom leaves no room for the toolbar below it.
  const regions = [{ x: 1500, y: 700, w: 300, h: 200 }, { x: 2400, y: 800, w: 500, h: 200 }, { x: 100, y: 1200, w: 500, h: 300 }];
  for (const [i, region] of regions.entries()) {
    await t.test(`a region on monitor ${i + 1} copied exactly, its toolbar on that monitor`, T, async (t) => {
      const child = await h.startCapture(t, x);
      if (i === 0) await assertFrozen(x, list, before);
      await h.drag(x.env, region.x, region.y, region.x + region.w, region.y + region.h);
      const bar = await panels(x);
      assert.ok(inside(bar, list[i]), `toolbar ${JSON.stringify(bar)} on monitor ${i + 1}`);
      await h.key(x.env, 'Return');
      // Qt passes positions on a scaled monitor through whole logical desktop coordinates.
      assertLooseCrop(await h.copiedImage(child, x.env), region);
    });
  }
  await t.test('switching a monitor off ends the session with "exit"', T, async (t) => {
    const child = await h.startCapture(t, x);
    await h.drag(x.env, 300, 300, 600, 500);
    await x.xrandr('--output', 'DUMMY2', '--off');
    await x.xrandr();
    assert.deepEqual((await child.result()).calls, EXIT);
  });
});

// A region whose corners are whole logical pixels at 1.25, 1.5, 1.75 and 2 (multiples of 210).
const ALIGNED = { x: 420, y: 210, w: 840, h: 630 };

// A copy of a drag that starts and ends between logical pixels: within a pixel in place and
// size, and an unscaled crop of the screen wherever it starts.
function assertLooseCrop(img, r) {
  const at = h.patternPosition(h.pixelAt(img, 0, 0));
  assert.ok(Math.abs(at.x - r.x) <= 1 && Math.abs(at.y - r.y) <= 1, `origin ${at.x},${at.y} for ${r.x},${r.y}`);
  assert.ok(Math.abs(img.width - r.w) <= 1 && Math.abs(img.height - r.h) <= 1, `size ${img.width}x${img.height} for ${r.w}x${r.h}`);
  assert.equal(h.patternCropMismatch(img, { ...at, w: img.width, h: img.height }), null);
}

test('scale factors: the clipboard holds the device pixels the user dragged', async (t) => {
  const [W, H] = [1920, 1080];
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));
  for (const F of [1.25, 1.5, 1.75, 2]) {
    await t.test(`QT_SCALE_FACTOR=${F}`, T, async (t) => {
      const env = { ...x.env, QT_SCALE_FACTOR: String(F) };
      let child = await h.startCapture(t, x, { env });
      await h.drag(x.env, ALIGNED.x, ALIGNED.y, ALIGNED.x + ALIGNED.w, ALIGNED.y + ALIGNED.h);
      await h.key(x.env, 'Return');
      assert.equal(h.patternCropMismatch(await h.copiedImage(child, x.env), ALIGNED), null);
      await child.kill();
      const loose = { x: 301, y: 202, w: 599, h: 401 };
      child = await h.startCapture(t, x, { env });
      await h.drag(x.env, loose.x, loose.y, loose.x + loose.w, loose.y + loose.h);
      await h.key(x.env, 'Return');
      const plain = await h.copiedImage(child, x.env);
      assertLooseCrop(plain, loose);
      await child.kill();
      // Once a tool is chosen the region is copied from the annotation view: the same pixels.
      child = await h.startCapture(t, x, { env });
      await h.drag(x.env, loose.x, loose.y, loose.x + loose.w, loose.y + loose.h);
      const layout = await h.layoutProbe(env);
      const c = h.toolButton(layout, h.barBelow(layout, { x: loose.x / F, y: loose.y / F, w: loose.w / F, h: loose.h / F }), 'tool_square');
      await h.clickAt(x.env, Math.round(c.x * F), Math.round(c.y * F));
      await h.sleep(150);
      await h.key(x.env, 'Return');
      const annotated = await h.copiedImage(child, x.env);
      assert.ok(annotated.width === plain.width && annotated.height === plain.height && annotated.data.equals(plain.data), 'the same copy with a tool chosen');
    });
  }

  const F = 1.5;
  const env = { ...x.env, QT_SCALE_FACTOR: String(F) };
  const layout = await h.layoutProbe(env);
  const logical = { x: ALIGNED.x / F, y: ALIGNED.y / F, w: ALIGNED.w / F, h: ALIGNED.h / F };
  const button = (name) => {
    const c = h.toolButton(layout, h.barBelow(layout, logical), name);
    return [Math.round(c.x * F), Math.round(c.y * F)];
  };

  await t.test(`QT_SCALE_FACTOR=${F}: save as writes the same device pixels`, T, async (t) => {
    const home = path.join(x.env.XDG_RUNTIME_DIR, 'home');
    fs.mkdirSync(path.join(home, 'Downloads', 'temp'), { recursive: true });
    const child = await h.startCapture(t, x, { env: { ...env, HOME: home, XDG_CONFIG_HOME: path.join(home, '.config') } });
    await h.drag(x.env, ALIGNED.x, ALIGNED.y, ALIGNED.x + ALIGNED.w, ALIGNED.y + ALIGNED.h);
    await h.sleep(150);
    await h.clickAt(x.env, ...button('tool_save'));
    await h.waitForWindowNamed(x.env, '存储', { child });
    const saved = path.join(home, 'saved.png');
    await h.typeSaveName(x.env, saved);
    assert.deepEqual((await child.result()).calls, [{ args: ['save'], thisIsNull: true }]);
    assert.equal(h.patternCropMismatch(h.readPng(fs.readFileSync(saved)), ALIGNED), null);
  });

  await t.test(`QT_SCALE_FACTOR=${F}: a mosaic stroke pixelates in whole blocks of device pixels`, T, async (t) => {
    const child = await h.startCapture(t, x, { env });
    await h.drag(x.env, ALIGNED.x, ALIGNED.y, ALIGNED.x + ALIGNED.w, ALIGNED.y + ALIGNED.h);
    await h.sleep(150);
    await h.clickAt(x.env, ...button('tool_mosaic'));
    const y = ALIGNED.y + 200;
    await h.stroke(x.env, h.linePoints([ALIGNED.x + 150, y], [ALIGNED.x + 650, y], 9));
    await h.key(x.env, 'Return');
    const img = await h.copiedImage(child, x.env);
    assert.deepEqual([img.width, img.height], [ALIGNED.w, ALIGNED.h]);
    // Away from the stroke, the plain crop.
    const top = h.cropImage(img, 0, 0, ALIGNED.w, 120);
    assert.equal(h.patternCropMismatch(top, { ...ALIGNED, h: 120 }), null);
    // Along the stroke's middle row, runs of one colour, all as long as each other.
    const runs = [];
    for (let px = 200, start = 200; px <= 600; px++) {
      if (px === 600 || !h.sameRgb(h.pixelAt(img, px, 200), h.pixelAt(img, start, 200))) runs.push(px - start), (start = px);
    }
    const inner = runs.slice(1, -1);
    assert.ok(inner.length > 20 && inner[0] > 1 && inner.every((n) => n === inner[0]), `runs ${inner}`);
  });
});

test('QT_SCREEN_SCALE_FACTORS=1;1.5 on two monitors: regions on the scaled one and across the border', async (t) => {
  const list = [{ w: 1920, h: 1080, x: 0, y: 0 }, { w: 1280, h: 1024, x: 1920, y: 0 }];
  const x = await monitors(t, list);
  const env = { ...x.env, QT_SCREEN_SCALE_FACTORS: '1;1.5' };
  for (const region of [{ x: 2800, y: 600, w: 300, h: 300 }, { x: 1800, y: 100, w: 450, h: 200 }]) {
    await t.test(`${region.w}x${region.h} at ${region.x},${region.y}`, T, async (t) => {
      const child = await h.startCapture(t, x, { env });
      await h.drag(x.env, region.x, region.y, region.x + region.w, region.y + region.h);
      await h.key(x.env, 'Return');
      // Qt passes positions on a scaled monitor through whole logical desktop coordinates.
      assertLooseCrop(await h.copiedImage(child, x.env), region);
    });
  }
});
