'use strict';
// A Wayland compositor that offers wlroots' screen copy and one output, and fails every copy.
// Speaks just enough of the wire protocol: the registry, sync, binds, and capture_output
// answered with the frame's failed event. Returns { path, close() }.
const net = require('net');

const GLOBALS = [['wl_shm', 1], ['wl_output', 2], ['zwlr_screencopy_manager_v1', 3], ['zxdg_output_manager_v1', 3]];

function message(id, opcode, args) {
  const body = Buffer.concat(args.map((a) => {
    if (typeof a === 'number') return Buffer.from(new Uint32Array([a]).buffer);
    const s = Buffer.from(`${a}\0`);
    const padded = Buffer.alloc(4 + ((s.length + 3) & ~3));
    padded.writeUInt32LE(s.length, 0);
    s.copy(padded, 4);
    return padded;
  }));
  const head = Buffer.alloc(8);
  head.writeUInt32LE(id, 0);
  head.writeUInt32LE(((8 + body.length) << 16) | opcode, 4);
  return Buffer.concat([head, body]);
}

function failingCompositor(path) {
  const server = net.createServer((c) => {
    const kinds = new Map([[1, 'wl_display']]);
    let pending = Buffer.alloc(0);
    c.on('error', () => {});
    c.on('data', (d) => {
      for (pending = Buffer.concat([pending, d]); pending.length >= 8;) {
        const size = pending.readUInt32LE(4) >>> 16;
        if (pending.length < size) break;
        const [id, opcode, arg] = [pending.readUInt32LE(0), pending.readUInt32LE(4) & 0xffff, (i) => pending.readUInt32LE(8 + 4 * i)];
        const kind = kinds.get(id);
        if (kind === 'wl_display' && opcode === 1) { // get_registry
          kinds.set(arg(0), 'wl_registry');
          GLOBALS.forEach(([name, version], i) => c.write(message(arg(0), 0, [i + 1, name, version])));
        } else if (kind === 'wl_display' && opcode === 0) { // sync: done, then the id is free
          c.write(Buffer.concat([message(arg(0), 0, [0]), message(1, 1, [arg(0)])]));
        } else if (kind === 'wl_registry' && opcode === 0) { // bind: the new id is the last word
          kinds.set(pending.readUInt32LE(size - 4), GLOBALS[arg(0) - 1][0]);
        } else if (kind === 'zwlr_screencopy_manager_v1' && opcode === 0) { // capture_output
          c.write(message(arg(0), 3, [])); // failed
        }
        pending = pending.subarray(size);
      }
    });
  });
  server.listen(path);
  return { path, close: () => server.close() };
}

module.exports = { failingCompositor };
