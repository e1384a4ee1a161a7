'use strict';
// A private headless Wayland session: sway with XWayland (as an unprivileged user when run as
// root: sway refuses root), swaybg showing pictures on its outputs, and on a private session
// bus pipewire, xdg-desktop-portal-wlr and xdg-desktop-portal. Also private buses with a
// stand-in portal. Used by the end-to-end tests and the benchmarks.
const { spawn, execFile } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const SWAY_USER = 'sc-wayland';
const PYTHON = '/usr/bin/python3'; // Debian's, where python3-gi lives
const STANDIN = path.join(__dirname, '..', 'tests', 'e2e', 'standin-portal.py');

const sleep = (ms) => new Promise((r) => setTimeout(r, ms));
const run = (cmd, args, opts = {}) =>
  new Promise((resolve, reject) =>
    execFile(cmd, args, { timeout: 20000, maxBuffer: 1 << 28, encoding: 'buffer', ...opts }, (err, out, stderr) =>
      err ? reject(Object.assign(err, { message: `${cmd} ${args.join(' ')}: ${err.message}\n${stderr}` })) : resolve(out)));

async function until(what, pred, timeout = 15000) {
  for (const end = Date.now() + timeout; !(await pred()); await sleep(50)) {
    if (Date.now() > end) throw new Error(`timed out waiting for ${what}`);
  }
}

// Every process started here runs in a group of its own, ended as a whole.
const live = new Set();
process.once('exit', () => live.forEach((p) => signalGroup(p, 'SIGKILL')));
function signalGroup(p, sig) {
  try {
    process.kill(-p.pid, sig);
  } catch {}
}
function start(cmd, args, env, stdout = 'ignore', stdin = 'ignore') {
  const p = spawn(cmd, args, { env, detached: true, stdio: [stdin, stdout, 'pipe'] });
  p.log = '';
  p.stderr.on('data', (d) => (p.log = (p.log + d).slice(-4000)));
  live.add(p);
  p.exited = new Promise((r) => p.once('exit', r));
  p.exited.then(() => live.delete(p));
  return p;
}
// SIGTERM to the process alone first: a whole-group SIGTERM also hits XWayland, and sway
// then restarts it while going down, leaving both behind. The group goes after it.
async function stop(p) {
  if (live.has(p)) {
    p.kill('SIGTERM');
    await Promise.race([p.exited, sleep(3000)]);
  }
  signalGroup(p, 'SIGKILL');
  if (live.has(p)) await p.exited;
  p.stderr.destroy(); // a leftover holding the pipe would keep this process alive
}

function privateDir(owner) {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-wl-'));
  fs.chmodSync(dir, 0o700);
  if (owner) fs.chownSync(dir, owner.uid, owner.gid);
  return dir;
}

// The user sway runs as: ourselves, or when root a dedicated one (created when missing).
async function swayUser() {
  if (process.getuid() !== 0) return null;
  const id = async (flag) => Number(String(await run('id', [flag, SWAY_USER])).trim());
  // Another run may be creating it at the same moment: only the look-up must succeed.
  await run('useradd', ['--create-home', '--shell', '/usr/sbin/nologin', SWAY_USER]).catch(() => {});
  return { uid: await id('-u'), gid: await id('-g') };
}

// A session bus in `dir`; without service files unless `activation`, so a missing service
// stays missing instead of being started.
async function privateBus(dir, { activation = false } = {}) {
  const address = `unix:path=${dir}/bus`;
  const config = path.join(dir, 'bus.conf');
  fs.writeFileSync(config, `<busconfig><type>session</type><listen>${address}</listen>
${activation ? '<standard_session_servicedirs/>' : ''}
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>`);
  const proc = start('dbus-daemon', ['--nofork', `--config-file=${config}`], process.env);
  await until('the session bus', () => fs.existsSync(`${dir}/bus`));
  return { address, proc };
}

async function waitForName(env, name) {
  await run('gdbus', ['wait', '--session', '--timeout', '15', name], { env, timeout: 20000 });
}

// A private bus owning org.freedesktop.portal.Desktop through standin-portal.py MODE FILE, or
// through nothing when mode is null. Returns { env (bus variables), stop() }.
async function standinPortal(mode, file = '') {
  const dir = privateDir();
  const bus = await privateBus(dir);
  const env = { DBUS_SESSION_BUS_ADDRESS: bus.address };
  const procs = [bus.proc];
  if (mode) {
    procs.push(start(PYTHON, [STANDIN, mode, file], { ...process.env, ...env }));
    await waitForName({ ...process.env, ...env }, 'org.freedesktop.portal.Desktop');
  }
  return {
    env,
    async stop() {
      for (const p of procs.reverse()) await stop(p);
      fs.rmSync(dir, { recursive: true, force: true });
    },
  };
}

// Screenshot of the compositor (every output) as { width, height, data: RGBA }.
async function grim(env, args = []) {
  const ppm = await run('grim', ['-t', 'ppm', ...args, '-'], { env });
  const m = /^P6\s+(\d+)\s+(\d+)\s+255\s/.exec(ppm.subarray(0, 40).toString('latin1'));
  const [width, height, rgb] = [Number(m[1]), Number(m[2]), ppm.subarray(m[0].length)];
  const data = Buffer.alloc(width * height * 4, 255);
  for (let i = 0; i < width * height; i++) rgb.copy(data, i * 4, i * 3, i * 3 + 3);
  return { width, height, data };
}

// Starts sway with outputs [{ w, h, scale }] side by side, each showing its picture (a PNG
// file) through swaybg, and the portals. Returns { env, width, height, stop() } where env
// reaches sway (WAYLAND_DISPLAY), its XWayland (DISPLAY) and the portal bus; width and height
// are XWayland's (logical) desktop.
async function startSway(outputs, pictures) {
  const user = await swayUser();
  const swayDir = privateDir(user);
  const dir = privateDir();
  const procs = [];
  const session = {
    async stop() {
      for (const p of procs.reverse()) await stop(p);
      for (const d of [swayDir, dir]) fs.rmSync(d, { recursive: true, force: true });
    },
  };
  try {
    let x = 0;
    const conf = outputs.map(({ w, h, scale = 1 }, i) => {
      const line = `output HEADLESS-${i + 1} resolution ${w}x${h} position ${x} 0 scale ${scale}`;
      x += w / scale;
      return line;
    });
    const ready = path.join(swayDir, 'ready');
    conf.push('xwayland force', 'default_border none', 'focus_follows_mouse no',
      `exec sh -c 'xhost +si:localuser:${os.userInfo().username} >/dev/null; echo "$WAYLAND_DISPLAY $DISPLAY $SWAYSOCK" >${ready}.tmp; mv ${ready}.tmp ${ready}'`);
    fs.writeFileSync(path.join(swayDir, 'config'), conf.join('\n') + '\n');
    const swayEnv = {
      PATH: process.env.PATH, HOME: user ? `/home/${SWAY_USER}` : os.homedir(), XDG_RUNTIME_DIR: swayDir,
      WLR_BACKENDS: 'headless', WLR_LIBINPUT_NO_DEVICES: '1', WLR_RENDERER: 'pixman',
    };
    const swayCmd = ['sway', '-c', path.join(swayDir, 'config')];
    const sway = start(user ? 'runuser' : swayCmd[0], user ? ['-u', SWAY_USER, '--', ...swayCmd] : swayCmd.slice(1), swayEnv);
    procs.push(sway);
    await until('sway and XWayland', () => {
      if (sway.exitCode !== null) throw new Error(`sway exited:\n${sway.log}`);
      return fs.existsSync(ready);
    });
    const [wayland, display, swaysock] = fs.readFileSync(ready, 'utf8').trim().split(' ');
    const bus = await privateBus(dir, { activation: true });
    procs.push(bus.proc);
    const env = {
      ...process.env, XDG_RUNTIME_DIR: dir, WAYLAND_DISPLAY: path.join(swayDir, wayland), DISPLAY: display,
      SWAYSOCK: swaysock, XDG_SESSION_TYPE: 'wayland', XDG_CURRENT_DESKTOP: 'sway', DBUS_SESSION_BUS_ADDRESS: bus.address,
      QT_QPA_PLATFORM: 'xcb',
    };
    delete env.QT_MESSAGE_PATTERN;
    Object.assign(session, { env, width: x, height: Math.max(...outputs.map((o) => o.h / (o.scale || 1))) });

    // The headless backend starts with one output; the others are added here.
    for (let i = 1; i < outputs.length; i++) await run('swaymsg', ['create_output'], { env });
    for (const line of conf.slice(1, outputs.length)) await run('swaymsg', line.split(' '), { env });
    const bg = outputs.flatMap((o, i) => ['-o', `HEADLESS-${i + 1}`, '-i', pictures[i], '-m', 'stretch']);
    procs.push(start('swaybg', bg, env));
    // xdg-desktop-portal 1.16 offers Screenshot only next to an Access backend; wlr has none.
    const portals = path.join(dir, 'portals');
    fs.mkdirSync(portals);
    fs.writeFileSync(path.join(portals, 'wlr.portal'), fs.readFileSync('/usr/share/xdg-desktop-portal/portals/wlr.portal', 'utf8')
      .replace(/^Interfaces=/m, 'Interfaces=org.freedesktop.impl.portal.Access;'));
    const pw = start('pipewire', [], env);
    procs.push(pw);
    await until('pipewire', () => fs.existsSync(path.join(dir, 'pipewire-0')));
    procs.push(start('/usr/libexec/xdg-desktop-portal-wlr', [], env));
    await waitForName(env, 'org.freedesktop.impl.portal.desktop.wlr');
    procs.push(start('/usr/libexec/xdg-desktop-portal', ['-r'], { ...env, XDG_DESKTOP_PORTAL_DIR: portals }));
    await waitForName(env, 'org.freedesktop.portal.Desktop');
    // XWayland learns the outputs' layout on its own schedule.
    await until('XWayland to span every output', async () =>
      String(await run('xrandr', ['--current'], { env })).includes(`current ${session.width} x ${session.height},`));
    return session;
  } catch (e) {
    await session.stop();
    throw e;
  }
}

module.exports = { startSway, standinPortal, grim, run, until, start, stop, privateDir };
