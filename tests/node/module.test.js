'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const { spawnSync } = require('child_process');
const h = require('../e2e/harness');

// Nothing in this file may reach the desktop the tests were started from.
delete process.env.DISPLAY;
delete process.env.WAYLAND_DISPLAY;

const METHODS = ['exec', 'screenCapture', 'getFilePathFromClipboard', 'deleteScreenCapture', 'setClipboardUrl'];

function runScript(source, env) {
  return spawnSync(process.execPath, ['-e', source, h.ROOT], { env, encoding: 'utf8', timeout: 30000 });
}

test('module surface', async (t) => {
  const exported = require(h.ROOT);

  await t.test('exports exactly Main, the QApplicationWrap constructor', () => {
    assert.deepEqual(Object.keys(exported), ['Main']);
    assert.equal(typeof exported.Main, 'function');
    assert.equal(exported.Main.name, 'QApplicationWrap');
    assert.equal(exported, require(h.MODULE_PATH), 'index.js must hand back the native exports as is');
  });

  await t.test('prototype holds exactly the five methods in order', () => {
    const proto = exported.Main.prototype;
    const own = Object.getOwnPropertyNames(proto).filter((n) => n !== 'constructor');
    assert.deepEqual(own, METHODS);
    for (const name of METHODS) {
      assert.equal(typeof proto[name], 'function', name);
      assert.equal(proto[name].name, name);
    }
    assert.equal(proto.constructor, exported.Main);
  });

  await t.test('a foreign receiver gets the engine TypeError, not an abort', () => {
    for (const name of METHODS) {
      assert.throws(() => exported.Main.prototype[name].call({}), TypeError, name);
      assert.throws(() => exported.Main.prototype[name].call(Object.create(exported.Main.prototype)), TypeError, name);
    }
  });
});

test('Main() without new creates no Qt application', () => {
  // No display at all: a QApplication would abort the process, so a clean exit proves none was made.
  const env = { ...process.env, QT_QPA_PLATFORM: 'xcb' };
  delete env.DISPLAY;
  const plain = runScript(
    `const { Main } = require(process.argv[1]);
     const r = Main();
     process.stdout.write(JSON.stringify({ type: typeof r }));`,
    env,
  );
  assert.equal(plain.status, 0, plain.stderr);
  assert.deepEqual(JSON.parse(plain.stdout), { type: 'undefined' });

  // Control: with new, the same environment does reach Qt and fails there.
  const constructed = runScript(`const { Main } = require(process.argv[1]); new Main(); console.log('survived');`, env);
  assert.ok(constructed.status !== 0 || constructed.signal, 'new Main() without a display should not survive');
  assert.doesNotMatch(constructed.stdout, /survived/);
});

test('a constructed Main on a private X server', async (t) => {
  const x = await h.startXvfb({ width: 640, height: 480 });
  t.after(() => x.stop());

  const child = h.spawnChild(x.env, [
    { op: 'deleteScreenCapture' },
    { op: 'foreignReceiver' },
    { op: 'getFilePathFromClipboard' },
    { op: 'deleteScreenCapture' },
  ]);
  await child.waitFor((l) => l.op === 'done', { what: 'the steps to finish', timeout: 20000 });
  const { code } = await child.exited;
  assert.equal(code, 0, child.stderr);

  await t.test('deleteScreenCapture returns undefined', () => {
    const calls = child.events('deleteScreenCapture');
    assert.equal(calls.length, 2);
    for (const c of calls) assert.equal(c.retType, 'undefined');
  });

  await t.test('an unwrapped object from the prototype is rejected by every method', () => {
    const { errors } = child.events('foreignReceiver')[0];
    assert.deepEqual(Object.keys(errors), METHODS);
    for (const name of METHODS) assert.equal(errors[name] && errors[name].name, 'TypeError', name);
  });

  await t.test('an empty clipboard gives two empty lists in order', () => {
    const got = child.events('getFilePathFromClipboard')[0];
    assert.deepEqual(got.keys, ['fileList', 'dirList']);
    assert.deepEqual(got.arrays, [true, true]);
    assert.deepEqual(got.result, { fileList: [], dirList: [] });
    assert.match(child.stderr, /\.\.\/src\/QtGui\/qapplication GetFilePathFromClipboard 211 : no url in clipboard\./);
  });
});
