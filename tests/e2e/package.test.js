'use strict';
// The package as users get it: npm pack, npm install into a fresh app (node-gyp against the
// local Node headers, nothing downloaded), one capture through require('screencapture'), and a
// node-gyp rebuild against headers of another ABI, as @electron/rebuild does with Electron's.
const test = require('node:test');
const assert = require('node:assert/strict');
const { spawnSync } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const tmp = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-package-'));
const app = path.join(tmp, 'app');
const pkg = path.join(app, 'node_modules', 'screencapture');
process.env.SCREENCAPTURE_MODULE = pkg; // the harness's child process loads the installed package
const h = require('./harness');

const nodeDir = path.resolve(process.execPath, '..', '..'); // holds include/node
const offline = 'http://127.0.0.1:9'; // any download attempt fails
const env = { ...process.env, npm_config_nodedir: nodeDir, JOBS: '2', https_proxy: offline, http_proxy: offline };
delete env.SCREENCAPTURE_MODULE;

function run(cmd, args, { ok = true, ...opts } = {}) {
  const r = spawnSync(cmd, args, { encoding: 'utf8', env, maxBuffer: 64 << 20, timeout: 20 * 60000, ...opts });
  r.out = `${r.stdout}\n${r.stderr}`;
  if (ok) assert.equal(r.status, 0, `${cmd} ${args.join(' ')}:\n${r.out}`);
  return r;
}
const npm = (args, opts) => run('npm', ['--offline', '--no-audit', '--no-fund', ...args], opts);
const cppUnder = (files) => files.filter((f) => /^src\/.*\.cpp$/.test(f)).sort();

test('npm pack, npm install in a fresh app, capture, rebuild for another ABI', { timeout: 30 * 60000 }, async (t) => {
  t.after(() => fs.rmSync(tmp, { recursive: true, force: true }));
  const [packed] = JSON.parse(npm(['pack', '--json', '--pack-destination', tmp], { cwd: h.ROOT }).stdout);
  const files = packed.files.map((f) => f.path);
  t.diagnostic(`tarball ${packed.filename}: ${packed.size} bytes, ${files.length} files, ${packed.unpackedSize} unpacked`);
  const tarball = path.join(tmp, packed.filename);

  await t.test('the tarball holds what a build needs: no tests, pictures or benchmarks', () => {
    const stray = files.filter((f) => /^(tests?|bench|docs|scripts|tools|build)\/|\.test\.|CMakeLists/.test(f) || (/\.png$/.test(f) && !f.startsWith('src/diagramscene/images/')));
    assert.deepEqual(stray, []);
    for (const f of ['binding.gyp', 'index.js', 'index.d.ts', 'LICENSE', 'src/diagramscene/images/LICENSE.md', 'src/qt.cpp']) assert.ok(files.includes(f), f);
  });

  fs.mkdirSync(app);
  fs.writeFileSync(path.join(app, 'package.json'), '{ "name": "app", "private": true }\n');

  await t.test('without Qt the install ends with one line naming the Debian packages', () => {
    const out = npm(['install', '--foreground-scripts', tarball], { cwd: app, ok: false, env: { ...env, PKG_CONFIG_LIBDIR: path.join(tmp, 'none'), PKG_CONFIG_PATH: '' } }).out;
    assert.match(out, /^screencapture: .* not found; install the build dependencies with: sudo apt-get install qtbase5-dev qtbase5-dev-tools libxcb1-dev libxcb-shm0-dev libx11-dev pkg-config g\+\+ make python3$/m);
    assert.doesNotMatch(out, /gyp (info|ERR)/, 'node-gyp must not have started');
  });

  const log = npm(['install', '--foreground-scripts', tarball], { cwd: app }).out;

  await t.test('node-gyp builds every shipped source warning-free, the same list CMake builds', () => {
    assert.doesNotMatch(log, /warning:/);
    const objects = fs.readdirSync(path.join(pkg, 'build/Release/obj.target'), { recursive: true });
    const gypSources = cppUnder(objects.map((f) => f.replace(/^screencapture(_core)?\//, '').replace(/\.o$/, '.cpp')));
    assert.deepEqual(gypSources, cppUnder(files));
    const cmake = ['screencapture_core', 'screencapture'].flatMap((target) => {
      const info = fs.readFileSync(path.join(h.ROOT, 'build/CMakeFiles', `${target}.dir/DependInfo.cmake`), 'utf8');
      return [...info.matchAll(/"([^"]+\.cpp)"/g)].map((m) => path.relative(h.ROOT, m[1]));
    });
    assert.deepEqual(cppUnder(cmake), cppUnder(files));
  });

  await t.test("require('screencapture') in the app gives the native exports", () => {
    assert.equal(run(process.execPath, ['-p', "JSON.stringify(Object.keys(require('screencapture')))"], { cwd: app }).stdout.trim(), '["Main"]');
  });

  await t.test('one capture ends in "image" with the exact crop on the clipboard', async (t) => {
    const x = await h.desktop(t, 800, 600, h.makePatternImage(800, 600));
    const child = await h.startCapture(t, x);
    await h.drag(x.env, 120, 90, 420, 330);
    await h.key(x.env, 'Return');
    const img = await h.copiedImage(child, x.env);
    assert.equal(h.patternCropMismatch(img, { x: 120, y: 90, w: 300, h: 240 }), null);
  });

  await t.test("building with --nodedir at other headers gives a module of their NODE_MODULE_VERSION", () => {
    const headers = path.join(tmp, 'headers', 'include', 'node');
    fs.cpSync(path.join(nodeDir, 'include', 'node'), headers, { recursive: true });
    const versionH = path.join(headers, 'node_version.h');
    const other = Number(process.versions.modules) + 1000;
    fs.writeFileSync(versionH, fs.readFileSync(versionH, 'utf8').replace(/(#define NODE_MODULE_VERSION) \d+/, `$1 ${other}`));
    const nodeGyp = env.npm_config_node_gyp || path.join(run('npm', ['root', '-g']).stdout.trim(), 'npm/node_modules/node-gyp/bin/node-gyp.js');
    const gypEnv = { ...env };
    delete gypEnv.npm_config_nodedir; // node-gyp lets npm's variables override its flags
    run(process.execPath, [nodeGyp, 'configure', 'build', `--nodedir=${path.dirname(path.dirname(headers))}`], { cwd: pkg, env: gypEnv });
    assert.throws(() => require(pkg), new RegExp(`NODE_MODULE_VERSION ${other}\\.`));
  });
});
