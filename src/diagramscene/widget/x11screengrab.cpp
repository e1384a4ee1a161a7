#include "x11screengrab.h"

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace {

template <typename T> using Reply = std::unique_ptr<T, decltype(&std::free)>;
template <typename T> Reply<T> reply(T* r) {
    return Reply<T>(r, &std::free);
}

struct Connection {
    xcb_connection_t* c = nullptr;
    int screen = 0;
    Connection() : c(xcb_connect(nullptr, &screen)) {}
    ~Connection() { xcb_disconnect(c); }
    bool ok() const { return c && !xcb_connection_has_error(c); }
};

struct Mapping {
    void* data;
    size_t size;
};

void unmap(void* info) {
    auto* m = static_cast<Mapping*>(info);
    munmap(m->data, m->size);
    delete m;
}

const xcb_screen_t* screenAt(xcb_connection_t* c, int number) {
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; it.rem; ++i, xcb_screen_next(&it))
        if (i == number)
            return it.data;
    return nullptr;
}

// True when the root's pixels are 32-bit words 0x??RRGGBB in this machine's byte order.
bool rootIsRgb32(xcb_connection_t* c, const xcb_screen_t* screen) {
    const xcb_setup_t* setup = xcb_get_setup(c);
    const uint16_t probe = 1;
    const bool littleEndian = *reinterpret_cast<const uint8_t*>(&probe) == 1;
    if ((setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST) != littleEndian)
        return false;
    bool bits32 = false;
    for (auto f = xcb_setup_pixmap_formats_iterator(setup); f.rem; xcb_format_next(&f))
        if (f.data->depth == screen->root_depth)
            bits32 = f.data->bits_per_pixel == 32;
    if (!bits32)
        return false;
    for (auto d = xcb_screen_allowed_depths_iterator(screen); d.rem; xcb_depth_next(&d)) {
        for (auto v = xcb_depth_visuals_iterator(d.data); v.rem; xcb_visualtype_next(&v)) {
            if (v.data->visual_id == screen->root_visual)
                return v.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR &&
                       v.data->red_mask == 0xff0000 && v.data->green_mask == 0xff00 &&
                       v.data->blue_mask == 0xff;
        }
    }
    return false;
}

} // namespace

QImage X11ScreenGrab::grab(QRect const& rect) {
    if (rect.isEmpty())
        return QImage();
    Connection x;
    if (!x.ok())
        return QImage();
    auto version = reply(xcb_shm_query_version_reply(x.c, xcb_shm_query_version(x.c), nullptr));
    // Passing a file descriptor needs 1.2; it spares SysV segments and their permissions.
    if (!version || (version->major_version == 1 && version->minor_version < 2))
        return QImage();
    const xcb_screen_t* screen = screenAt(x.c, x.screen);
    if (!screen || !rootIsRgb32(x.c, screen))
        return QImage();
    const QRect root(0, 0, screen->width_in_pixels, screen->height_in_pixels);
    if (!root.contains(rect))
        return QImage();

    const size_t size = size_t(rect.width()) * size_t(rect.height()) * 4;
    const int fd = memfd_create("screencapture-grab", MFD_CLOEXEC);
    if (fd < 0)
        return QImage();
    void* data = MAP_FAILED;
    if (ftruncate(fd, off_t(size)) == 0)
        data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd, 0);
    if (data == MAP_FAILED) {
        close(fd);
        return QImage();
    }
    auto* mapping = new Mapping{data, size};
    const xcb_shm_seg_t segment = xcb_generate_id(x.c);
    // xcb sends the descriptor and closes it.
    xcb_shm_attach_fd(x.c, segment, fd, 0);
    auto image = reply(xcb_shm_get_image_reply(
        x.c,
        xcb_shm_get_image(x.c, screen->root, int16_t(rect.x()), int16_t(rect.y()),
                          uint16_t(rect.width()), uint16_t(rect.height()), ~0u,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0),
        nullptr));
    xcb_shm_detach(x.c, segment);
    xcb_flush(x.c);
    if (!image) {
        unmap(mapping);
        return QImage();
    }
    // The byte above a 24-bit pixel is whatever the server left there; Qt's RGB32 is opaque.
    auto* p = static_cast<quint32*>(data);
    for (size_t i = 0, n = size / 4; i < n; ++i)
        p[i] |= 0xff000000u;
    return QImage(static_cast<uchar*>(data), rect.width(), rect.height(), rect.width() * 4,
                  QImage::Format_RGB32, unmap, mapping);
}
