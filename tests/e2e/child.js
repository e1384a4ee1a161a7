'use strict';
// Owns the module in a process of its own and runs a list of steps given as JSON in argv[3];
// a step's "on" picks the Main it calls (0 = the one made at start, see "main" and "drop"),
// "loop" starts the list again. Every step prints one JSON line on stdout; stdout is a pipe,
// and pipe writes are synchronous on Linux, so lines arrive even while Qt blocks the thread.
const fs = require('fs');

const [modulePath, stepsJson] = process.argv.slice(2);
const emit = (obj) => process.stdout.write(JSON.stringify(obj) + '\n');
// { ret } or { error } of a call.
function attempt(fn) {
  try {
    return { ret: fn() };
  } catch (e) {
    return { error: { name: e && e.constructor && e.constructor.name, message: e && e.message } };
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
const mains = [new Main()];
const refs = [new WeakRef(mains[0])];
const main = (step) => mains[step.on || 0];

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
    emit({ op: 'captured', index, calls, ...attempt(() => main(step).screenCapture(...captureArgs[step.args](cb))) });
  },
  setClipboardUrl(step) {
    const r = attempt(() => ('arg' in step ? main(step).setClipboardUrl(step.arg) : main(step).setClipboardUrl()));
    emit({ op: 'setClipboardUrl', ...r, retType: typeof r.ret });
  },
  getFilePathFromClipboard(step) {
    const result = main(step).getFilePathFromClipboard();
    emit({ op: 'getFilePathFromClipboard', result, keys: Object.keys(result), arrays: [Array.isArray(result.fileList), Array.isArray(result.dirList)] });
  },
  deleteScreenCapture(step) {
    emit({ op: 'deleteScreenCapture', retType: typeof main(step).deleteScreenCapture(1, 2, 3) });
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
  },
  exec(step) {
    emit({ op: 'exec' });
    main(step).exec();
    emit({ op: 'execReturned' });
  },
  main() {
    refs.push(new WeakRef((mains[mains.length] = new Main())));
    emit({ op: 'main', index: mains.length - 1 });
  },
  // Collected only once this job has ended (weak references hold their target till then).
  async drop(step) {
    mains[step.on] = null;
    await new Promise(setImmediate);
    global.gc();
    emit({ op: 'dropped', collected: refs[step.on].deref() === undefined });
  },
};
(async () => {
  const steps = JSON.parse(stepsJson);
  for (let i = 0; i < steps.length; i++) {
    if (steps[i].op === 'loop') i = 0;
    await ops[steps[i].op](steps[i]);
  }
})();
