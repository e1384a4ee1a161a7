'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('./harness');

const LOG = '../src/QtGui/qapplication GetFilePathFromClipboard';
const T = { timeout: 60000 };

// Qt serves text/uri-list as CRLF-terminated lines.
const uriList = async (env) => (await h.readClipboard(env, 'text/uri-list')).toString('latin1').split('\r\n').filter(Boolean);

test('clipboard file URLs', async (t) => {
  const x = await h.startXvfb({ width: 640, height: 480 });
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-clip-'));
  t.after(async () => {
    await x.stop();
    fs.rmSync(dir, { recursive: true, force: true });
  });
  // Runs the steps in a child (killed with the test) until it prints `until`.
  async function runSteps(t, steps, until = 'done') {
    const child = h.spawnChild(x.env, steps);
    t.after(() => child.kill());
    await child.waitFor((l) => l.op === until);
    return child;
  }
  const holdText = (t, text) => h.holdClipboard(x.env, 'UTF8_STRING', text).then((holder) => (t.after(() => holder.kill()), holder));

  await t.test('setClipboardUrl with a non-string throws TypeError and leaves the clipboard alone', T, async (t) => {
    const holder = await holdText(t, 'known text');
    const child = await runSteps(t, [{ op: 'setClipboardUrl', arg: 42 }, { op: 'setClipboardUrl' }, { op: 'setClipboardUrl', arg: null }, { op: 'exec' }], 'exec');
    const calls = child.events('setClipboardUrl');
    assert.equal(calls.length, 3);
    for (const c of calls) assert.deepEqual(c.error, { name: 'TypeError', message: 'Wrong arguments' });
    assert.ok(holder.alive, 'the clipboard owner must not have lost the clipboard');
    assert.equal((await h.readClipboard(x.env, 'UTF8_STRING')).toString(), 'known text');
    assert.ok(!(await h.clipboardTargets(x.env)).includes('text/uri-list'));
  });

  await t.test('setClipboardUrl puts "file:///" + path on the clipboard while the process runs', T, async (t) => {
    const holder = await holdText(t, 'old contents');
    const child = await runSteps(t, [{ op: 'setClipboardUrl', arg: '/tmp/a.png' }, { op: 'exec' }], 'exec');
    const r = child.events('setClipboardUrl')[0];
    assert.equal(r.error, undefined);
    assert.equal(r.retType, 'undefined');
    assert.deepEqual(await uriList(x.env), ['file:////tmp/a.png']);
    // Earlier contents are dropped: the previous owner lost the clipboard.
    assert.ok(await h.waitUntil(() => !holder.alive), 'previous owner should have lost the clipboard');
    // Served by the child: gone when it exits.
    await child.kill();
    assert.deepEqual(await h.clipboardTargets(x.env), []);
  });

  await t.test('setClipboardUrl reads the path bytes as Latin-1 and always prefixes', T, async (t) => {
    await runSteps(t, [{ op: 'setClipboardUrl', arg: '/tmp/\u00e9.png' }, { op: 'exec' }], 'exec');
    // é is C3 A9 in UTF-8; read as Latin-1 that is "Ã©", percent-encoded as UTF-8 again.
    assert.deepEqual(await uriList(x.env), ['file:////tmp/%C3%83%C2%A9.png']);
  });

  await t.test('setClipboardUrl then getFilePathFromClipboard in one process', T, async (t) => {
    const file = path.join(dir, 'own.txt');
    fs.writeFileSync(file, 'x');
    const get = { op: 'getFilePathFromClipboard' };
    const child = await runSteps(t, [{ op: 'setClipboardUrl', arg: file }, get, { op: 'setClipboardUrl', arg: dir }, get]);
    const [first, second] = child.events('getFilePathFromClipboard');
    // The fourth slash survives as a leading "//", which still names the same file.
    assert.deepEqual(first.result, { fileList: ['/' + file], dirList: [] });
    assert.deepEqual(second.result, { fileList: [], dirList: ['/' + dir] });
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
    const child = await runSteps(t, [{ op: 'getFilePathFromClipboard' }]);
    const got = child.events('getFilePathFromClipboard')[0];
    assert.deepEqual(got.keys, ['fileList', 'dirList']);
    assert.deepEqual(got.result, { fileList: [fileB, fileA], dirList: [subB, subA, link] });
    const log = child.stderr;
    assert.ok(log.includes(`${LOG} 192 : ${JSON.stringify(fileA)}`), log);
    assert.ok(log.includes(`${LOG} 192 : ${JSON.stringify(missing)}`), log);
    // The missing file and the remote URL are both skipped.
    assert.equal(log.split(`${LOG} 205 : others, skip it.`).length - 1, 2, log);
    assert.ok(!log.includes('no url in clipboard.'), log);
  });

  await t.test('plain text on the clipboard gives two empty lists', T, async (t) => {
    await holdText(t, '/etc/hostname');
    const child = await runSteps(t, [{ op: 'getFilePathFromClipboard' }]);
    assert.deepEqual(child.events('getFilePathFromClipboard')[0].result, { fileList: [], dirList: [] });
    await child.exited;
    assert.ok(child.stderr.includes(`${LOG} 211 : no url in clipboard.`), child.stderr);
    assert.ok(!child.stderr.includes(`${LOG} 192`), child.stderr);
  });
});
