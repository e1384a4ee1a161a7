'use strict';
// Hands back the native exports object as is: its only key is "Main".
const fs = require('fs');
const path = require('path');

// A checkout's CMake build (npm run build) first: it is the one its tests keep current. Then
// node-gyp's (npm install, @electron/rebuild), the only one an installed package has.
const candidates = ['build', 'build/Release', 'build/Debug'].map((d) => path.join(__dirname, d, 'screencapture.node'));
const found = candidates.find((f) => fs.existsSync(f));
if (!found) {
  throw new Error(
    `screencapture: the native module is not built (looked for ${candidates.join(', ')}). ` +
      'Install the build dependencies (Debian/Ubuntu: sudo apt-get install qtbase5-dev qtbase5-dev-tools libxcb1-dev libxcb-shm0-dev libx11-dev pkg-config g++ make python3), ' +
      'then run `npm rebuild screencapture`, or for Electron `npx @electron/rebuild -f -w screencapture`.',
  );
}
module.exports = require(found);
