#include "screencopy.h"

#include "wlr-screencopy-unstable-v1-client-protocol.h"
#include "xdg-output-unstable-v1-client-protocol.h"

#include <QElapsedTimer>
#include <QPainter>

#include <pixman.h>
#include <wayland-client.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#ifndef MADV_POPULATE_WRITE
#define MADV_POPULATE_WRITE 23 // Linux 5.14; older kernels refuse it, which costs nothing
#endif

namespace Screencopy {
namespace {

struct Mapping {
    void* data = MAP_FAILED;
    size_t size = 0;
    ~Mapping() {
        if (data != MAP_FAILED)
            munmap(data, size);
    }
};

void freeMapping(void* info) {
    delete static_cast<Mapping*>(info);
}

struct Output {
    uint32_t name = 0;
    wl_output* output = nullptr;
    zxdg_output_v1* xdg = nullptr;
    zwlr_screencopy_frame_v1* frame = nullptr;
    wl_buffer* buffer = nullptr;
    int32_t transform = WL_OUTPUT_TRANSFORM_NORMAL;
    QPoint position;
    QSize logical;
    // The shared-memory buffer the compositor offered.
    uint32_t format = 0;
    QSize size;
    int stride = 0;
    bool offeredShm = false;
    uint32_t flags = 0;
    enum { Waiting, Copying, Ready, Failed } state = Waiting;
    std::unique_ptr<Mapping> pixels;

    ~Output() {
        if (frame)
            zwlr_screencopy_frame_v1_destroy(frame);
        if (buffer)
            wl_buffer_destroy(buffer);
        if (xdg)
            zxdg_output_v1_destroy(xdg);
        if (output)
            wl_output_destroy(output);
    }
};

// Everything one capture holds on its private connection, released in order.
struct Session {
    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    wl_shm* shm = nullptr;
    zwlr_screencopy_manager_v1* copier = nullptr;
    uint32_t copierVersion = 0;
    zxdg_output_manager_v1* layout = nullptr;
    std::vector<std::unique_ptr<Output>> outputs;
    bool outputGone = false;
    QString failure;

    ~Session() {
        outputs.clear();
        if (layout)
            zxdg_output_manager_v1_destroy(layout);
        if (copier)
            zwlr_screencopy_manager_v1_destroy(copier);
        if (shm)
            wl_shm_destroy(shm);
        if (registry)
            wl_registry_destroy(registry);
        if (display)
            wl_display_disconnect(display);
    }
};

// The image format of a shared-memory buffer, null when not one of ours. Qt's 32-bit formats
// are words in the machine's byte order, wl_shm's little-endian ones.
QImage::Format imageFormat(uint32_t format) {
    if (Q_BYTE_ORDER != Q_LITTLE_ENDIAN)
        return QImage::Format_Invalid;
    switch (format) {
    case WL_SHM_FORMAT_XRGB8888:
    case WL_SHM_FORMAT_ARGB8888:
        return QImage::Format_RGB32;
    case WL_SHM_FORMAT_XBGR8888:
    case WL_SHM_FORMAT_ABGR8888:
        return QImage::Format_RGBX8888;
    default:
        return QImage::Format_Invalid;
    }
}

// wayland-client would take WAYLAND_SOCKET, a descriptor handed to the host for its own use,
// so the socket is opened here.
wl_display* connectPrivately(QString* why) {
    QByteArray path = qgetenv("WAYLAND_DISPLAY");
    if (path.isEmpty())
        path = "wayland-0";
    if (!path.startsWith('/')) {
        const QByteArray dir = qgetenv("XDG_RUNTIME_DIR");
        if (dir.isEmpty()) {
            *why = QStringLiteral("XDG_RUNTIME_DIR is not set");
            return nullptr;
        }
        path = dir + '/' + path;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (size_t(path.size()) >= sizeof address.sun_path) {
        *why = QStringLiteral("the compositor's socket path is too long");
        return nullptr;
    }
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        *why = QStringLiteral("cannot connect to the compositor at %1 (%2)")
                   .arg(QString::fromLocal8Bit(path), QString::fromLocal8Bit(strerror(errno)));
        if (fd >= 0)
            close(fd);
        return nullptr;
    }
    // On failure wayland-client closes the socket itself.
    wl_display* display = wl_display_connect_to_fd(fd);
    if (!display) {
        *why =
            QStringLiteral("cannot talk to the compositor at %1").arg(QString::fromLocal8Bit(path));
    }
    return display;
}

// Dispatches events until done() or the deadline; false on a timeout or a broken connection.
template <typename Done>
bool dispatchUntil(Session& s, const QElapsedTimer& clock, int timeoutMs, Done done) {
    while (!done()) {
        while (wl_display_prepare_read(s.display) != 0)
            if (wl_display_dispatch_pending(s.display) < 0)
                return false;
        if (done()) {
            wl_display_cancel_read(s.display);
            break;
        }
        wl_display_flush(s.display);
        const qint64 left = timeoutMs - clock.elapsed();
        pollfd p{wl_display_get_fd(s.display), POLLIN, 0};
        const int r = left > 0 ? poll(&p, 1, int(left)) : 0;
        if (r <= 0) {
            wl_display_cancel_read(s.display);
            if (r < 0 && errno == EINTR)
                continue;
            return false;
        }
        if (wl_display_read_events(s.display) < 0 || wl_display_dispatch_pending(s.display) < 0)
            return false;
    }
    return wl_display_get_error(s.display) == 0;
}

// Every request sent so far answered.
bool roundTrip(Session& s, const QElapsedTimer& clock, int timeoutMs) {
    bool done = false;
    static const wl_callback_listener listener{[](void* data, wl_callback* cb, uint32_t) {
        *static_cast<bool*>(data) = true;
        wl_callback_destroy(cb);
    }};
    wl_callback* cb = wl_display_sync(s.display);
    wl_callback_add_listener(cb, &listener, &done);
    if (dispatchUntil(s, clock, timeoutMs, [&] { return done; }))
        return true;
    if (!done)
        wl_callback_destroy(cb);
    return false;
}

const wl_output_listener outputListener{
    [](void* data, wl_output*, int32_t, int32_t, int32_t, int32_t, int32_t, const char*,
       const char*, int32_t transform) { static_cast<Output*>(data)->transform = transform; },
    [](void*, wl_output*, uint32_t, int32_t, int32_t, int32_t) {},
    [](void*, wl_output*) {},
    [](void*, wl_output*, int32_t) {},
    [](void*, wl_output*, const char*) {},
    [](void*, wl_output*, const char*) {},
};

const zxdg_output_v1_listener layoutListener{
    [](void* data, zxdg_output_v1*, int32_t x, int32_t y) {
        static_cast<Output*>(data)->position = QPoint(x, y);
    },
    [](void* data, zxdg_output_v1*, int32_t w, int32_t h) {
        static_cast<Output*>(data)->logical = QSize(w, h);
    },
    [](void*, zxdg_output_v1*) {},
    [](void*, zxdg_output_v1*, const char*) {},
    [](void*, zxdg_output_v1*, const char*) {},
};

void registryGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface,
                    uint32_t version) {
    auto* s = static_cast<Session*>(data);
    if (std::strcmp(interface, wl_output_interface.name) == 0) {
        auto out = std::make_unique<Output>();
        out->name = name;
        out->output = static_cast<wl_output*>(
            wl_registry_bind(registry, name, &wl_output_interface, qMin(version, 2u)));
        wl_output_add_listener(out->output, &outputListener, out.get());
        s->outputs.push_back(std::move(out));
    } else if (std::strcmp(interface, wl_shm_interface.name) == 0 && !s->shm) {
        s->shm = static_cast<wl_shm*>(wl_registry_bind(registry, name, &wl_shm_interface, 1));
    } else if (std::strcmp(interface, zwlr_screencopy_manager_v1_interface.name) == 0 &&
               !s->copier) {
        s->copierVersion = qMin(version, 3u);
        s->copier = static_cast<zwlr_screencopy_manager_v1*>(wl_registry_bind(
            registry, name, &zwlr_screencopy_manager_v1_interface, s->copierVersion));
    } else if (std::strcmp(interface, zxdg_output_manager_v1_interface.name) == 0 && !s->layout) {
        s->layout = static_cast<zxdg_output_manager_v1*>(
            wl_registry_bind(registry, name, &zxdg_output_manager_v1_interface, qMin(version, 3u)));
    }
}

void registryGlobalRemove(void* data, wl_registry*, uint32_t name) {
    auto* s = static_cast<Session*>(data);
    for (const auto& out : s->outputs)
        if (out->name == name)
            s->outputGone = true;
}

const wl_registry_listener registryListener{registryGlobal, registryGlobalRemove};

// The buffer the compositor asked for, in shared memory, and the copy into it.
void startCopy(Output* out, Session* s) {
    out->state = Output::Failed;
    if (!out->offeredShm || imageFormat(out->format) == QImage::Format_Invalid) {
        s->failure = QStringLiteral("no shared-memory buffer format we read (format 0x%1)")
                         .arg(out->format, 8, 16, QLatin1Char('0'));
        return;
    }
    auto pixels = std::make_unique<Mapping>();
    pixels->size = size_t(out->stride) * size_t(out->size.height());
    const int fd = memfd_create("screencapture-screencopy", MFD_CLOEXEC);
    if (fd < 0) {
        s->failure = QStringLiteral("no memory for the copy");
        return;
    }
    if (ftruncate(fd, off_t(pixels->size)) == 0)
        pixels->data = mmap(nullptr, pixels->size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (pixels->data == MAP_FAILED) {
        close(fd);
        s->failure = QStringLiteral("no memory for the copy");
        return;
    }
    wl_shm_pool* pool = wl_shm_create_pool(s->shm, fd, int32_t(pixels->size));
    out->buffer = wl_shm_pool_create_buffer(pool, 0, out->size.width(), out->size.height(),
                                            out->stride, out->format);
    wl_shm_pool_destroy(pool);
    close(fd);
    out->pixels = std::move(pixels);
    zwlr_screencopy_frame_v1_copy(out->frame, out->buffer);
    out->state = Output::Copying;
    wl_display_flush(s->display);
    // Fresh memory costs most on first touch: our side of it is mapped in while the compositor
    // waits for its next frame instead of afterwards.
    madvise(out->pixels->data, out->pixels->size, MADV_POPULATE_WRITE);
}

struct FrameContext {
    Output* out;
    Session* s;
};

const zwlr_screencopy_frame_v1_listener frameListener{
    // buffer: the shared-memory offer; from version 3 more offers follow until buffer_done.
    [](void* data, zwlr_screencopy_frame_v1* frame, uint32_t format, uint32_t w, uint32_t h,
       uint32_t stride) {
        auto* c = static_cast<FrameContext*>(data);
        // A pool's size is a 32-bit int.
        c->out->offeredShm = w > 0 && h > 0 && w < 65536 && stride >= w * 4 &&
                             quint64(stride) * h <= quint64(std::numeric_limits<int32_t>::max());
        c->out->format = format;
        c->out->size = QSize(int(w), int(h));
        c->out->stride = int(stride);
        if (wl_proxy_get_version(reinterpret_cast<wl_proxy*>(frame)) < 3)
            startCopy(c->out, c->s);
    },
    [](void* data, zwlr_screencopy_frame_v1*, uint32_t flags) {
        static_cast<FrameContext*>(data)->out->flags = flags;
    },
    [](void* data, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t) {
        static_cast<FrameContext*>(data)->out->state = Output::Ready;
    },
    [](void* data, zwlr_screencopy_frame_v1*) {
        auto* c = static_cast<FrameContext*>(data);
        c->out->state = Output::Failed;
        c->s->failure = QStringLiteral("the compositor failed to copy an output");
    },
    [](void*, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t, uint32_t) {},
    [](void*, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t) {},
    [](void* data, zwlr_screencopy_frame_v1*) {
        auto* c = static_cast<FrameContext*>(data);
        if (c->out->state == Output::Waiting)
            startCopy(c->out, c->s);
    },
};

QImage oriented(const Output& out) {
    return orient(QImage(static_cast<const uchar*>(out.pixels->data), out.size.width(),
                         out.size.height(), out.stride, imageFormat(out.format)),
                  out.transform, out.flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT);
}

pixman_format_code_t pixmanFormat(uint32_t format) {
    return imageFormat(format) == QImage::Format_RGB32 ? PIXMAN_x8r8g8b8 : PIXMAN_x8b8g8r8;
}

// An output whose pixels do not fall one to one on the desktop's (a scale below the largest):
// filtered as grim does, so both give the same pixels.
void resample(const Output& out, QPoint origin, qreal scale, QImage* canvas) {
    int width = out.size.width(), height = out.size.height();
    if (out.transform & 1)
        std::swap(width, height);
    const double turn = (out.transform & 3) * M_PI / 2;
    pixman_f_transform toCanvas;
    pixman_f_transform_init_identity(&toCanvas);
    pixman_f_transform_translate(&toCanvas, nullptr, -out.size.width() / 2.0,
                                 -out.size.height() / 2.0);
    pixman_f_transform_scale(&toCanvas, nullptr, double(out.logical.width()) / width,
                             double(out.logical.height()) / height *
                                 (out.flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT ? -1 : 1));
    pixman_f_transform_rotate(&toCanvas, nullptr, std::round(std::cos(turn)),
                              std::round(std::sin(turn)));
    pixman_f_transform_scale(&toCanvas, nullptr, out.transform & 4 ? -1 : 1, 1);
    pixman_f_transform_translate(&toCanvas, nullptr, out.logical.width() / 2.0,
                                 out.logical.height() / 2.0);
    pixman_f_transform_translate(&toCanvas, nullptr, out.position.x() - origin.x(),
                                 out.position.y() - origin.y());
    pixman_f_transform_scale(&toCanvas, nullptr, scale, scale);
    pixman_f_transform fromCanvas;
    pixman_transform transform;
    if (!pixman_f_transform_invert(&fromCanvas, &toCanvas) ||
        !pixman_transform_from_pixman_f_transform(&transform, &fromCanvas))
        return;
    pixman_image_t* source =
        pixman_image_create_bits(pixmanFormat(out.format), out.size.width(), out.size.height(),
                                 static_cast<uint32_t*>(out.pixels->data), out.stride);
    pixman_image_t* target = pixman_image_create_bits(
        PIXMAN_x8r8g8b8, canvas->width(), canvas->height(),
        reinterpret_cast<uint32_t*>(canvas->bits()), int(canvas->bytesPerLine()));
    if (source && target) {
        pixman_image_set_transform(source, &transform);
        pixman_image_set_filter(source, PIXMAN_FILTER_BILINEAR, nullptr, 0);
        pixman_box32_t box{int(std::floor((out.position.x() - origin.x()) * scale)),
                           int(std::floor((out.position.y() - origin.y()) * scale)), 0, 0};
        box.x2 = qMin(canvas->width(), int(std::ceil(box.x1 + out.logical.width() * scale)));
        box.y2 = qMin(canvas->height(), int(std::ceil(box.y1 + out.logical.height() * scale)));
        pixman_image_composite32(PIXMAN_OP_SRC, source, nullptr, target, box.x1, box.y1, 0, 0,
                                 box.x1, box.y1, box.x2 - box.x1, box.y2 - box.y1);
    }
    if (source)
        pixman_image_unref(source);
    if (target)
        pixman_image_unref(target);
}

void makeOpaque(void* data, size_t size) {
    auto* p = static_cast<quint32*>(data);
    for (size_t i = 0, n = size / 4; i < n; ++i)
        p[i] |= 0xff000000u;
}

bool rotated(const Output& out) {
    return out.transform & 1;
}

} // namespace

QImage orient(QImage image, int transform, bool yInverted) {
    if (yInverted)
        image = image.mirrored(false, true);
    switch (transform & 3) {
    case 1:
        image = image.transformed(QTransform().rotate(90));
        break;
    case 2:
        image = image.mirrored(true, true);
        break;
    case 3:
        image = image.transformed(QTransform().rotate(270));
        break;
    }
    if (transform & 4)
        image = image.mirrored(true, false);
    return image;
}

Desktop capture(int timeoutMs) {
    Desktop result;
    static const bool refused = qgetenv("SCREENCAPTURE_NO_SCREENCOPY") == "1";
    if (refused)
        return result;
    QElapsedTimer clock;
    clock.start();
    Session s;
    auto fail = [&](const QString& why) {
        result.error = why;
        return result;
    };
    if (!(s.display = connectPrivately(&result.error)))
        return result;
    s.registry = wl_display_get_registry(s.display);
    wl_registry_add_listener(s.registry, &registryListener, &s);
    // The globals, then the outputs' own events.
    if (!roundTrip(s, clock, timeoutMs))
        return fail(QStringLiteral("no answer from the compositor"));
    if (!s.copier || !s.layout || !s.shm)
        return result;
    result.offered = true;
    if (s.outputs.empty())
        return fail(QStringLiteral("the compositor has no outputs"));
    std::vector<FrameContext> contexts(s.outputs.size());
    for (size_t i = 0; i < s.outputs.size(); ++i) {
        Output* out = s.outputs[i].get();
        out->xdg = zxdg_output_manager_v1_get_xdg_output(s.layout, out->output);
        zxdg_output_v1_add_listener(out->xdg, &layoutListener, out);
        // All outputs at once: each waits for its next frame.
        contexts[i] = {out, &s};
        out->frame = zwlr_screencopy_manager_v1_capture_output(s.copier, 0, out->output);
        zwlr_screencopy_frame_v1_add_listener(out->frame, &frameListener, &contexts[i]);
    }
    const bool finished = dispatchUntil(s, clock, timeoutMs, [&] {
        if (s.outputGone || !s.failure.isEmpty())
            return true;
        for (const auto& out : s.outputs)
            if (out->state != Output::Ready)
                return false;
        return true;
    });
    if (s.outputGone)
        return fail(QStringLiteral("an output went away during the copy"));
    if (!s.failure.isEmpty())
        return fail(s.failure);
    if (!finished)
        return fail(wl_display_get_error(s.display)
                        ? QStringLiteral("the compositor refused the copy (error %1)")
                              .arg(wl_display_get_error(s.display))
                        : QStringLiteral("no copy from the compositor within %1 s")
                              .arg(timeoutMs / 1000.0));

    // The desktop spans every output's logical place; it is drawn at the largest scale.
    QRect extent;
    qreal scale = 1;
    for (const auto& out : s.outputs) {
        if (out->logical.isEmpty())
            return fail(QStringLiteral("the compositor gave no layout for an output"));
        extent |= QRect(out->position, out->logical);
        const int width = rotated(*out) ? out->size.height() : out->size.width();
        scale = qMax(scale, qreal(width) / out->logical.width());
    }
    const QSize canvasSize(int(extent.width() * scale), int(extent.height() * scale));
    // Both formats keep alpha, or padding, in the top byte of a word; Qt's are opaque there.
    for (const auto& out : s.outputs)
        makeOpaque(out->pixels->data, out->pixels->size);
    result.ratio = scale;

    const Output& first = *s.outputs.front();
    if (s.outputs.size() == 1 && first.transform == WL_OUTPUT_TRANSFORM_NORMAL &&
        !(first.flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT) &&
        imageFormat(first.format) == QImage::Format_RGB32 && first.size == canvasSize) {
        // The usual single monitor: the copy is the picture, no pixel moved.
        Mapping* m = s.outputs.front()->pixels.release();
        result.image = QImage(static_cast<uchar*>(m->data), canvasSize.width(), canvasSize.height(),
                              first.stride, QImage::Format_RGB32, freeMapping, m);
        return result;
    }
    QImage canvas(canvasSize, QImage::Format_RGB32);
    canvas.fill(Qt::black);
    std::vector<const Output*> resampled;
    QPainter painter(&canvas);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const auto& out : s.outputs) {
        const QRectF target(QPointF(out->position - extent.topLeft()) * scale,
                            QSizeF(out->logical) * scale);
        const QImage image = oriented(*out);
        if (QSizeF(image.size()) == target.size() &&
            QPointF(target.topLeft().toPoint()) == target.topLeft())
            painter.drawImage(target.topLeft().toPoint(), image);
        else
            resampled.push_back(out.get());
    }
    painter.end();
    for (const Output* out : resampled)
        resample(*out, extent.topLeft(), scale, &canvas);
    if (!resampled.empty())
        makeOpaque(canvas.bits(), size_t(canvas.sizeInBytes()));
    result.image = canvas;
    return result;
}

} // namespace Screencopy
