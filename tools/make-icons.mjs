#!/usr/bin/env node
// Regenerates the toolbar and popup pictures in src/diagramscene/images.
// The PNGs are committed; run this only to change the artwork:
//   npm install --no-save --prefix /tmp/iconwork @tabler/icons@3.51.0 @resvg/resvg-js@2.6.2
//   ICON_DEPS=/tmp/iconwork node tools/make-icons.mjs
// (or `npm install --no-save` inside tools/ and leave ICON_DEPS unset).
import { createRequire } from 'node:module';
import { readFileSync, writeFileSync, mkdirSync } from 'node:fs';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const depsDir = resolve(process.env.ICON_DEPS || here);
const require = createRequire(join(depsDir, 'noop.js'));
const { Resvg } = require('@resvg/resvg-js');

const outDir = resolve(here, '..', 'src', 'diagramscene', 'images');
mkdirSync(outDir, { recursive: true });

const NORMAL = '#333333';
const ACCENT = '#3A91F3';
const CHECKED_BG = '#DCEBFD';

// resource base name -> tabler outline glyph
const TOOLS = {
  arrow: 'arrow-up-right',
  undo: 'arrow-back-up',
  close: 'x',
  circle: 'circle',
  makesure: 'check',
  mosaic: 'grid-dots',
  label: 'pencil',
  save: 'device-floppy',
  text: 'typography',
  rect: 'square',
};

const SWATCHES = {
  red: '#FF0000',
  purple: '#8A31FB',
  blue: '#00B4FF',
  green: '#61ED00',
  yellow: '#FFEB03',
  gray: '#676767',
};

function glyphBody(name) {
  const file = require.resolve(`@tabler/icons/outline/${name}.svg`);
  const svg = readFileSync(file, 'utf8');
  const m = svg.match(/<svg[^>]*>([\s\S]*)<\/svg>/);
  if (!m) throw new Error(`no svg body in ${file}`);
  // The first path of every tabler glyph is an invisible 24x24 bounding box.
  return m[1].replace(/<path stroke="none"[^>]*\/>/, '').trim();
}

function render(svg, file) {
  const png = new Resvg(svg, { fitTo: { mode: 'original' } }).render().asPng();
  writeFileSync(join(outDir, file), png);
}

function svgDoc(w, h, body) {
  return `<svg xmlns="http://www.w3.org/2000/svg" width="${w}" height="${h}" viewBox="0 0 ${w} ${h}">${body}</svg>`;
}

// The 24-unit glyph sits centred in 32 px, leaving room for the checked backdrop.
function toolIcon(glyph, stroke, backdrop) {
  const bg = backdrop ? `<rect x="1" y="1" width="30" height="30" rx="5" fill="${backdrop}"/>` : '';
  return svgDoc(32, 32, `${bg}<g transform="translate(4 4)" fill="none" stroke="${stroke}" stroke-width="2" stroke-linecap="round" stroke-linejoin="round">${glyph}</g>`);
}

for (const [base, glyphName] of Object.entries(TOOLS)) {
  const glyph = glyphBody(glyphName);
  render(toolIcon(glyph, NORMAL, null), `${base}.png`);
  render(toolIcon(glyph, ACCENT, null), `${base}hover.png`);
  render(toolIcon(glyph, ACCENT, CHECKED_BG), `${base}click.png`);
}

// Swatches: a rounded square; the chosen one gets a blue ring and a white tick
// with a dark halo so it reads on yellow as well as on gray.
const tick = glyphBody('check');
for (const [base, colour] of Object.entries(SWATCHES)) {
  const square = `<rect x="5" y="5" width="22" height="22" rx="3" fill="${colour}"/>`;
  render(svgDoc(32, 32, square), `${base}.png`);
  const ring = `<rect x="2" y="2" width="28" height="28" rx="5" fill="none" stroke="${ACCENT}" stroke-width="2"/>`;
  const mark = (stroke, width) =>
    `<g transform="translate(7 7) scale(0.75)" fill="none" stroke="${stroke}" stroke-width="${width}" stroke-linecap="round" stroke-linejoin="round">${tick}</g>`;
  render(svgDoc(32, 32, ring + square + mark('rgba(0,0,0,0.45)', 4.5) + mark('#FFFFFF', 2.5)), `${base}_check.png`);
}

// Pointer above a popup: white to blend with the popup, grey on the two slanted
// sides only, so it merges into the popup's 1px gray top border.
render(svgDoc(36, 16,
  '<path d="M2 16.5 L18 1.5 L34 16.5 Z" fill="#FFFFFF"/>' +
  '<path d="M2 16 L18 1.5 L34 16" fill="none" stroke="#808080" stroke-width="1.2" stroke-linejoin="round"/>'),
  'arrow_up.png');

// Combo-box drop-down chevron; drawn at 18x8 and shown at half size.
render(svgDoc(18, 8,
  '<path d="M2 1.5 L9 6.5 L16 1.5" fill="none" stroke="#555555" stroke-width="2" stroke-linecap="round" stroke-linejoin="round"/>'),
  'downarrow.png');

console.log(`icons written to ${outDir}`);
