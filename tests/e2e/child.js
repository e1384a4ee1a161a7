'use strict';
// Owns the module in a process of its own (one Main per process) and runs a list of steps
// given as JSON in argv[3]. Every step prints one JSON line on stdout; stdout is a pipe,
// and pipe writes are synchronous on Linux, so lines arrive even while Qt blocks the thread.
const fs = require('fs');

const [modulePath, stepsJson] = process.argv.slice(2);
const emit = (obj) => process.stdout.write(JSON.stringify(obj) + '\n');
const describeError = (e) => ({ name: e && e.constructor && e.constructor.name, message: e && e.message });
// { ret } or { error } of a call.
function attempt(fn) {
  try {
    return { ret: fn() };
  } catch (e) {
    return { error: describeError(e) };
  }
}

// Blocks until the parent writes a line on stdin.
function waitForLine() {
  const buf = Buffer.alloc(1);
  for (;;) {
    const n = attempt(() => fs.readSync(0, buf, 0, 1, null));
    if (n.error && n.error.message.includes('EAGAIN')) continue;
    if (n.error || n.ret === 0 || buf[0] === 0x0a) return;
  }
}

const { Main } = require(modulePath);
emit({ op: 'loaded' });
const app = new Main();
emit({ op: 'constructed' });

const captureArgs = {
  none: () => [],
  two: () => [1, 2],
  cb3: (cb) => [1, 2, cb],
  four: (cb) => [1, 2, cb, 4],
  notfn: () => [1, 2, 'not a function'],
  throwing: () => [1, 2, () => {
    throw new Error('from callback');
  }],
};

let captureIndex = 0;
const ops = {
  capture(step) {
    const index = captureIndex++;
    const calls = [];
    const cb = function (...args) {
      calls.push({ args, thisIsNull: this === null });
    };
    emit({ op: 'capturing', index });
    emit({ op: 'captured', index, calls, ...attempt(() => app.screenCapture(...captureArgs[step.args](cb))) });
  },
  setClipboardUrl(step) {
    const r = attempt(() => ('arg' in step ? app.setClipboardUrl(step.arg) : app.setClipboardUrl()));
    emit({ op: 'setClipboardUrl', ...r, retType: typeof r.ret });
  },
  getFilePathFromClipboard() {
    const result = app.getFilePathFromClipboard();
    emit({ op: 'getFilePathFromClipboard', result, keys: Object.keys(result), arrays: [Array.isArray(result.fileList), Array.isArray(result.dirList)] });
  },
  deleteScreenCapture() {
    emit({ op: 'deleteScreenCapture', retType: typeof app.deleteScreenCapture(1, 2, 3) });
  },
  // An object made from the prototype has no native half: the engine must refuse it.
  foreignReceiver() {
    const fake = Object.create(Main.prototype);
    const names = Object.getOwnPropertyNames(Main.prototype).filter((n) => n !== 'constructor');
    emit({ op: 'foreignReceiver', errors: Object.fromEntries(names.map((n) => [n, attempt(() => Main.prototype[n].call(fake)).error || null])) });
  },
  wait() {
    emit({ op: 'waiting' });
    waitForLine();
    emit({ op: 'resumed' });
  },
  exec() {
    emit({ op: 'exec' });
    app.exec();
    emit({ op: 'execReturned' });
  },
};
for (const step of JSON.parse(stepsJson)) ops[step.op](step);
emit({ op: 'done' });
