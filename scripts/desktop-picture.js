'use strict';
// A desktop-like picture for walk-throughs and README pictures: sky gradient, grid, and a few
// solid blocks to aim selections at. Returns RGBA bytes, width × height.
function desktopPicture(width, height) {
  const data = Buffer.alloc(width * height * 4);
  const blocks = [
    { x: 200, y: 180, w: 420, h: 260, c: [220, 80, 60] },
    { x: 760, y: 320, w: 360, h: 360, c: [60, 170, 90] },
    { x: 1300, y: 160, w: 440, h: 220, c: [240, 200, 40] },
    { x: 1250, y: 640, w: 500, h: 300, c: [70, 110, 220] },
  ];
  for (let y = 0; y < height; y++) {
    for (let x = 0; x < width; x++) {
      const o = (y * width + x) * 4;
      let c = [40 + Math.round((120 * y) / height), 90 + Math.round((100 * x) / width), 200];
      if (x % 120 === 0 || y % 120 === 0) c = [235, 235, 235];
      for (const b of blocks) {
        if (x >= b.x && x < b.x + b.w && y >= b.y && y < b.y + b.h) c = b.c;
      }
      data[o] = c[0];
      data[o + 1] = c[1];
      data[o + 2] = c[2];
      data[o + 3] = 255;
    }
  }
  return data;
}

module.exports = { desktopPicture };
