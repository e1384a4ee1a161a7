/** How a capture session ended. */
export type CaptureResult = 'exit' | 'image' | 'save';

/** Local paths found on the clipboard, sorted by what they name on disk. */
export interface ClipboardPaths {
  /** Existing regular files, in clipboard order. */
  fileList: string[];
  /** Existing directories, in clipboard order. */
  dirList: string[];
}

/** How a `capture()` ended. */
export interface Capture {
  result: CaptureResult;
  /** The confirmed image as PNG bytes, the same pixels as the clipboard's; null for "exit". */
  png: Buffer | null;
}

/**
 * The process's Qt application and capture-session controller.
 * Construct it once per process, with `new`; `Main()` without `new` returns undefined.
 * Qt runs on a thread of its own from the first `new Main()` to the host's exit.
 */
export declare class Main {
  /**
   * @throws Error naming what is missing when Qt cannot start (DISPLAY unset, an X display that
   * cannot be opened, no usable Qt platform); the host goes on, and a later `new Main()` retries.
   */
  constructor();

  /**
   * Blocks the script thread until the Qt application quits, which happens only when the host
   * shuts down. Not needed to serve the clipboard: that goes on while the host lives.
   */
  exec(): void;

  /**
   * Freezes the desktop and runs one interactive capture; blocks the script thread until the
   * user ends it (nothing of the host runs meanwhile, GLib sources of its main context included).
   * The callback is called only when exactly three arguments are passed: with "image" when the
   * selection was copied to the clipboard, "save" after save-as (also when its dialog was
   * cancelled), "exit" when cancelled. The first two arguments are ignored.
   * @returns always "./"; the result travels through the callback only.
   * @throws Error while a `capture()` is open.
   */
  screenCapture(a?: unknown, b?: unknown, callback?: (result: CaptureResult) => void): './';

  /** Reads the file URLs on the clipboard and sorts their local paths into files and directories. */
  getFilePathFromClipboard(): ClipboardPaths;

  /** Does nothing; kept for compatibility. */
  deleteScreenCapture(): void;

  /**
   * Puts one URL, "file:///" followed by `path`, on the clipboard, replacing its contents.
   * The path's UTF-8 bytes are read as Latin-1, so non-ASCII paths arrive mis-decoded.
   * @throws TypeError "Wrong arguments" when `path` is not a string; the clipboard stays as it was.
   */
  setClipboardUrl(path: string): void;

  /**
   * Runs one interactive capture without blocking: the host's event loop keeps running (timers,
   * sockets, IPC) while the overlay is up. Resolves when the user ends the session.
   * Rejects with an Error while another capture is open, or inside `screenCapture`'s callback.
   */
  capture(): Promise<Capture>;
}
