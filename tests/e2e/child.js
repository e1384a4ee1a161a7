'use strict';
// Owns the module in a process of its own (one Main per process) and runs a list of steps
// given as JSON in argv[3]. Every step prints one JSON line on stdout; stdout is a pipe,
// and pipe writes are synchronous on Linux, so lines arrive even while Qt blocks the thread.
const fs = require('fs');

const [modulePath, stepsJson] = process.argv.slice(2);
const steps = JSON.parse(stepsJson);

const emit = (obj) => process.stdout.write(JSON.stringify(obj) + '\n');

function describeError(e) {
  return { name: e && e.constructor && e.constructor.name, message: e && e.message };
}

// Blocks until the parent writes a line on stdin.
function waitForLine() {
  const buf = Buffer.alloc(1);
  for (;;) {
    let n;
    try {
      n = fs.readSync(0, buf, 0, 1, null);
    } catch (e) {
      if (e.code === 'EAGAIN') continue;
      throw e;
    }
    if (n === 0 || buf[0] === 0x0a) return;
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
for (const step of steps) {
  switch (step.op) {
    case 'capture': {
      const index = captureIndex++;
      const calls = [];
      const cb = function (...a) {
        calls.push({ args: a, thisIsNull: this === null });
      };
      emit({ op: 'capturing', index });
      let ret;
      let error;
      try {
        ret = app.screenCapture(...captureArgs[step.args](cb));
      } catch (e) {
        error = describeError(e);
      }
      emit({ op: 'captured', index, ret, calls, error });
      break;
    }
    case 'setClipboardUrl': {
      let error;
      let ret;
      try {
        ret = 'arg' in step ? app.setClipboardUrl(step.arg) : app.setClipboardUrl();
      } catch (e) {
        error = describeError(e);
      }
      emit({ op: 'setClipboardUrl', ret, error, retType: typeof ret });
      break;
    }
    case 'getFilePathFromClipboard': {
      const result = app.getFilePathFromClipboard();
      emit({
        op: 'getFilePathFromClipboard',
        result,
        keys: Object.keys(result),
        arrays: [Array.isArray(result.fileList), Array.isArray(result.dirList)],
      });
      break;
    }
    case 'deleteScreenCapture': {
      const ret = app.deleteScreenCapture(1, 2, 3);
      emit({ op: 'deleteScreenCapture', retType: typeof ret });
      break;
    }
    case 'foreignReceiver': {
      // An object made from the prototype has no native half: the engine must refuse it.
      const fake = Object.create(Main.prototype);
      const errors = {};
      for (const name of Object.getOwnPropertyNames(Main.prototype)) {
        if (name === 'constructor') continue;
        try {
          Main.prototype[name].call(fake);
          errors[name] = null;
        } catch (e) {
          errors[name] = describeError(e);
        }
      }
      emit({ op: 'foreignReceiver', errors });
      break;
    }
    case 'wait':
      emit({ op: 'waiting' });
      waitForLine();
      emit({ op: 'resumed' });
      break;
    case 'exec':
      emit({ op: 'exec' });
      app.exec();
      emit({ op: 'execReturned' });
      break;
    default:
      throw new Error(`unknown step ${step.op}`);
  }
}
emit({ op: 'done' });
