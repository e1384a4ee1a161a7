'use strict';
// One capture on the real desktop, then keeps the process alive so the result stays on
// the clipboard (X11 clipboards live in the process that set them).
const { Main } = require('..');

console.log('Select a region and press Enter (or use the toolbar); Esc or the right button cancels.');
const app = new Main();
app.screenCapture(null, null, (result) => {
  console.log(`result: ${result}`);
});
console.log('Serving the clipboard now; press Ctrl+C to quit (the captured image goes with the process).');
app.exec();
