'use strict';
// One capture on the real desktop, then keeps the process alive so the result stays on
// the clipboard (X11 clipboards live in the process that set them).
const { Main } = require('..');

console.log('Select a region and press Enter (or use the toolbar); Esc or the right button cancels.');
const app = new Main();
app.capture().then(({ result, png }) => {
  console.log(`result: ${result}${png ? ` (${png.length} bytes of PNG)` : ''}`);
  console.log('Serving the clipboard now; press Ctrl+C to quit (the captured image goes with the process).');
  setInterval(() => {}, 1 << 30);
});
