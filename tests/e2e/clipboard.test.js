'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('./harness');

const LOG = '../src/QtGui/qapplication GetFilePathFromClipboard';
const T = { timeout: 90000 };
const EMPTY = { fileList: [], dirList: [] };

// Qt serves text/uri-list as CRLF-terminated lines.
const uriList = async (env) => (await h.readClipboard(env, 'text/uri-list')).toString('latin1').split('\r\n').filter(Boolean);

test('clipboard file URLs', async (t) => {
  const x = await h.startXvfb({ width: 640, height: 480 });
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-clip-'));
  t.after(async () => {
    await x.stop();
    fs.rmSync(dir, { recursive: true, force: true });
  });
  // A child running `steps`, killed with the test; pause(n) waits for its n-th 'wait' step.
  function start(t, steps) {
    const child = h.spawnChild(x.env, steps);
    t.after(() => child.kill());
    const pause = (n) => h.eventually(() => assert.equal(child.events('waiting').length, n), { timeout: 20000 });
    return { child, pause };
  }
  const holdText = (t, text) => h.holdClipboard(x.env, 'UTF8_STRING', text).then((holder) => (t.after(() => holder.kill()), holder));

  await t.test('the process own calls: receiver checks, bad arguments, setClipboardUrl then read back', T, async (t) => {
    const file = path.join(dir, 'own.txt');
    fs.writeFileSync(file, 'x');
    const get = { op: 'getFilePathFromClipboard' };
    const set = (arg) => ({ op: 'setClipboardUrl', arg });
    const { child, pause } = start(t, [
      get, { op: 'foreignReceiver' }, { op: 'deleteScreenCapture' }, { op: 'wait' },
      set(42), { op: 'setClipboardUrl' }, set(null), { op: 'wait' },
      set(file), get, set(dir), get, { op: 'wait' },
      set('/tmp/\u00e9.png'), { op: 'exec' },
    ]);
    await pause(1);
    // An empty clipboard gives two empty lists, in this order.
    const [empty] = child.events('getFilePathFromClipboard');
    assert.deepEqual([empty.result, empty.keys, empty.arrays], [EMPTY, ['fileList', 'dirList'], [true, true]]);
    assert.ok(child.stderr.includes(`${LOG} 211 : no url in clipboard.`), child.stderr);
    // An object made from the prototype has no native half: every method refuses it.
    const { errors } = child.events('foreignReceiver')[0];
    assert.deepEqual(Object.keys(errors), ['exec', 'screenCapture', 'getFilePathFromClipboard', 'deleteScreenCapture', 'setClipboardUrl', 'capture']);
    for (const [name, e] of Object.entries(errors)) assert.equal(e && e.name, 'TypeError', name);
    assert.equal(child.events('deleteScreenCapture')[0].retType, 'undefined');

    // setClipboardUrl with a non-string throws TypeError and leaves the clipboard alone.
    const holder = await holdText(t, 'known text');
    child.send();
    await pause(2);
    const calls = child.events('setClipboardUrl');
    assert.equal(calls.length, 3);
    for (const c of calls) assert.deepEqual(c.error, { name: 'TypeError', message: 'Wrong arguments' });
    assert.ok(holder.alive(), 'the clipboard owner must not have lost the clipboard');
    assert.equal((await h.readClipboard(x.env, 'UTF8_STRING')).toString(), 'known text');
    assert.ok(!(await h.clipboardTargets(x.env)).includes('text/uri-list'));

    // A path becomes "file:///" + path (see below); earlier contents are dropped. Read back in
    // the same process, the fourth slash survives as a leading "//", which still names the file.
    child.send();
    await pause(3);
    assert.deepEqual([child.events('setClipboardUrl')[3].error, child.events('setClipboardUrl')[3].retType], [undefined, 'undefined']);
    assert.ok(await h.waitUntil(() => !holder.alive()), 'previous owner should have lost the clipboard');
    const read = child.events('getFilePathFromClipboard').slice(1).map((e) => e.result);
    assert.deepEqual(read, [{ fileList: ['/' + file], dirList: [] }, { fileList: [], dirList: ['/' + dir] }]);

    // The path bytes are read as Latin-1: é (C3 A9 in UTF-8) becomes "Ã©", percent-encoded as
    // UTF-8 again. The clipboard is served by the process: gone when it exits.
    child.send();
    await child.waitFor((l) => l.op === 'exec');
    assert.deepEqual(await uriList(x.env), ['file:////tmp/%C3%83%C2%A9.png']);
    await child.kill();
    assert.deepEqual(await h.clipboardTargets(x.env), []);
  });

  await t.test('getFilePathFromClipboard sorts URLs from another program into files and directories', T, async (t) => {
    const [fileA, fileB, subA, subB, link, missing] = ['a file.txt', 'b.png', 'sub a', 'sub-b', 'link-to-sub', 'deleted.txt'].map((n) => path.join(dir, n));
    fs.writeFileSync(fileA, 'a');
    fs.writeFileSync(fileB, 'b');
    fs.mkdirSync(subA);
    fs.mkdirSync(subB);
    fs.symlinkSync(subB, link);
    const urls = [subB, fileB, missing, subA, fileA, link].map((p) => 'file://' + encodeURI(p));
    urls.push('https://example.invalid/remote.txt');
    const holder = await h.holdClipboard(x.env, 'text/uri-list', urls.join('\r\n') + '\r\n');
    t.after(() => holder.kill());
    const { child } = start(t, [{ op: 'getFilePathFromClipboard' }]);
    await child.exited;
    assert.deepEqual(child.events('getFilePathFromClipboard')[0].result, { fileList: [fileB, fileA], dirList: [subB, subA, link] });
    const log = child.stderr;
    assert.ok(log.includes(`${LOG} 192 : ${JSON.stringify(fileA)}`), log);
    assert.ok(log.includes(`${LOG} 192 : ${JSON.stringify(missing)}`), log);
    // The missing file and the remote URL are both skipped.
    assert.equal(log.split(`${LOG} 205 : others, skip it.`).length - 1, 2, log);
    assert.ok(!log.includes('no url in clipboard.'), log);

    // Plain text: two empty lists.
    await holder.kill();
    await holdText(t, '/etc/hostname');
    const text = start(t, [{ op: 'getFilePathFromClipboard' }]).child;
    await text.exited;
    assert.deepEqual(text.events('getFilePathFromClipboard')[0].result, EMPTY);
    assert.ok(text.stderr.includes(`${LOG} 211 : no url in clipboard.`) && !text.stderr.includes(`${LOG} 192`), text.stderr);
  });
});
