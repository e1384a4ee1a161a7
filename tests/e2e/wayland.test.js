'use strict';
// Captures on a Wayland session: headless sway with XWayland and the screenshot portal, the
// desktop a native Wayland client (swaybg) showing the position-coded pattern. Failure paths
// run against stand-in portals on private buses.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const os = require('os');
const path = require('path');
const h = require('./harness');
const { startSway, standinPortal, grim, logicalSize } = require('../../scripts/wayland-session');
const { failingCompositor } = require('./failing-compositor');

const T = { timeout: 120000 };
const EXIT = [{ args: ['exit'], thisIsNull: true }];
const FAILED = 'capture ended without a screenshot: ';

// sway with outputs [{ w, h, scale, transform }] side by side showing one pattern across all of
// them (each at its own scale). `shot` is grim's picture of it, at the largest scale.
async function waylandDesktop(t, outputs) {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-wl-pic-'));
  const scales = outputs.map((o) => o.scale || 1);
  const scale = Math.max(...scales);
  let x = 0;
  const pictures = outputs.map((o, i) => {
    const file = path.join(dir, `${i}.png`);
    const [w, h2] = logicalSize(o).map((v) => v * scales[i]);
    const crop = h.image(w, h2, (px, py) => h.patternPixel(x * scales[i] + px, py));
    fs.writeFileSync(file, h.writePng(w, h2, crop.data));
    x += logicalSize(o)[0];
    return file;
  });
  const s = await startSway(outputs, pictures);
  t.after(() => s.stop().then(() => fs.rmSync(dir, { recursive: true, force: true })));
  let shot;
  // Where sway or grim resample an output (scales that differ or are fractional) the pattern
  // is only in the picture's size.
  const whole = { x: 0, y: 0, w: x * scale, h: s.height * scale };
  const exact = Number.isInteger(scale) && scales.every((k) => k === scale);
  const shows = (img) => (exact ? h.patternCropMismatch(img, whole) === null : img.width === whole.w);
  assert.ok(await h.waitUntil(async () => shows(shot = await grim(s.env))), 'grim shows the pattern on every output');
  // Qt is asked for its wayland platform: the module must go through XWayland anyway. The
  // session type says tty, as for a sway started from a console: WAYLAND_DISPLAY tells.
  const child = { ...s.env, QT_QPA_PLATFORM: 'wayland', XDG_SESSION_TYPE: 'tty' };
  // `portal` always asks the portal; `direct` has none to ask, so only reading the compositor
  // directly gives a picture.
  return { ...s, scale, shot, child, portal: { ...child, SCREENCAPTURE_NO_SCREENCOPY: '1' }, direct: { ...child, DBUS_SESSION_BUS_ADDRESS: 'unix:path=/nonexistent' } };
}

// Drags the region r (logical pixels) and confirms with Enter; returns the clipboard image.
async function copyRegion(s, child, r) {
  await h.drag(s.env, r.x, r.y, r.x + r.w, r.y + r.h);
  await h.sleep(150);
  await h.key(s.env, 'Return');
  return h.copiedImage(child, s.env);
}

// null when img is exactly grim's picture of the logical region r.
function grimMismatch(s, img, r) {
  const k = s.scale;
  if (img.width !== r.w * k || img.height !== r.h * k) return `size ${img.width}x${img.height}, want ${r.w * k}x${r.h * k}`;
  const cmp = h.comparePixels(img, (px, py) => h.pixelAt(s.shot, r.x * k + px, r.y * k + py), { tolerance: 0 });
  return cmp.bad === 0 ? null : h.diffText(cmp);
}

test('Wayland session', async (t) => {
  // The silent portal takes the whole bounded wait, so the failure paths run alongside, on an
  // XWayland of their own.
  const x = await waylandDesktop(t, [{ w: 320, h: 240 }]);
  const notPicture = path.join(x.env.XDG_RUNTIME_DIR, 'not-a-picture.png');
  fs.writeFileSync(notPicture, 'not a picture');
  const late = path.join(x.env.XDG_RUNTIME_DIR, 'late.png');
  fs.writeFileSync(late, h.writePng(32, 24, h.makePatternImage(32, 24).data));
  const failures = Promise.all([
    [null, null, 'no XWayland: '],
    [null, undefined, 'the desktop portal is not available (org.freedesktop.DBus.Error.ServiceUnknown'],
    ['deny', undefined, 'the desktop portal refused the screenshot (response 1, cancelled or denied)'],
    ['file', '/nonexistent/shot.png', 'cannot read the portal\'s screenshot "file:///nonexistent/shot.png"'],
    ['file', notPicture, `cannot read the portal's screenshot "file://${notPicture}"`],
    ['silent', undefined, 'no answer from the desktop portal within 30 s'],
    ['late', late, 'no answer from the desktop portal within 30 s'],
  ].map(async ([mode, file, line], i) => {
    const portal = await standinPortal(mode, file);
    t.after(() => portal.stop());
    const env = { ...x.portal, ...portal.env };
    if (i === 0) delete env.DISPLAY; // no XWayland: Qt's xcb plugin must not take the host down
    // A compositor that fails the direct copy: the portal is asked, and refuses.
    const failing = i === 2 && failingCompositor(path.join(x.env.XDG_RUNTIME_DIR, 'failing-wayland'));
    if (failing) Object.assign(env, { WAYLAND_DISPLAY: failing.path, SCREENCAPTURE_NO_SCREENCOPY: '' });
    // The host goes on after a capture that gave up on the portal; its late answer still comes.
    const child = h.spawnChild(env, [{ op: 'capture', args: 'cb3' }, ...(mode === 'late' ? [{ op: 'wait' }] : [])]);
    t.after(() => { child.kill(); if (failing) failing.close(); });
    const r = await child.waitFor((l) => l.op === 'captured', { timeout: 45000, what: line });
    assert.deepEqual(r.calls, EXIT, line);
    if (failing) await child.waitForStderr('reading the screen directly failed, asking the portal: the compositor failed to copy an output');
    await child.waitForStderr(FAILED + line);
    if (mode === 'late') {
      assert.ok(await h.waitUntil(() => !fs.existsSync(late), { timeout: 15000 }), 'the late answer\'s file is removed');
      return;
    }
    assert.deepEqual(await child.exited, { code: 0, signal: null });
    if (file === notPicture) assert.ok(fs.existsSync(notPicture), 'a file that is no picture is not removed');
  }));
  failures.catch(() => {}); // reported by the await at the end

  await t.test('two outputs side by side: the frozen picture dimmed over both, a click taking nothing, a region across the border copied, text typed, Esc, save as', T, async (t) => {
    const [W, H] = [640, 480];
    const s = await waylandDesktop(t, [{ w: W, h: H }, { w: W, h: H }]);
    let child = await h.startCapture(t, { ...s, width: 2 * W, height: H }, { env: s.direct });
    const dimmed = (shot) => h.comparePixels(shot, (px, py) => h.dimmedPattern(px, py));
    let cmp;
    const ok = await h.waitUntil(async () => (cmp = dimmed(await grim(s.env))).bad === 0, { timeout: 15000 });
    assert.ok(ok, `overlay over ${2 * W}x${H}: ${h.diffText(cmp)}`);
    const region = { x: W - 150, y: 100, w: 300, h: 200 };
    // No window is proposed here: a click takes nothing and the selection goes on.
    await h.clickAt(s.env, 200, 300);
    await h.sleep(150);
    assert.equal(grimMismatch(s, await copyRegion(s, child, region), region), null);
    await child.kill();

    // Text goes to the text annotation; then Esc ends the session.
    const layout = await h.layoutProbe(s.env);
    child = await h.startCapture(t, { ...s, width: 2 * W, height: H }, { env: s.direct });
    await h.drag(s.env, region.x, region.y, region.x + region.w, region.y + region.h);
    // The toolbar stays on the right output, where the region's bottom-right corner is.
    const onRight = (p) => ({ ...p, x: Math.max(p.x, W) });
    await h.clickAt(s.env, ...Object.values(h.toolButton(layout, onRight(h.barBelow(layout, region)), 'tool_text')));
    await h.typedTextShows(region, { click: (...p) => h.clickAt(s.env, ...p), type: (text) => h.type(s.env, text), shot: () => grim(s.env) });
    await h.key(s.env, 'Escape');
    assert.deepEqual((await child.result()).calls, EXIT);
    await child.kill();

    // Nothing shows above the overlay: it makes way for the save dialog, which gets the keys.
    // The picture comes from the portal, as on a compositor without the direct way; the portal
    // writes it to /tmp/out.png.
    fs.rmSync('/tmp/out.png', { force: true });
    const written = [];
    const watcher = fs.watch('/tmp', (event, name) => name === 'out.png' && written.push(event));
    t.after(() => watcher.close());
    child = await h.startCapture(t, { ...s, width: 2 * W, height: H }, { env: { ...s.portal, HOME: s.env.XDG_RUNTIME_DIR } });
    await h.drag(s.env, region.x, region.y, region.x + region.w, region.y + region.h);
    await h.clickAt(s.env, ...Object.values(h.toolButton(layout, onRight(h.barBelow(layout, region)), 'tool_save')));
    await h.waitForWindowNamed(s.env, '存储', { child });
    assert.deepEqual(await h.visibleOverlays(s.env), []);
    const saved = path.join(s.env.XDG_RUNTIME_DIR, 'saved.png');
    await h.typeSaveName(s.env, saved);
    assert.deepEqual((await child.result()).calls, [{ args: ['save'], thisIsNull: true }]);
    assert.equal(h.patternCropMismatch(h.readPng(fs.readFileSync(saved)), region), null);
    assert.ok(written.length > 0 && !fs.existsSync('/tmp/out.png'), `the portal's file for this capture (${written}) is removed`);
  });

  await t.test('the portal\'s file stays when it is a link, another user\'s or older than the request', T, async (t) => {
    const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-wl-file-'));
    t.after(() => fs.rmSync(dir, { recursive: true, force: true }));
    const picture = path.join(dir, 'picture.png');
    fs.writeFileSync(picture, h.writePng(320, 240, h.makePatternImage(320, 240).data));
    const link = path.join(dir, 'link.png');
    fs.symlinkSync(picture, link);
    const theirs = path.join(dir, 'theirs.png');
    fs.copyFileSync(picture, theirs);
    fs.chownSync(theirs, 65534, 65534);
    const old = path.join(dir, 'old.png');
    fs.copyFileSync(picture, old);
    fs.utimesSync(old, 0, 0);
    // The last answer comes on a request path the portal chose itself.
    for (const [mode, file] of [['file', link], ['file', theirs], ['moved', old]]) {
      const portal = await standinPortal(mode, file);
      t.after(() => portal.stop());
      const child = await h.startCapture(t, { ...x, width: 320, height: 240 }, { env: { ...x.portal, ...portal.env } });
      await h.key(x.env, 'Escape');
      assert.deepEqual((await child.result()).calls, EXIT);
      assert.ok(fs.existsSync(file) && fs.existsSync(picture), `${path.basename(file)} is left alone`);
    }
  });

  await t.test('an X server nested in a Wayland session is captured as X11', T, async (t) => {
    const d = await h.desktop(t, 640, 480, h.makePatternImage(640, 480));
    const child = await h.startCapture(t, d, { env: { ...d.env, WAYLAND_DISPLAY: 'wayland-sc-none' } });
    const region = { x: 40, y: 30, w: 200, h: 100 };
    assert.equal(h.patternCropMismatch(await copyRegion(d, child, region), region), null);
  });

  // At 1.5 sway draws the desktop at scale 2 and shrinks it: the copy (read directly, and at 1.5
  // through the portal too) must hold the screen itself, as grim reads it before the capture.
  for (const [scale, w, hgt, region] of [[2, 1280, 800, { x: 101, y: 51, w: 200, h: 150 }], [1.5, 1920, 1080, { x: 100, y: 50, w: 300, h: 200 }]]) {
    await t.test(`an output at scale ${scale}: the clipboard holds device pixels, unscaled`, T, async (t) => {
      const s = await waylandDesktop(t, [{ w, h: hgt, scale }]);
      for (const env of scale === 2 ? [s.direct] : [s.direct, s.portal]) {
        const child = await h.startCapture(t, { ...s, width: w / scale, height: hgt / scale }, { env, settle: 300 });
        assert.equal(grimMismatch(s, await copyRegion(s, child, region), region), null);
        await child.kill();
      }
    });
  }

  await t.test('turned outputs of two scales side by side: the desktop as it shows', T, async (t) => {
    const s = await waylandDesktop(t, [{ w: 640, h: 480, transform: '90' }, { w: 1280, h: 960, scale: 2, transform: 'flipped-270' }]);
    const child = await h.startCapture(t, { ...s, width: 960, height: 640 }, { env: s.direct });
    const region = { x: 400, y: 300, w: 200, h: 250 };
    assert.equal(grimMismatch(s, await copyRegion(s, child, region), region), null);
  });

  await failures;
});
