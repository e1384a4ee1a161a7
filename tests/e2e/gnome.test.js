'use strict';
// Captures on headless GNOME Shell (mutter, XWayland, xdg-desktop-portal-gnome), two monitors,
// the desktop the position-coded pattern; keys and the mouse go through the compositor.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('./harness');
const { startGnome } = require('../../scripts/gnome-session');

const T = { timeout: 180000 };
const EXIT = [{ args: ['exit'], thisIsNull: true }];
const [W, H] = [640, 480];
// The toolbar stays on the right monitor, where the region's bottom-right corner is.
const onRight = (p) => ({ ...p, x: Math.max(p.x, W) });
const TOP_BAR = 40; // its state may change between the frozen picture and a screenshot

async function capture(t, s) {
  await s.input.move(2 * W - 1, H - 1);
  const child = h.spawnCapture(s.env);
  t.after(() => child.kill());
  await h.waitForOverlay(s.env, { child });
  await h.sleep(300);
  return child;
}

test('GNOME Shell session', async (t) => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-gn-pic-'));
  const picture = path.join(dir, 'desktop.png');
  fs.writeFileSync(picture, h.writePng(2 * W, H, h.makePatternImage(2 * W, H).data));
  const s = await startGnome([{ w: W, h: H }, { w: W, h: H }], picture);
  t.after(() => s.stop().then(() => fs.rmSync(dir, { recursive: true, force: true })));
  await s.permit('yes');
  const region = { x: W - 150, y: 100, w: 300, h: 200 };
  const screenshots = () => fs.readdirSync(s.home).filter((f) => f.startsWith('Screenshot'));

  await t.test('two monitors: the picture dimmed on both, a region across the border copied, text typed, Esc, save as', T, async (t) => {
    const before = await s.shot();
    let child = await capture(t, s);
    const dimmed = (x, y) => (x === 0 || y === 0 ? [0, 0, 0] : h.blend(h.pixelAt(before, x, y), [53, 53, 53, 133]));
    let cmp;
    // The compositor moves the pointer onto the new window: the magnifier shows beside it.
    const skip = (x, y) => y < TOP_BAR || (x > 2 * W - 100 && y > H - 120);
    let shot;
    const ok = await h.waitUntil(async () => (cmp = h.comparePixels((shot = await s.shot()), dimmed, { skip })).bad === 0, { timeout: 10000 });
    assert.ok(ok, `overlay over ${2 * W}x${H}: ${h.diffText(cmp)}`);
    // Above the top bar too: its white text shows dimmed.
    const barText = (img) => h.boundingBox(img, (rgb, x, y) => y < TOP_BAR && Math.max(...rgb) > 160);
    assert.ok(barText(before) && !barText(shot), 'the top bar is under the overlay');
    await s.input.drag(region);
    await s.input.key('Return');
    assert.equal(h.patternCropMismatch(await h.copiedImage(child, s.env), region), null);
    assert.deepEqual(screenshots(), [], 'the portal\'s file is removed');
    await child.kill();

    const layout = await h.layoutProbe(s.env);
    child = await capture(t, s);
    await s.input.drag(region);
    await s.input.click(...Object.values(h.toolButton(layout, onRight(h.barBelow(layout, region)), 'tool_text')));
    await h.typedTextShows(region, { click: s.input.click, type: s.input.type, shot: s.shot });
    await s.input.key('Escape');
    assert.deepEqual((await child.result()).calls, EXIT);
    await child.kill();

    child = await capture(t, s);
    await s.input.drag(region);
    await s.input.click(...Object.values(h.toolButton(layout, onRight(h.barBelow(layout, region)), 'tool_save')));
    await h.waitForWindowNamed(s.env, '存储', { child });
    const saved = path.join(s.home, 'saved.png');
    await h.sleep(300);
    await s.input.key('ctrl+a');
    await s.input.type(saved);
    await s.input.key('Return');
    assert.deepEqual((await child.result()).calls, [{ args: ['save'], thisIsNull: true }]);
    assert.equal(h.patternCropMismatch(h.readPng(fs.readFileSync(saved)), region), null);
    assert.deepEqual(screenshots(), []);
  });

  await t.test('the keyboard reaches the overlay in every capture while the compositor is busy', T, async (t) => {
    await s.input.busy(true);
    t.after(() => s.input.busy(false));
    for (let i = 0; i < 20; i++) {
      const child = h.spawnCapture(s.env);
      t.after(() => child.kill());
      await h.waitForOverlay(s.env, { child });
      // A key pressed before the compositor handed the overlay the keyboard is lost and pressed
      // again; a keyboard that never reaches it fails.
      let ended = false;
      for (let tries = 0; !ended; tries++) {
        assert.ok(tries < 6, `capture ${i}: Esc never reached the overlay`);
        await s.input.key('Escape');
        ended = await h.waitUntil(() => child.events('captured').length, { timeout: 1000 });
      }
      assert.deepEqual((await child.result()).calls, EXIT);
      await child.kill();
    }
    assert.ok((await s.input.busy(false)) >= 20, 'the compositor was kept busy');
  });

  await t.test('the permission dialog answered Deny: "exit" and the log line at once', T, async (t) => {
    await s.permit(null);
    t.after(() => s.permit('yes'));
    const before = await s.shot();
    const child = h.spawnCapture(s.env);
    t.after(() => child.kill());
    // The Shell's dialog dims the screen; its focus starts on Deny.
    const shown = await h.waitUntil(async () => h.comparePixels(await s.shot(), (x, y) => h.pixelAt(before, x, y), { maxReport: 0 }).bad > W * H, { timeout: 20000 });
    assert.ok(shown, 'the permission dialog shows');
    await h.sleep(500);
    await s.input.key('Return');
    const answered = Date.now();
    await child.waitForStderr('capture ended without a screenshot: the desktop portal refused the screenshot (response 2, denied or failed)', { timeout: 2000 });
    assert.ok(Date.now() - answered <= 2000);
    assert.deepEqual((await child.result()).calls, EXIT);
  });
});
