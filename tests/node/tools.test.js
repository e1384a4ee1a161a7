'use strict';
// The test tooling itself: if these are wrong, every pixel check downstream is meaningless.
const test = require('node:test');
const assert = require('node:assert/strict');
const { spawnSync, execFileSync } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { writePng, readPng } = require('../e2e/png');
const h = require('../e2e/harness');

const XVFB_RUN = path.join(h.ROOT, 'scripts', 'xvfb-run.sh');

test('PNG codec', async (t) => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-png-'));
  t.after(() => fs.rmSync(dir, { recursive: true, force: true }));

  await t.test('round-trips through our writer and ImageMagick formats', () => {
    const img = h.makePatternImage(300, 70);
    const file = path.join(dir, 'p.png');
    fs.writeFileSync(file, writePng(img.width, img.height, img.data));
    assert.deepEqual(readPng(fs.readFileSync(file)), img);
    for (const fmt of ['png24', 'png32', 'png48', 'png64']) {
      const out = execFileSync('convert', [file, `${fmt}:-`]);
      const back = readPng(out);
      assert.equal(back.width, 300, fmt);
      assert.ok(back.data.equals(img.data), fmt);
    }
  });

  await t.test('decodes palette and grey images', () => {
    const img = { width: 33, height: 9, data: Buffer.alloc(33 * 9 * 4) };
    for (let i = 0; i < 33 * 9; i++) {
      const v = (i % 4) * 85;
      img.data.set([v, v, v, 255], i * 4);
    }
    const file = path.join(dir, 'g.png');
    fs.writeFileSync(file, writePng(img.width, img.height, img.data));
    for (const fmt of ['png8', 'png:-define=png:color-type=0']) {
      const args = fmt.startsWith('png:') ? [file, '-define', 'png:color-type=0', '-depth', '2', 'png:-'] : [file, `${fmt}:-`];
      const back = readPng(execFileSync('convert', args));
      assert.ok(back.data.equals(img.data), fmt);
    }
  });

  await t.test('rejects what is not a PNG', () => {
    assert.throws(() => readPng(Buffer.from('GIF89a....')), /not a PNG/);
  });
});

test('pattern pixels name their own position', () => {
  for (const variant of [0, 1]) {
    for (const [x, y] of [[0, 0], [255, 256], [1279, 799], [2559, 1599], [4095, 4095]]) {
      assert.deepEqual(h.patternPosition(h.patternPixel(x, y, variant), variant), { x, y });
    }
  }
  // The variants differ beyond the pixel tolerance everywhere, also once dimmed, so a stale
  // screenshot cannot pass for a fresh one.
  for (let i = 0; i < 1000; i++) {
    const x = (i * 7919) % 2560;
    const y = (i * 104729) % 1600;
    const a = h.blend(h.patternPixel(x, y, 0), [53, 53, 53, 133]);
    const b = h.blend(h.patternPixel(x, y, 1), [53, 53, 53, 133]);
    assert.ok(a.some((v, k) => Math.abs(v - b[k]) > 2), `${x},${y}`);
  }
});

test('source-over blend of the dimming colour', () => {
  assert.deepEqual(h.blend([0, 0, 0], [53, 53, 53, 133]), [28, 28, 28]);
  assert.deepEqual(h.blend([255, 255, 255], [53, 53, 53, 133]), [150, 150, 150]);
  assert.deepEqual(h.blend([10, 20, 30], [53, 53, 53, 255]), [53, 53, 53]);
  assert.deepEqual(h.blend([10, 20, 30], [53, 53, 53, 0]), [10, 20, 30]);
});

test('xvfb-run.sh', async (t) => {
  await t.test('runs the command on its own server of the asked size and passes its status on', () => {
    const env = { ...process.env, DISPLAY: ':4242' };
    const r = spawnSync(
      XVFB_RUN,
      ['320x200', '--', 'sh', '-c', 'echo "$DISPLAY $XDG_RUNTIME_DIR"; xdpyinfo | grep dimensions; exit 7'],
      { env, encoding: 'utf8', timeout: 30000 },
    );
    assert.equal(r.status, 7, r.stderr);
    const [display, runtime] = r.stdout.split('\n')[0].split(' ');
    assert.match(display, /^:\d+$/);
    assert.notEqual(display, ':4242');
    assert.match(r.stdout, /dimensions:\s+320x200 pixels/);
    assert.ok(!fs.existsSync(runtime), 'runtime dir must be removed');
    // The server is gone once the script returns.
    const probe = spawnSync('xdpyinfo', [], { env: { ...process.env, DISPLAY: display }, encoding: 'utf8' });
    assert.notEqual(probe.status, 0);
  });

  await t.test('rejects a malformed size', () => {
    const r = spawnSync(XVFB_RUN, ['big', '--', 'true'], { encoding: 'utf8' });
    assert.equal(r.status, 2);
    assert.match(r.stderr, /usage/);
  });
});

test('startXvfb gives each caller its own server and stop() ends its children', async () => {
  const [a, b] = await Promise.all([h.startXvfb({ width: 320, height: 200 }), h.startXvfb({ width: 400, height: 300 })]);
  try {
    assert.notEqual(a.display, b.display);
    const dims = (x) => String(execFileSync('xdpyinfo', [], { env: x.env })).match(/dimensions:\s+(\d+x\d+)/)[1];
    assert.equal(dims(a), '320x200');
    assert.equal(dims(b), '400x300');
    const holder = await h.holdClipboard(a.env, 'UTF8_STRING', 'x');
    await a.stop();
    assert.ok(!holder.alive);
    assert.notEqual(spawnSync('xdpyinfo', [], { env: a.env }).status, 0);
  } finally {
    await a.stop();
    await b.stop();
  }
});
