// Watches one pixel of the X server's root window from outside the measured process.
// Reads commands on stdin, one per line, and answers each with one line on stdout:
//   base           remember the pixel as it is now; answers "base R G B"
//   changed MS     poll until the pixel differs from the base by more than 8 in some
//                  channel; answers "changed NS R G B" (NS: CLOCK_MONOTONIC nanoseconds,
//                  the clock of node's process.hrtime) or "timeout"
//   restored MS    poll until the pixel is back within 8 of the base; "restored NS" or "timeout"
//   at X Y         watch the pixel at X, Y from now on; answers "at X Y"
// Without a window manager or compositor the root shows through until the overlay has
// painted, so the first change is the first paint reaching the server (to within the
// 0.5 ms between polls).
//
// Usage: xpixelwait [X Y]   (DISPLAY from the environment; default: the screen's centre).
// First line out: "ready W H" with the screen's size.

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

long long nowNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1000000000LL + ts.tv_nsec;
}

struct Rgb {
    int r = 0, g = 0, b = 0;
};

// One reply-bearing request per poll: the answer reflects every request the server ran before.
Rgb readPixel(Display* dpy, Window root, int x, int y) {
    Rgb c;
    XImage* img = XGetImage(dpy, root, x, y, 1, 1, AllPlanes, ZPixmap);
    if (!img)
        return c;
    const unsigned long p = XGetPixel(img, 0, 0);
    c.r = int((p >> 16) & 0xff);
    c.g = int((p >> 8) & 0xff);
    c.b = int(p & 0xff);
    XDestroyImage(img);
    return c;
}

bool differs(Rgb a, Rgb b) {
    return std::abs(a.r - b.r) > 8 || std::abs(a.g - b.g) > 8 || std::abs(a.b - b.b) > 8;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 1 && argc != 3) {
        std::fprintf(stderr, "usage: xpixelwait [X Y]\n");
        return 2;
    }
    Display* dpy = XOpenDisplay(nullptr);
    if (!dpy) {
        std::fprintf(stderr, "cannot open display\n");
        return 1;
    }
    const int sw = DisplayWidth(dpy, DefaultScreen(dpy)),
              sh = DisplayHeight(dpy, DefaultScreen(dpy));
    int x = argc == 3 ? std::atoi(argv[1]) : sw / 2, y = argc == 3 ? std::atoi(argv[2]) : sh / 2;
    const Window root = DefaultRootWindow(dpy);
    Rgb base = readPixel(dpy, root, x, y);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("ready %d %d\n", sw, sh);

    char line[128];
    while (std::fgets(line, sizeof line, stdin)) {
        char cmd[32] = {0};
        long ms = 0;
        if (std::sscanf(line, "%31s %ld", cmd, &ms) < 1)
            continue;
        if (!std::strcmp(cmd, "at")) {
            std::sscanf(line, "%*s %d %d", &x, &y);
            std::printf("at %d %d\n", x, y);
            continue;
        }
        if (!std::strcmp(cmd, "base")) {
            base = readPixel(dpy, root, x, y);
            std::printf("base %d %d %d\n", base.r, base.g, base.b);
            continue;
        }
        const bool wantChange = !std::strcmp(cmd, "changed");
        if (!wantChange && std::strcmp(cmd, "restored")) {
            std::printf("unknown\n");
            continue;
        }
        const long long deadline = nowNs() + (ms > 0 ? ms : 10000) * 1000000LL;
        bool done = false;
        while (nowNs() < deadline) {
            const Rgb c = readPixel(dpy, root, x, y);
            if (differs(c, base) == wantChange) {
                const long long t = nowNs();
                if (wantChange)
                    std::printf("changed %lld %d %d %d\n", t, c.r, c.g, c.b);
                else
                    std::printf("restored %lld\n", t);
                done = true;
                break;
            }
            // Half a millisecond between polls keeps the poller and the server off the CPU
            // the measured process needs (two cores).
            const timespec pause{0, 500000};
            nanosleep(&pause, nullptr);
        }
        if (!done)
            std::printf("timeout\n");
    }
    XCloseDisplay(dpy);
    return 0;
}
