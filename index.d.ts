/** How a capture session ended. */
export type CaptureResult = 'exit' | 'image' | 'save';

/** Local paths found on the clipboard, sorted by what they name on disk. */
export interface ClipboardPaths {
  /** Existing regular files, in clipboard order. */
  fileList: string[];
  /** Existing directories, in clipboard order. */
  dirList: string[];
}

/**
 * The process's Qt application and capture-session controller.
 * Construct it once per process, with `new`; `Main()` without `new` returns undefined.
 */
export declare class Main {
  constructor();

  /**
   * Runs the Qt event loop until the Qt application quits. Blocks the script thread.
   * Needed to keep serving the clipboard (a captured image or a URL) to other programs.
   */
  exec(): void;

  /**
   * Freezes the desktop and runs one interactive capture; blocks until the user ends it.
   * The callback is called only when exactly three arguments are passed: with "image" when the
   * selection was copied to the clipboard, "save" after save-as (also when its dialog was
   * cancelled), "exit" when cancelled. The first two arguments are ignored.
   * @returns always "./"; the result travels through the callback only.
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
}
