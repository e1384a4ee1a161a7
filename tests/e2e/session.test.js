'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const h = require('./harness');

const W = 1280;
const H = 800;
const DIM = [53, 53, 53, 133];
const LOG = '../src/QtGui/qapplication ScreenCapture';
const T = { timeout: 90000 };
const EXIT = [{ args: ['exit'], thisIsNull: true }];

// The pointer rests in a corner and does not move during pixel checks (the magnifier follows
// motion only), so the whole screen must be the pattern dimmed by (53,53,53,133). The dimming
// rectangle's default one-pixel black pen shows along the top row and left column.
function assertDimmed(shot, variant, label) {
  assert.deepEqual([shot.width, shot.height], [W, H]);
  const cmp = h.comparePixels(shot, (x, y) => (x === 0 || y === 0 ? [0, 0, 0] : h.blend(h.patternPixel(x, y, variant), DIM)));
  assert.equal(cmp.bad, 0, `${label}: ${h.diffText(cmp)}`);
}

test('capture sessions', async (t) => {
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));

  await t.test('Esc ends the session: "./" returned, callback("exit") once with a null receiver', T, async (t) => {
    const child = await h.startCapture(t, x);
    await h.key(x.env, 'Escape');
    const r = await child.result();
    assert.equal(r.ret, './');
    assert.equal(r.error, undefined);
    assert.deepEqual(r.calls, EXIT);
    await h.waitForOverlayGone(x.env);
    await child.waitForStderr(`${LOG} 161 : g_ImagePath:  ./`);
    const log = child.stderr;
    assert.ok(log.indexOf('startLinuxScreen') < log.indexOf('endLinuxScreen'), log);
    assert.ok(log.includes(`${LOG} 160 : exitString "exit"`), log);
    assert.ok(!log.includes(`${LOG} 174`), 'no "other" line when a callback was given');
  });

  await t.test('a right-button press cancels like Esc', T, async (t) => {
    const child = await h.startCapture(t, x);
    await h.clickAt(x.env, W / 2 + 100, H / 2 + 50, 3);
    const r = await child.result();
    assert.equal(r.ret, './');
    assert.deepEqual(r.calls, EXIT);
    await h.waitForOverlayGone(x.env);
  });

  // Arguments other than (a, b, callback): still "./", no callback, and no crash.
  const odd = [
    { args: 'none', other: true },
    { args: 'two', other: true },
    { args: 'four', other: true },
    { args: 'notfn', other: false },
    { args: 'throwing', error: { name: 'Error', message: 'from callback' } },
  ];
  for (const c of odd) {
    await t.test(`screenCapture with arguments "${c.args}"`, T, async (t) => {
      const child = await h.startCapture(t, x, { args: c.args });
      await h.key(x.env, 'Escape');
      const r = await child.result();
      assert.equal(r.ret, c.error ? undefined : './');
      assert.deepEqual(r.error, c.error);
      if (!c.error) assert.deepEqual(r.calls, []);
      if (c.other) await child.waitForStderr(`${LOG} 174 : other`);
      await child.waitFor((l) => l.op === 'exec', { what: 'the child to go on after the call' });
      assert.equal(child.exitCode, undefined, 'child must still be running');
    });
  }

  await t.test('the overlay shows the frozen screen dimmed over all of it; Enter before a selection does not end it', T, async (t) => {
    const child = await h.startCapture(t, x, { settle: 300 });
    assertDimmed(await h.screenshot(x.env), 0, 'overlay');
    await h.key(x.env, 'Return');
    await h.key(x.env, 'KP_Enter');
    await h.sleep(400);
    assert.equal((await h.visibleOverlays(x.env)).length, 1, 'overlay must still be mapped');
    assert.equal(child.events('captured').length, 0);
    await h.key(x.env, 'Escape');
    assert.deepEqual((await child.result()).calls, EXIT);
    // Once closed, the undimmed desktop is back.
    await h.waitForOverlayGone(x.env);
    const after = h.comparePixels(await h.screenshot(x.env), (px, py) => h.patternPixel(px, py), { tolerance: 0 });
    assert.equal(after.bad, 0, h.diffText(after));
  });

  await t.test('a second capture in the same process takes a fresh screenshot', T, async () => {
    await h.mousemove(x.env, W - 1, H - 1);
    const child = h.spawnChild(x.env, [
      { op: 'capture', args: 'cb3' },
      { op: 'deleteScreenCapture' },
      { op: 'wait' },
      { op: 'capture', args: 'cb3' },
      { op: 'exec' },
    ]);
    for (const variant of [0, 1]) {
      if (variant) {
        await child.waitFor((l) => l.op === 'waiting');
        await h.waitForOverlayGone(x.env);
        await h.setRootPattern(x.env, h.makePatternImage(W, H, 1));
        child.send();
      }
      await h.waitForOverlay(x.env, { child });
      await h.sleep(300);
      assertDimmed(await h.screenshot(x.env), variant, `session ${variant + 1}`);
      await h.key(x.env, 'Escape');
      const r = await child.result(variant);
      assert.equal(r.ret, './');
      assert.deepEqual(r.calls, EXIT);
    }
    await child.kill();
  });

  await t.test('two Main objects: Esc, right button and Enter end captures from either, also once one is collected; both serve the clipboard', T, async () => {
    await h.mousemove(x.env, W - 1, H - 1);
    const [A, B] = [0, 1];
    const sessions = [[A, 'Escape'], [B, 'right'], [A, 'Return'], [B, 'Return'], [B, 'Escape'], [B, 'right'], [B, 'Return']];
    const capture = (on, i) => [...(i ? [{ op: 'wait' }] : []), { op: 'capture', args: 'cb3', on }];
    const get = (on) => ({ op: 'getFilePathFromClipboard', on });
    const child = h.spawnChild(x.env, [
      { op: 'main' },
      ...sessions.slice(0, 4).flatMap(([on], i) => capture(on, i)),
      { op: 'setClipboardUrl', on: A, arg: '/tmp' }, get(B), { op: 'setClipboardUrl', on: B, arg: h.ROOT }, get(A),
      { op: 'drop', on: A },
      ...sessions.slice(4).flatMap(([on], i) => capture(on, i + 4)),
      { op: 'setClipboardUrl', on: B, arg: '/tmp' }, get(B), { op: 'exec', on: B },
    ]);
    for (const [i, [on, end]] of sessions.entries()) {
      if (i) {
        await child.waitFor(() => child.events('waiting').length >= i);
        await h.waitForOverlayGone(x.env);
        child.send();
      }
      await h.waitForOverlay(x.env, { child });
      await h.sleep(150);
      if (end === 'right') await h.clickAt(x.env, W / 2, H / 2, 3);
      if (end === 'Return') await h.drag(x.env, 100, 100, 400, 300);
      if (end !== 'right') await h.key(x.env, end);
      const r = await child.result(i);
      assert.deepEqual(r.calls, [{ args: [end === 'Return' ? 'image' : 'exit'], thisIsNull: true }], `session ${i} on Main ${on}, ended by ${end}`);
    }
    await child.waitFor((l) => l.op === 'exec');
    assert.deepEqual(child.events('dropped'), [{ op: 'dropped', collected: true }]);
    const dirs = child.events('getFilePathFromClipboard').map((e) => e.result.dirList);
    assert.deepEqual(dirs, [['//tmp'], ['/' + h.ROOT], ['//tmp']]);
    await child.kill();
  });
});
