#include "x11screengrab.h"

#include "xcbconnection.h"

#include <xcb/shm.h>

#include <sys/mman.h>
#include <unistd.h>

namespace {

struct Mapping {
    void* data;
    size_t size;
};

void unmap(void* info) {
    auto* m = static_cast<Mapping*>(info);
    munmap(m->data, m->size);
    delete m;
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
    const XcbConnection x;
    const xcb_screen_t* screen = x.screen();
    if (!screen)
        return QImage();
    xcb_connection_t* c = x.get();
    auto version = xcbReply(xcb_shm_query_version_reply(c, xcb_shm_query_version(c), nullptr));
    // Passing a file descriptor needs 1.2; it spares SysV segments and their permissions.
    if (!version || (version->major_version == 1 && version->minor_version < 2))
        return QImage();
    if (!rootIsRgb32(c, screen))
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
    const xcb_shm_seg_t segment = xcb_generate_id(c);
    // xcb sends the descriptor and closes it.
    xcb_shm_attach_fd(c, segment, fd, 0);
    auto image = xcbReply(xcb_shm_get_image_reply(
        c,
        xcb_shm_get_image(c, screen->root, int16_t(rect.x()), int16_t(rect.y()),
                          uint16_t(rect.width()), uint16_t(rect.height()), ~0u,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0),
        nullptr));
    xcb_shm_detach(c, segment);
    xcb_flush(c);
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
