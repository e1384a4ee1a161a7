'use strict';
// A private headless GNOME Shell session: gnome-shell (mutter) with virtual monitors side by
// side and XWayland, a private session bus and a stand-in system bus, xdg-desktop-portal with
// its GNOME and GTK backends, the desktop a known picture; everything of the session runs as an
// unprivileged user, clients (the tests, as root) reach it through the bus, XWayland's cookie and
// scripts/gnome-input.py, which sends input through the compositor. Used by the end-to-end tests
// and the benchmarks.
const { spawn } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { PNG } = require('pngjs');
const { run, until, start, stop, privateDir } = require('./wayland-session');

const USER = 'sc-gnome';
const PYTHON = '/usr/bin/python3'; // Debian's, where python3-gi lives
const INPUT = path.join(__dirname, 'gnome-input.py');
const KEYSYMS = { Return: 0xff0d, Escape: 0xff1b, Tab: 0xff09, BackSpace: 0xff08, ctrl: 0xffe3, shift: 0xffe1, alt: 0xffe9 };

async function sessionUser() {
  if (process.getuid() !== 0) throw new Error('the GNOME session is started as root (it runs as the user ' + USER + ')');
  const id = async (flag) => Number(String(await run('id', [flag, USER])).trim());
  await run('useradd', ['--create-home', '--shell', '/usr/sbin/nologin', USER]).catch(() => {});
  return { uid: await id('-u'), gid: await id('-g') };
}

// dbus-daemon of `type` (session or system) as the user, open to root's clients too.
async function bus(user, dir, type, env) {
  const address = `unix:path=${dir}/${type}_bus`;
  const config = path.join(dir, `${type}.conf`);
  fs.writeFileSync(config, `<busconfig><type>${type}</type><listen>${address}</listen>
${type === 'session' ? `<servicedir>${services(dir)}</servicedir>` : ''}
<policy context="default"><allow user="*"/><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>`);
  const proc = asUser(user, 'dbus-daemon', ['--nofork', `--config-file=${config}`], env);
  await until(`the ${type} bus`, () => fs.existsSync(`${dir}/${type}_bus`));
  return { address, proc };
}

// Of the session's activatable services only the permission store: others, such as the
// document portal (a FUSE mount) or the Shell's helpers, would outlive the session or are not
// needed.
function services(dir) {
  const out = path.join(dir, 'services');
  fs.mkdirSync(out, { recursive: true });
  const name = 'org.freedesktop.impl.portal.PermissionStore.service';
  fs.copyFileSync(path.join('/usr/share/dbus-1/services', name), path.join(out, name));
  return out;
}

const asUser = (user, cmd, args, env, ...stdio) =>
  start('setpriv', [`--reuid=${user.uid}`, `--regid=${user.gid}`, '--clear-groups', cmd, ...args], env, ...stdio);

// The input driver: move(x, y), down()/up(), click(x, y), drag(rect), key('ctrl+a', 'Return'),
// type(text), shot(file), busy(on), portal(); each resolves once the compositor took the request.
function inputDriver(user, env) {
  const proc = asUser(user, PYTHON, [INPUT], env, 'pipe', 'pipe');
  const queue = [];
  let buffered = '';
  proc.stdout.on('data', (d) => {
    const lines = (buffered + d).split('\n');
    buffered = lines.pop();
    for (const l of lines) queue.shift()?.(l);
  });
  proc.exited.then(() => queue.splice(0).forEach((r) => r(`error the input driver exited:\n${proc.log}`)));
  const send = (line) =>
    new Promise((resolve, reject) => {
      queue.push((answer) => (answer.startsWith('ok') ? resolve(answer.slice(3)) : reject(new Error(`${line}: ${answer}`))));
      if (line !== null) proc.stdio[0].write(line + '\n');
    });
  const sym = (name) => KEYSYMS[name] ?? (name.length === 1 ? name.codePointAt(0) : Number(name));
  const d = {
    proc,
    ready: send(null),
    move: (x, y) => send(`move ${Math.round(x)} ${Math.round(y)}`),
    down: (n = 1) => send(`button ${n} 1`),
    up: (n = 1) => send(`button ${n} 0`),
    async click(x, y, n = 1) {
      await d.move(x, y);
      await d.down(n);
      await d.up(n);
    },
    // Presses at the top-left corner of r = { x, y, w, h }, moves in steps, releases at the other.
    async drag(r) {
      await d.move(r.x, r.y);
      await d.down();
      for (let i = 1; i <= 8; i++) await d.move(r.x + (r.w * i) / 8, r.y + (r.h * i) / 8);
      await d.up();
      await new Promise((res) => setTimeout(res, 150));
    },
    // Each argument a key or a chord such as 'ctrl+a'.
    async key(...keys) {
      for (const k of keys) {
        const syms = k.split('+').map(sym);
        for (const s of syms) await send(`key ${s} 1`);
        for (const s of syms.reverse()) await send(`key ${s} 0`);
      }
    },
    async type(text, delay = 20) {
      for (const c of text) {
        await d.key(c);
        await new Promise((r) => setTimeout(r, delay));
      }
    },
    shot: (file) => send(`shot ${file}`),
    busy: (on) => send(`busy ${on ? 1 : 0}`).then(Number),
    // A screenshot through the desktop portal: { ms, code }.
    portal: () => send('portal').then((a) => ({ ms: Number(a.split(' ')[0]), code: Number(a.split(' ')[1]) })),
  };
  return d;
}

// Starts GNOME Shell with monitors [{ w, h }] side by side showing `picture` (a PNG as large as
// all of them) across them. Returns { env, user, home, width, height, input, shot(), permit(),
// stop() }: env reaches XWayland (DISPLAY, XAUTHORITY) and the session bus as a client;
// shot() is the compositor's picture of every monitor (decoded PNG); permit(answer) seeds the
// screenshot permission ('yes', 'no', or null to forget it).
async function startGnome(monitors, picture) {
  const user = await sessionUser();
  const dir = privateDir(user); // XDG_RUNTIME_DIR of the session
  const home = privateDir(user);
  const clientDir = privateDir(user);
  const procs = [];
  const session = {
    user, home,
    async stop() {
      for (const p of procs.reverse()) await stop(p);
      for (const d of [dir, home, clientDir]) fs.rmSync(d, { recursive: true, force: true });
    },
  };
  try {
    fs.mkdirSync('/tmp/.X11-unix', { recursive: true, mode: 0o1777 });
    fs.chmodSync('/tmp/.X11-unix', 0o1777);
    // GSettings from a key file: no dconf service needed, and nothing outside `home` changes.
    const wallpaper = path.join(home, 'desktop.png');
    fs.copyFileSync(picture, wallpaper);
    const settings = path.join(home, '.config', 'glib-2.0', 'settings');
    fs.mkdirSync(settings, { recursive: true });
    fs.writeFileSync(path.join(settings, 'keyfile'), `[org/gnome/desktop/background]
picture-uri='file://${wallpaper}'
picture-uri-dark='file://${wallpaper}'
picture-options='spanned'
[org/gnome/desktop/interface]
enable-hot-corners=false
enable-animations=false
[org/gnome/desktop/notifications]
show-banners=false
`);
    for (const p of [path.join(home, '.config'), path.join(home, '.config', 'glib-2.0'), settings, path.join(settings, 'keyfile'), wallpaper]) {
      fs.chownSync(p, user.uid, user.gid);
    }
    const wayland = 'wayland-sc';
    const env = {
      PATH: process.env.PATH, HOME: home, USER, LOGNAME: USER, XDG_RUNTIME_DIR: dir, GSETTINGS_BACKEND: 'keyfile',
      XDG_CURRENT_DESKTOP: 'GNOME', XDG_SESSION_TYPE: 'wayland', XDG_SESSION_DESKTOP: 'gnome', WAYLAND_DISPLAY: wayland,
      NO_AT_BRIDGE: '1', GTK_A11Y: 'none', LANG: 'C.UTF-8',
    };
    const system = await bus(user, dir, 'system', env);
    procs.push(system.proc);
    env.DBUS_SYSTEM_BUS_ADDRESS = system.address;
    const sessionBus = await bus(user, dir, 'session', env);
    procs.push(sessionBus.proc);
    env.DBUS_SESSION_BUS_ADDRESS = sessionBus.address;

    const shell = asUser(user, 'gnome-shell', ['--headless', '--wayland', `--wayland-display=${wayland}`,
      ...monitors.map((m) => `--virtual-monitor=${m.w}x${m.h}`)], env);
    procs.push(shell);
    let display;
    shell.stderr.on('data', (d) => (display ??= /Using public X11 display (:\d+)/.exec(d)?.[1]));
    await until('gnome-shell and XWayland', () => {
      if (shell.exitCode !== null) throw new Error(`gnome-shell exited:\n${shell.log}`);
      return display;
    }, 60000);
    await run('gdbus', ['wait', '--session', '--timeout', '60', 'org.gnome.Mutter.RemoteDesktop'], { env, timeout: 65000 });
    const auth = fs.readdirSync(dir).find((f) => f.startsWith('.mutter-Xwaylandauth'));
    Object.assign(env, { DISPLAY: display });
    // Portals are started here, with the whole environment, not by activation.
    for (const [cmd, name] of [['/usr/libexec/xdg-desktop-portal-gnome', 'org.freedesktop.impl.portal.desktop.gnome'],
      ['/usr/libexec/xdg-desktop-portal-gtk', 'org.freedesktop.impl.portal.desktop.gtk'],
      ['/usr/libexec/xdg-desktop-portal', 'org.freedesktop.portal.Desktop']]) {
      procs.push(asUser(user, cmd, [], env));
      await run('gdbus', ['wait', '--session', '--timeout', '30', name], { env, timeout: 35000 });
    }
    const input = inputDriver(user, env);
    procs.push(input.proc);
    await input.ready;
    const shot = async (file) => {
      await input.shot(file);
      const img = PNG.sync.read(fs.readFileSync(file));
      fs.rmSync(file);
      return img;
    };
    // The shell starts in the overview, and may not take the key that closes it at once.
    const want = PNG.sync.read(fs.readFileSync(picture));
    const desktopShows = (img) => [[0.5, 0.9], [0.25, 0.5], [0.75, 0.75]].every(([fx, fy]) => {
      const o = (Math.floor(fy * want.height) * want.width + Math.floor(fx * want.width)) * 4;
      return want.data.subarray(o, o + 3).equals(img.data.subarray(o, o + 3));
    });
    await until('the overview to close', async () => {
      await input.key('Escape');
      await new Promise((r) => setTimeout(r, 300));
      return desktopShows(await shot(path.join(dir, 'start.png')));
    }, 30000);

    const client = {
      ...process.env, HOME: home, XDG_RUNTIME_DIR: clientDir, DISPLAY: display, XAUTHORITY: path.join(dir, auth),
      WAYLAND_DISPLAY: path.join(dir, wayland), XDG_SESSION_TYPE: 'wayland', XDG_CURRENT_DESKTOP: 'GNOME',
      DBUS_SESSION_BUS_ADDRESS: sessionBus.address, QT_QPA_PLATFORM: 'xcb',
    };
    delete client.QT_MESSAGE_PATTERN;
    // The portal serves only its own user's programs: the module's host runs as that user.
    client[Symbol.for('screencapture.spawnAs')] = { uid: user.uid, gid: user.gid };
    let shots = 0;
    Object.assign(session, {
      env: client, shell, input,
      width: monitors.reduce((s, m) => s + m.w, 0), height: Math.max(...monitors.map((m) => m.h)),
      shot: () => shot(path.join(dir, `shot-${shots++}.png`)),
      async permit(answer) {
        const store = ['--session', '--dest', 'org.freedesktop.impl.portal.PermissionStore', '--object-path',
          '/org/freedesktop/impl/portal/PermissionStore', '--method'];
        if (answer) await run('gdbus', ['call', ...store, 'org.freedesktop.impl.portal.PermissionStore.SetPermission', 'screenshot', 'true', 'screenshot', '', `['${answer}']`], { env });
        else await run('gdbus', ['call', ...store, 'org.freedesktop.impl.portal.PermissionStore.Delete', 'screenshot', 'screenshot'], { env }).catch(() => {});
      },
    });
    await until('XWayland to span every monitor', async () =>
      String(await run('xrandr', ['--current'], { env: client })).includes(`current ${session.width} x ${session.height},`), 20000);
    return session;
  } catch (e) {
    await session.stop();
    throw e;
  }
}

module.exports = { startGnome };

// node scripts/gnome-session.js PICTURE.png WxH [WxH...]: a session to try things by hand.
if (require.main === module) {
  (async () => {
    const [picture, ...sizes] = process.argv.slice(2);
    const s = await startGnome(sizes.map((m) => ({ w: Number(m.split('x')[0]), h: Number(m.split('x')[1]) })), picture);
    console.log(JSON.stringify({ DISPLAY: s.env.DISPLAY, XAUTHORITY: s.env.XAUTHORITY, DBUS_SESSION_BUS_ADDRESS: s.env.DBUS_SESSION_BUS_ADDRESS, WAYLAND_DISPLAY: s.env.WAYLAND_DISPLAY }));
    process.on('SIGINT', () => s.stop().then(() => process.exit(0)));
    process.stdin.resume();
  })().catch((e) => {
    console.error(e);
    process.exit(1);
  });
}
