'use strict';
// Walk-through scenarios for choosing a region: resize it and confirm from the toolbar,
// confirm by a double click, save it as a PNG through the file dialog, and cancel that dialog.
// Each scenario also checks that the image it got is exactly the chosen part of the picture.
const fs = require('fs');
const os = require('os');
const path = require('path');
const { desktopPicture } = require('../desktop-picture');

module.exports = ({ h, W, H, capture, saveScreenshot, saveClipboardImage }) => {
  let picture;
  // Throws unless `file` holds the desktop picture's rectangle r = { x, y, w, h } exactly.
  function checkCrop(file, r) {
    picture = picture || desktopPicture(W, H);
    const img = h.readPng(fs.readFileSync(file));
    if (img.width !== r.w || img.height !== r.h) {
      throw new Error(`${path.basename(file)} is ${img.width}x${img.height}, want ${r.w}x${r.h}`);
    }
    for (let y = 0; y < r.h; y++) {
      for (let x = 0; x < r.w; x++) {
        const a = (y * r.w + x) * 4;
        const b = ((r.y + y) * W + r.x + x) * 4;
        if (img.data[a] !== picture[b] || img.data[a + 1] !== picture[b + 1] || img.data[a + 2] !== picture[b + 2]) {
          throw new Error(`${path.basename(file)} differs from the picture at ${r.x + x},${r.y + y}`);
        }
      }
    }
    return { width: img.width, height: img.height };
  }

  async function toolbar(ctx) {
    const r = await h.shotUntil(ctx.env, (shot) => {
      const tb = h.findToolbar(shot);
      return { ok: !!tb, tb };
    });
    if (!r.ok) throw new Error('the toolbar did not show');
    return r.tb;
  }

  async function pressToolbarButton(ctx, name) {
    const probe = await h.layoutProbe(ctx.env);
    const tb = await toolbar(ctx);
    const [cx, cy] = probe.toolbar.buttons[name];
    await h.clickAt(ctx.env, tb.x + cx, tb.y + cy);
  }

  // Like capture(), with HOME set to a fresh folder so the save dialog and Qt's settings
  // stay out of the user's home.
  async function captureWithOwnHome(ctx, act) {
    const home = fs.mkdtempSync(path.join(os.tmpdir(), 'sc-walk-home-'));
    const sub = { ...ctx, env: { ...ctx.env, HOME: home, XDG_CONFIG_HOME: path.join(home, '.config') } };
    try {
      return await capture(sub, act);
    } finally {
      ctx.child = sub.child;
      fs.rmSync(home, { recursive: true, force: true });
    }
  }

  // Saves the clipboard image under `name` and checks it is the desktop picture's crop `rect`.
  async function clipboardCrop(ctx, name, rect) {
    await saveClipboardImage(ctx, name);
    return checkCrop(path.join(ctx.out, name), rect);
  }

  return [
    {
      name: 'resize-and-confirm-toolbar',
      expected: 'image',
      async run(ctx) {
        // Drag out the green block, then pull its bottom-right handle 60 right and 40 down.
        const r = await capture(ctx, async () => {
          await h.drag(ctx.env, 760, 320, 1120, 680);
          await h.drag(ctx.env, 1120, 680, 1180, 720);
          await toolbar(ctx);
          await saveScreenshot(ctx, 'resize-and-confirm-selection.png');
          await pressToolbarButton(ctx, 'tool_confirm');
        });
        r.clipboard = await clipboardCrop(ctx, 'resize-and-confirm-clipboard.png', { x: 760, y: 320, w: 420, h: 400 });
        return r;
      },
    },
    {
      name: 'double-click-confirm',
      expected: 'image',
      async run(ctx) {
        const r = await capture(ctx, async () => {
          await h.drag(ctx.env, 200, 180, 620, 440);
          await h.mousemove(ctx.env, 410, 310);
          await h.xdotool(ctx.env, ['click', '--repeat', '2', '--delay', '80', '1']);
        });
        r.clipboard = await clipboardCrop(ctx, 'double-click-clipboard.png', { x: 200, y: 180, w: 420, h: 260 });
        return r;
      },
    },
    {
      name: 'save-as-toolbar',
      expected: 'save',
      async run(ctx) {
        const target = path.join(ctx.out, 'save-as.png');
        fs.rmSync(target, { force: true });
        const r = await captureWithOwnHome(ctx, async () => {
          await h.drag(ctx.env, 1300, 160, 1740, 380);
          await pressToolbarButton(ctx, 'tool_save');
          await h.waitForWindowNamed(ctx.env, '存储');
          await h.sleep(400);
          await saveScreenshot(ctx, 'save-as-dialog.png');
          await h.type(ctx.env, target);
          await h.key(ctx.env, 'Return');
        });
        if (!fs.existsSync(target)) throw new Error(`the dialog did not write ${target}`);
        ctx.files.push('save-as.png');
        r.saved = checkCrop(target, { x: 1300, y: 160, w: 440, h: 220 });
        r.clipboard = await clipboardCrop(ctx, 'save-as-clipboard.png', { x: 1300, y: 160, w: 440, h: 220 });
        return r;
      },
    },
    {
      name: 'save-as-cancelled',
      expected: 'save',
      async run(ctx) {
        const r = await captureWithOwnHome(ctx, async () => {
          await h.drag(ctx.env, 1250, 640, 1750, 940);
          await pressToolbarButton(ctx, 'tool_save');
          await h.waitForWindowNamed(ctx.env, '存储');
          await h.sleep(400);
          await h.key(ctx.env, 'Escape');
        });
        // Cancelling writes nothing, but the image is on the clipboard all the same.
        r.clipboard = await clipboardCrop(ctx, 'save-as-cancelled-clipboard.png', { x: 1250, y: 640, w: 500, h: 300 });
        return r;
      },
    },
  ];
};
