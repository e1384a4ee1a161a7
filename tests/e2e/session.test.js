'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('./harness');

const W = 1280;
const H = 800;
const DIM = [53, 53, 53, 133];
const LOG = '../src/QtGui/qapplication ScreenCapture';
const T = { timeout: 90000 };

// The pointer rests in a corner and does not move during pixel checks: the magnifier
// follows motion only, so the whole screen must match.
const POINTER = { x: W - 1, y: H - 1 };

// The dimming rectangle is drawn with the painter's default pen (black, one pixel), whose
// outline shows along the top row and left column; right and bottom fall outside the window.
function dimmedPattern(variant) {
  return (x, y) => (x === 0 || y === 0 ? [0, 0, 0] : h.blend(h.patternPixel(x, y, variant), DIM));
}

function assertDimmed(shot, variant, label) {
  assert.equal(shot.width, W);
  assert.equal(shot.height, H);
  const cmp = h.comparePixels(shot, dimmedPattern(variant), { tolerance: 2 });
  assert.equal(cmp.bad, 0, `${label}: ${cmp.bad} of ${cmp.checked} pixels differ, first: ${JSON.stringify(cmp.first)}`);
}

test('capture sessions', async (t) => {
  const x = await h.startXvfb({ width: W, height: H });
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-session-'));
  t.after(async () => {
    await x.stop();
    fs.rmSync(dir, { recursive: true, force: true });
  });
  const patternA = path.join(dir, 'a.png');
  const patternB = path.join(dir, 'b.png');
  h.makePattern(W, H, patternA);
  h.makePattern(W, H, patternB, { variant: 1 });
  await h.setRootPattern(x.env, patternA);

  // Starts a capture child, waits for its overlay and returns the child.
  async function startSession(opts) {
    await h.mousemove(x.env, POINTER.x, POINTER.y);
    const child = h.spawnCapture(x.env, opts);
    try {
      await h.waitForOverlay(x.env, { child });
    } catch (e) {
      await child.kill();
      throw e;
    }
    return child;
  }

  const captured = (child, index = 0) =>
    child.waitFor((l) => l.op === 'captured' && l.index === index, { what: `capture ${index} to return` });

  await t.test('Esc ends the session: "./" returned, callback("exit") once with a null receiver', T, async () => {
    const child = await startSession();
    try {
      await h.key(x.env, 'Escape');
      const r = await captured(child);
      assert.equal(r.ret, './');
      assert.equal(r.error, undefined);
      assert.deepEqual(r.calls, [{ args: ['exit'], thisIsNull: true }]);
      await h.waitForOverlayGone(x.env);
      await child.waitForStderr(`${LOG} 161 : g_ImagePath:  ./`);
      const log = child.stderr;
      assert.ok(log.indexOf('startLinuxScreen') < log.indexOf('endLinuxScreen'), log);
      assert.ok(log.includes(`${LOG} 160 : exitString "exit"`), log);
      assert.ok(!log.includes(`${LOG} 174`), 'no "other" line when a callback was given');
    } finally {
      await child.kill();
    }
  });

  await t.test('a right-button press cancels like Esc', T, async () => {
    const child = await startSession();
    try {
      await h.mousemove(x.env, W / 2 + 100, H / 2 + 50);
      await h.click(x.env, 3);
      const r = await captured(child);
      assert.equal(r.ret, './');
      assert.deepEqual(r.calls, [{ args: ['exit'], thisIsNull: true }]);
      await h.waitForOverlayGone(x.env);
    } finally {
      await child.kill();
    }
  });

  for (const args of ['none', 'two', 'four']) {
    await t.test(`argument count other than 3 (${args}): no callback, "other" logged`, T, async () => {
      const child = await startSession({ args });
      try {
        await h.key(x.env, 'Escape');
        const r = await captured(child);
        assert.equal(r.ret, './');
        assert.deepEqual(r.calls, []);
        await child.waitForStderr(`${LOG} 174 : other`);
      } finally {
        await child.kill();
      }
    });
  }

  await t.test('three arguments whose third is not a function: no crash, no callback', T, async () => {
    const child = await startSession({ args: 'notfn' });
    try {
      await h.key(x.env, 'Escape');
      const r = await captured(child);
      assert.equal(r.ret, './');
      assert.equal(r.error, undefined);
      await child.waitFor((l) => l.op === 'exec', { what: 'the child to go on after the call' });
      assert.equal(child.exitCode, undefined, 'child must still be running');
    } finally {
      await child.kill();
    }
  });

  await t.test('an exception thrown by the callback reaches the caller after the session', T, async () => {
    const child = await startSession({ args: 'throwing' });
    try {
      await h.key(x.env, 'Escape');
      const r = await captured(child);
      assert.deepEqual(r.error, { name: 'Error', message: 'from callback' });
      await h.waitForOverlayGone(x.env);
    } finally {
      await child.kill();
    }
  });

  await t.test('the overlay shows the frozen screen dimmed by (53,53,53,133) over all of it', T, async () => {
    const child = await startSession();
    try {
      const id = (await h.visibleOverlays(x.env))[0];
      const geo = await h.windowGeometry(x.env, id);
      assert.deepEqual([geo.x, geo.y, geo.width, geo.height], [0, 0, W, H]);
      await h.sleep(300); // let the first paint land
      assertDimmed(await h.screenshot(x.env), 0, 'overlay');
      await h.key(x.env, 'Escape');
      assert.deepEqual((await captured(child)).calls, [{ args: ['exit'], thisIsNull: true }]);
      // Once closed, the undimmed desktop is back.
      await h.waitForOverlayGone(x.env);
      const after = h.comparePixels(await h.screenshot(x.env), (px, py) => h.patternPixel(px, py), { tolerance: 0 });
      assert.equal(after.bad, 0, JSON.stringify(after.first));
    } finally {
      await child.kill();
    }
  });

  await t.test('Enter before any selection does not end the session', T, async () => {
    const child = await startSession();
    try {
      await h.key(x.env, 'Return');
      await h.key(x.env, 'KP_Enter');
      await h.sleep(400);
      assert.equal((await h.visibleOverlays(x.env)).length, 1, 'overlay must still be mapped');
      assert.equal(child.events('captured').length, 0);
      await h.key(x.env, 'Escape');
      assert.deepEqual((await captured(child)).calls, [{ args: ['exit'], thisIsNull: true }]);
    } finally {
      await child.kill();
    }
  });

  await t.test('a second capture in the same process takes a fresh screenshot', T, async () => {
    await h.mousemove(x.env, POINTER.x, POINTER.y);
    const child = h.spawnChild(x.env, [
      { op: 'capture', args: 'cb3' },
      { op: 'deleteScreenCapture' },
      { op: 'wait' },
      { op: 'capture', args: 'cb3' },
      { op: 'exec' },
    ]);
    try {
      await h.waitForOverlay(x.env, { child });
      await h.sleep(300);
      assertDimmed(await h.screenshot(x.env), 0, 'first session');
      await h.key(x.env, 'Escape');
      await captured(child, 0);
      await child.waitFor((l) => l.op === 'waiting');
      await h.waitForOverlayGone(x.env);

      await h.setRootPattern(x.env, patternB);
      child.send();
      await h.waitForOverlay(x.env, { child });
      await h.sleep(300);
      assertDimmed(await h.screenshot(x.env), 1, 'second session');
      await h.key(x.env, 'Escape');
      const second = await captured(child, 1);
      assert.equal(second.ret, './');
      assert.deepEqual(second.calls, [{ args: ['exit'], thisIsNull: true }]);
    } finally {
      await child.kill();
      await h.setRootPattern(x.env, patternA);
    }
  });

  await t.test('drag then Enter confirms: "image", and the clipboard holds exactly that crop', T, async () => {
    const child = await startSession();
    try {
      const from = { x: 301, y: 203 };
      const to = { x: 301 + 240, y: 203 + 130 };
      await h.drag(x.env, from.x, from.y, to.x, to.y);
      await h.sleep(200);
      await h.key(x.env, 'Return');
      const r = await captured(child);
      assert.equal(r.ret, './');
      assert.deepEqual(r.calls, [{ args: ['image'], thisIsNull: true }]);
      await child.waitFor((l) => l.op === 'exec');
      await child.waitForStderr(`${LOG} 160 : exitString "image"`);

      const png = await h.readClipboard(x.env, 'image/png');
      const img = h.readPng(png);
      // The crop's own colours say where it came from; it must be the dragged rectangle.
      const origin = h.patternPosition([img.data[0], img.data[1], img.data[2]]);
      assert.ok(Math.abs(origin.x - from.x) <= 1 && Math.abs(origin.y - from.y) <= 1, JSON.stringify(origin));
      assert.ok(Math.abs(img.width - (to.x - from.x)) <= 2, `width ${img.width}`);
      assert.ok(Math.abs(img.height - (to.y - from.y)) <= 2, `height ${img.height}`);
      const cmp = h.comparePixels(img, (px, py) => h.patternPixel(origin.x + px, origin.y + py), { tolerance: 0 });
      assert.equal(cmp.bad, 0, JSON.stringify(cmp.first));
    } finally {
      await child.kill();
    }
  });
});
