'use strict';
// Screens: sizes on a 16:9 screen, and a 16-bit screen.
const test = require('node:test');
const assert = require('node:assert/strict');
const h = require('./harness');

const T = { timeout: 90000 };

test('a 16:9 screen', async (t) => {
  const [W, H] = [1920, 1080];
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));
  const layout = await h.layoutProbe(x.env);
  // The white panel with a grey border (toolbar or popup) below y, once it is w × h.
  const panelBelow = (y, size, what) =>
    h.eventually(async () => {
      const b = h.findToolbar(await h.screenshot(x.env, 0, y, W, H - y));
      assert.deepEqual(b && [b.w, b.h], size, what);
      return { ...b, y: b.y + y };
    });

  await t.test('s = 1.35: toolbar 338·s × 42·s, popups 244·s, 113·s, 265·s by 46·s, truncated; the right button ends it', T, async (t) => {
    const child = await h.startCapture(t, x);
    await h.drag(x.env, 300, 200, 900, 600);
    const bar = await panelBelow(600, [456, 56], 'toolbar');
    for (const [tool, size] of [['tool_square', [329, 62]], ['tool_mosaic', [152, 62]], ['tool_text', [357, 62]]]) {
      await h.clickAt(x.env, ...Object.values(h.toolButton(layout, bar, tool)));
      await h.mousemove(x.env, W - 1, H - 1);
      await panelBelow(bar.y + bar.h, size, tool);
    }
    await h.clickAt(x.env, 600, 400, 3);
    assert.deepEqual(await h.ended(child), ['exit']);
  });
});

test('a 16-bit screen is copied as it shows', T, async (t) => {
  const x = await h.startXvfb({ width: 640, height: 480, depth: 16 });
  t.after(() => x.stop());
  // Blocks of colours a 16-bit screen shows exactly.
  const picture = h.image(640, 480, (px, py) => [(px >> 3) & 1, (py >> 3) & 1, ((px + py) >> 4) & 1].map((b) => 255 * b));
  await h.setRootPattern(x.env, picture);
  const child = await h.startCapture(t, x);
  await h.drag(x.env, 40, 30, 240, 130);
  await h.key(x.env, 'Return');
  const img = await h.copiedImage(child, x.env);
  assert.deepEqual([img.width, img.height], [200, 100]);
  const cmp = h.comparePixels(img, (px, py) => h.pixelAt(picture, 40 + px, 30 + py), { tolerance: 0 });
  assert.equal(cmp.bad, 0, h.diffText(cmp));
});
