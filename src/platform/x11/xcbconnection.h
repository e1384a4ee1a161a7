#ifndef XCBCONNECTION_H
#define XCBCONNECTION_H

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

// A reply xcb allocated, freed with it.
template <typename T> using XcbReply = std::unique_ptr<T, decltype(&std::free)>;
template <typename T> XcbReply<T> xcbReply(T* r) {
    return XcbReply<T>(r, &std::free);
}

// A private connection to $DISPLAY, apart from Qt's, and its default screen: the helpers that
// read the desktop make their round trips on it without touching Qt's request stream.
class XcbConnection {
public:
    XcbConnection() : c_(xcb_connect(nullptr, &number_)) {
        if (xcb_connection_has_error(c_))
            return;
        xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c_));
        for (int i = 0; i < number_ && it.rem; ++i)
            xcb_screen_next(&it);
        if (it.rem)
            screen_ = it.data;
    }
    ~XcbConnection() { xcb_disconnect(c_); }
    XcbConnection(XcbConnection const&) = delete;
    XcbConnection& operator=(XcbConnection const&) = delete;

    xcb_connection_t* get() const { return c_; }
    // Null when no X server answers.
    const xcb_screen_t* screen() const { return screen_; }

private:
    int number_ = 0;
    xcb_connection_t* c_;
    const xcb_screen_t* screen_ = nullptr;
};

#endif // XCBCONNECTION_H
