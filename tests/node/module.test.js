'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const { spawnSync } = require('child_process');
const h = require('../e2e/harness');

test('module surface', () => {
  const exported = require(h.ROOT);
  assert.deepEqual(Object.keys(exported), ['Main']);
  assert.equal(exported.Main.name, 'QApplicationWrap');
  assert.equal(exported, require(h.MODULE_PATH), 'index.js must hand back the native exports as is');
});

test('Main() without new creates no Qt application', () => {
  const env = { ...process.env, QT_QPA_PLATFORM: 'xcb' };
  delete env.DISPLAY;
  delete env.WAYLAND_DISPLAY;
  const run = (source) => spawnSync(process.execPath, ['-e', `const { Main } = require(process.argv[1]); ${source}`, h.ROOT], { env, encoding: 'utf8', timeout: 30000 });
  const plain = run('process.stdout.write(typeof Main());');
  assert.deepEqual([plain.status, plain.stdout], [0, 'undefined'], plain.stderr);
});
