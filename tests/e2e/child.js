'use strict';
// Owns the module in a process of its own and runs a list of steps given as JSON in argv[3];
// a step's "on" picks the Main it calls (0 = the one made at start, see "main" and "drop"),
// "loop" starts the list again. Every step prints one JSON line on stdout; stdout is a pipe,
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
const mains = [new Main()];
const refs = [new WeakRef(mains[0])];
emit({ op: 'constructed' });
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
(async () => {
  for (let i = 0; i < steps.length; i++) {
    const step = steps[i];
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
          ret = main(step).screenCapture(...captureArgs[step.args](cb));
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
          ret = 'arg' in step ? main(step).setClipboardUrl(step.arg) : main(step).setClipboardUrl();
        } catch (e) {
          error = describeError(e);
        }
        emit({ op: 'setClipboardUrl', ret, error, retType: typeof ret });
        break;
      }
      case 'getFilePathFromClipboard': {
        const result = main(step).getFilePathFromClipboard();
        emit({
          op: 'getFilePathFromClipboard',
          result,
          keys: Object.keys(result),
          arrays: [Array.isArray(result.fileList), Array.isArray(result.dirList)],
        });
        break;
      }
      case 'deleteScreenCapture': {
        const ret = main(step).deleteScreenCapture(1, 2, 3);
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
        main(step).exec();
        emit({ op: 'execReturned' });
        break;
      case 'main':
        refs.push(new WeakRef((mains[mains.length] = new Main())));
        emit({ op: 'main', index: mains.length - 1 });
        break;
      case 'drop':
        // Collected only once this job has ended (weak references hold their target till then).
        mains[step.on] = null;
        await new Promise(setImmediate);
        global.gc();
        emit({ op: 'dropped', collected: refs[step.on].deref() === undefined });
        break;
      case 'loop':
        i = -1;
        break;
      default:
        throw new Error(`unknown step ${step.op}`);
    }
  }
  emit({ op: 'done' });
})();
