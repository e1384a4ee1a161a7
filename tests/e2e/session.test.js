'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const h = require('./harness');

const W = 1280;
const H = 800;
const LOG = '../src/QtGui/qapplication ScreenCapture';
const EXIT = [{ args: ['exit'], thisIsNull: true }];

// The pointer rests in a corner and does not move during pixel checks (the magnifier follows
// motion only), so the whole screen must be the dimmed pattern.
function assertDimmed(shot, variant, label) {
  assert.deepEqual([shot.width, shot.height], [W, H]);
  const cmp = h.comparePixels(shot, (x, y) => h.dimmedPattern(x, y, variant));
  assert.equal(cmp.bad, 0, `${label}: ${h.diffText(cmp)}`);
}

// One process runs capture after capture: each must take a fresh screenshot and end on its own.
test('capture sessions in one process', { timeout: 180000 }, async (t) => {
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));
  await h.mousemove(x.env, W - 1, H - 1);
  // Arguments other than (a, b, callback): still "./", no callback, and no crash.
  const odd = [
    { args: 'none', ret: './' },
    { args: 'two', ret: './' },
    { args: 'four', ret: './' },
    { args: 'notfn', ret: './' },
    { args: 'throwing', error: { name: 'Error', message: 'from callback' } },
  ];
  // Each capture is followed by a pause, so the parent sees its overlay go.
  const captures = ['cb3', 'cb3', ...odd.map((c) => c.args), 'cb3'];
  const child = h.spawnChild(x.env, [
    ...captures.flatMap((args, i) => [{ op: 'capture', args }, ...(i === 6 ? [{ op: 'deleteScreenCapture' }] : []), { op: 'wait' }]),
    { op: 'exec' },
  ]);
  t.after(() => child.kill());
  // Runs capture `index` (the ones before it were let go on) until `end` ends it.
  const session = async (index, end) => {
    if (index) child.send();
    await h.waitForOverlay(x.env, { child });
    await h.sleep(300);
    await end();
    const r = await child.result(index);
    await h.waitForOverlayGone(x.env);
    await h.eventually(() => assert.equal(child.events('waiting').length, index + 1));
    return r;
  };

  // Enter before a selection does not end it; Esc does, with "./" and callback("exit") once,
  // called with a null receiver. The undimmed desktop is back afterwards.
  let r = await session(0, async () => {
    assertDimmed(await h.screenshot(x.env), 0, 'overlay');
    await h.key(x.env, 'Return');
    await h.key(x.env, 'KP_Enter');
    await h.regionTaken(x.env);
    await h.assertOngoing(x.env, child, 'Enter without a region');
    await h.key(x.env, 'Escape');
  });
  assert.deepEqual([r.ret, r.error, r.calls], ['./', undefined, EXIT]);
  await child.waitForStderr(`${LOG} 161 : g_ImagePath:  ./`);
  assert.ok(child.stderr.indexOf('startLinuxScreen') < child.stderr.indexOf('endLinuxScreen'), child.stderr);
  assert.ok(child.stderr.includes(`${LOG} 160 : exitString "exit"`), child.stderr);
  assert.ok(!child.stderr.includes(`${LOG} 174`), 'no "other" line when a callback was given');
  const after = h.comparePixels(await h.screenshot(x.env), (px, py) => h.patternPixel(px, py), { tolerance: 0 });
  assert.equal(after.bad, 0, h.diffText(after));

  // A right-button press cancels like Esc.
  r = await session(1, () => h.clickAt(x.env, W / 2 + 100, H / 2 + 50, 3));
  assert.deepEqual([r.ret, r.calls], ['./', EXIT]);

  for (const [i, c] of odd.entries()) {
    r = await session(2 + i, () => h.key(x.env, 'Escape'));
    assert.deepEqual([r.ret, r.error, r.calls], [c.ret, c.error, []], c.args);
  }
  // "other" is logged for each call that had no callable third and last argument.
  assert.equal(child.stderr.split(`${LOG} 174 : other`).length - 1, 4, child.stderr);
  assert.equal(child.events('deleteScreenCapture')[0].retType, 'undefined');

  // A changed desktop shows in the next session.
  await h.setRootPattern(x.env, h.makePatternImage(W, H, 1));
  r = await session(7, async () => {
    assertDimmed(await h.screenshot(x.env), 1, 'second desktop');
    await h.key(x.env, 'Escape');
  });
  assert.deepEqual([r.ret, r.calls], ['./', EXIT]);
  child.send();
  await child.waitFor((l) => l.op === 'exec', { what: 'the child to go on after the calls' });
  assert.equal(child.exitCode, undefined, 'child must still be running');
});

test('two Main objects: Esc, right button and Enter end captures from either, also once one is collected; both serve the clipboard', { timeout: 300000 }, async (t) => {
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));
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

// A capture ended while a text is typed (Esc, right button, toolbar undo then Esc), or by Esc
// with the button down, leaves nothing behind: in the same process, the next capture is
// confirmed by Enter with the exact crop.
test('after each ending of a text being typed, and Esc with the button down, the next capture confirms with Enter', { timeout: 240000 }, async (t) => {
  const x = await h.desktop(t, W, H, h.makePatternImage(W, H));
  const layout = await h.layoutProbe(x.env);
  const child = h.spawnChild(x.env, [{ op: 'wait' }, { op: 'capture', args: 'cb3' }, { op: 'loop' }]);
  t.after(() => child.kill());
  let i = -1;
  const next = async () => {
    await child.waitFor(() => child.events('waiting').length > i + 1, { what: `the host to wait after capture ${i}` });
    await h.waitForOverlayGone(x.env);
    child.send();
    await h.waitForOverlay(x.env, { child });
    await h.sleep(200);
    return ++i;
  };
  const r = { x: 300, y: 200, w: 400, h: 260 };
  const button = async (withPopup, name) => h.clickAt(x.env, ...Object.values(h.toolButton(layout, (await h.panelsOn(x.env, layout, withPopup)).toolbar, name)));
  const keys = (...k) => h.key(x.env, ...k);
  // [name, a text typed first, the ending]
  const endings = [
    ['Escape', true, () => keys('Escape')],
    ['right button', true, () => h.clickAt(x.env, r.x + 200, r.y + 200, 3)],
    ['undo, then Escape', true, () => button(true, 'tool_back').then(() => h.sleep(200)).then(() => keys('Escape'))],
    ['Escape with the button down', false, () => h.mousemove(x.env, 900, 600).then(() => h.mousedown(x.env)).then(() => keys('Escape')).then(() => h.mouseup(x.env))],
  ];
  for (const [name, text, end] of endings) {
    await next();
    await h.drag(x.env, r.x, r.y, r.x + r.w, r.y + r.h);
    if (text) await button(false, 'tool_text').then(() => h.clickAt(x.env, r.x + 60, r.y + 60)).then(() => h.type(x.env, 'ab'));
    await end();
    assert.deepEqual(await h.ended(child, i), ['exit'], name);
    const crop = { x: 150 + 10 * (await next()), y: 120, w: 500, h: 300 };
    await h.drag(x.env, crop.x, crop.y, crop.x + crop.w, crop.y + crop.h);
    await keys('Return');
    assert.deepEqual(await h.ended(child, i), ['image'], `Enter after ${name}`);
    assert.equal(h.patternCropMismatch(h.readPng(await h.readClipboard(x.env, 'image/png')), crop), null, `after ${name}`);
  }
});
