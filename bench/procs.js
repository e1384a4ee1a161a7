'use strict';
// What the Node benchmarks share: a monotonic clock in ms and child processes read by line.

const now = () => Number(process.hrtime.bigint()) / 1e6; // CLOCK_MONOTONIC, as the poller's

const median = (a) => {
  const s = [...a].sort((x, y) => x - y);
  const m = s.length >> 1;
  return s.length ? (s.length % 2 ? s[m] : (s[m - 1] + s[m]) / 2) : NaN;
};

// A child process whose stdout is read line by line.
function lines(proc) {
  const queue = [];
  let waiter = null;
  let buf = '';
  proc.stdout.on('data', (d) => {
    const parts = (buf + d).split('\n');
    buf = parts.pop();
    queue.push(...parts);
    if (waiter) waiter();
  });
  proc.once('exit', () => waiter && waiter());
  return async (timeout = 20000) => {
    const end = now() + timeout;
    while (!queue.length) {
      if (proc.exitCode !== null || proc.signalCode !== null) throw new Error(`process ${proc.spawnfile} exited`);
      if (now() > end) throw new Error(`no line from ${proc.spawnfile}`);
      await new Promise((r) => {
        waiter = r;
        setTimeout(r, 200);
      });
      waiter = null;
    }
    return queue.shift();
  };
}

module.exports = { now, median, lines };
