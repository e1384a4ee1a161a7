'use strict';
// Walk-through scenarios for annotating: the four line tools, a mosaic with a text, and undo.
// Each selects the same region of the walk-through desktop, draws with real input, confirms
// with the toolbar's button and saves the clipboard image (and a screenshot of the overlay).

// Where the region goes on the 1920 × 1080 walk-through desktop.
const REGION = { x: 460, y: 200, w: 900, h: 480 };

const layouts = new Map();

// Drives one annotation session on REGION of a screenW × screenH screen; the controls'
// positions come from build/layoutprobe.
async function annotator(h, env, screenW, screenH) {
  if (!layouts.has(env.DISPLAY)) layouts.set(env.DISPLAY, await h.layoutProbe(env));
  const layout = layouts.get(env.DISPLAY);
  const place = (popup) => h.toolPlacement(layout, REGION, screenW, screenH, popup);
  // The style popup that each drawing tool opens.
  const popupOf = {
    tool_square: 'linePopup',
    tool_circle: 'linePopup',
    tool_arrow: 'linePopup',
    tool_paintpen: 'linePopup',
    tool_mosaic: 'mosaicPopup',
    tool_text: 'fontPopup',
  };
  let popup = null; // none before the first tool
  const at = (lx, ly) => [REGION.x + lx, REGION.y + ly];
  const a = {
    env,
    layout,
    at,
    async select() {
      await h.drag(env, REGION.x, REGION.y, REGION.x + REGION.w, REGION.y + REGION.h);
      await h.sleep(200);
    },
    async tool(name) {
      // Before the first tool the toolbar sits where the selection put it.
      const bar = popup ? place(popup).toolbar : place('linePopup').selecting;
      const b = h.toolButton(layout, bar, name);
      await h.clickAt(env, b.x, b.y);
      if (popupOf[name]) popup = popupOf[name];
      await h.sleep(150);
    },
    // Screen position of a control of the open popup, given by its place inside the popup.
    popupPoint(pos) {
      const p = place(popup).popup;
      return [p.x + pos[0], p.y + pos[1]];
    },
    async popupClick(pos) {
      await h.clickAt(env, ...a.popupPoint(pos));
      await h.sleep(150);
    },
    async drag(from, to) {
      await h.drag(env, ...at(...from), ...at(...to), { steps: 10 });
      await h.sleep(100);
    },
    async stroke(points) {
      await h.stroke(env, points.map(([lx, ly]) => at(lx, ly)));
      await h.sleep(100);
    },
    async click(lx, ly) {
      await h.clickAt(env, ...at(lx, ly));
      await h.sleep(100);
    },
    async pointerAway() {
      await h.mousemove(env, screenW - 1, screenH - 1);
      await h.sleep(200);
    },
  };
  return a;
}

// One of each line tool, each in a colour and width of its own popup.
async function drawLineTools(h, a) {
  const { layout } = a;
  await a.select();
  // The pen first: a click on empty ground afterwards finishes it (no dashed guide left).
  await a.tool('tool_paintpen');
  await a.popupClick(layout.linePopup.colors.colorgreen);
  await a.popupClick(layout.linePopup.widths[2]);
  const wave = [];
  for (let i = 0; i <= 40; i++) wave.push([60 + i * 8, Math.round(390 - 35 * Math.sin(i / 4))]);
  await a.stroke(wave);
  await a.click(860, 460);
  await a.tool('tool_square');
  await a.drag([70, 50], [330, 220]);
  await a.tool('tool_circle');
  await a.popupClick(layout.linePopup.colors.colorpurple);
  await a.popupClick(layout.linePopup.widths[1]);
  await a.drag([390, 70], [640, 250]);
  await a.tool('tool_arrow');
  await a.popupClick(layout.linePopup.colors.colorblue);
  await a.popupClick(layout.linePopup.widths[1]);
  await a.drag([520, 420], [800, 290]);
  await a.pointerAway();
}

// Two wide mosaic strokes over the grid and a large blue "Hello".
async function drawMosaicText(h, a) {
  const { layout } = a;
  await a.select();
  await a.tool('tool_mosaic');
  await a.popupClick(layout.mosaicPopup.widths[2]);
  await a.stroke(h.linePoints([30, 100], [420, 100], 12));
  await a.stroke(h.linePoints([30, 154], [420, 154], 12));
  await a.tool('tool_text');
  await a.click(480, 300);
  await h.type(a.env, 'Hello');
  // Large from the size drop-down: wait for the list to open and to close again.
  const large = layout.fontPopup.comboRows[2];
  await a.popupClick(layout.fontPopup.combo);
  await h.waitForWhite(a.env, ...a.popupPoint(large), true);
  await a.popupClick(large);
  await h.waitForWhite(a.env, ...a.popupPoint(large), false);
  await a.popupClick(layout.fontPopup.colors.colorblue);
  await a.pointerAway();
}

async function confirm(a) {
  await a.tool('tool_confirm');
}

module.exports = (api) => {
  const { h, capture, saveScreenshot, saveClipboardImage } = api;
  const session = (ctx) => annotator(h, ctx.env, api.W, api.H);
  return [
    {
      name: 'annotate-line-tools',
      expected: 'image',
      async run(ctx) {
        const r = await capture(ctx, async () => {
          const a = await session(ctx);
          await drawLineTools(h, a);
          await saveScreenshot(ctx, 'annotate-line-tools-overlay.png');
          await confirm(a);
        });
        r.clipboard = await saveClipboardImage(ctx, 'annotate-line-tools-clipboard.png');
        return r;
      },
    },
    {
      name: 'annotate-mosaic-text',
      expected: 'image',
      async run(ctx) {
        const r = await capture(ctx, async () => {
          const a = await session(ctx);
          await drawMosaicText(h, a);
          await saveScreenshot(ctx, 'annotate-mosaic-text-overlay.png');
          await confirm(a);
        });
        r.clipboard = await saveClipboardImage(ctx, 'annotate-mosaic-text-clipboard.png');
        return r;
      },
    },
    {
      name: 'annotate-undo',
      expected: 'image',
      async run(ctx) {
        const r = await capture(ctx, async () => {
          const a = await session(ctx);
          await a.select();
          await a.tool('tool_square');
          await a.drag([60, 60], [260, 200]);
          await a.tool('tool_arrow');
          await a.drag([320, 300], [560, 120]);
          await a.tool('tool_circle');
          await a.drag([600, 80], [840, 260]);
          await a.pointerAway();
          await saveScreenshot(ctx, 'annotate-undo-before.png');
          // Two undos take away the ellipse and then the arrow; the rectangle stays.
          await a.tool('tool_back');
          await a.tool('tool_back');
          await a.pointerAway();
          await saveScreenshot(ctx, 'annotate-undo-after.png');
          await confirm(a);
        });
        r.clipboard = await saveClipboardImage(ctx, 'annotate-undo-clipboard.png');
        return r;
      },
    },
  ];
};

// For scripts/pictures-annotate.js.
module.exports.REGION = REGION;
module.exports.annotator = annotator;
module.exports.drawLineTools = drawLineTools;
module.exports.drawMosaicText = drawMosaicText;
