#include "x11windowsnapshot.h"

#include "xcbconnection.h"

#include <cstring>

namespace {

xcb_atom_t atom(xcb_connection_t* c, xcb_intern_atom_cookie_t cookie) {
    auto r = xcbReply(xcb_intern_atom_reply(c, cookie, nullptr));
    return r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
}

// The window manager's clients, bottom to top; empty without a stacking list.
QVector<xcb_window_t> stackingList(xcb_connection_t* c, xcb_window_t root, xcb_atom_t prop) {
    QVector<xcb_window_t> out;
    if (prop == XCB_ATOM_NONE)
        return out;
    auto r = xcbReply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, root, prop, XCB_ATOM_WINDOW, 0, 1 << 16), nullptr));
    if (!r || r->format != 32 || r->type != XCB_ATOM_WINDOW)
        return out;
    const auto* ids = static_cast<xcb_window_t*>(xcb_get_property_value(r.get()));
    const int n = xcb_get_property_value_length(r.get()) / 4;
    for (int i = 0; i < n; ++i)
        out << ids[i];
    return out;
}

// Root children bottom to top, as the server stacks them.
QVector<xcb_window_t> rootChildren(xcb_connection_t* c, xcb_window_t root) {
    QVector<xcb_window_t> out;
    auto r = xcbReply(xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr));
    if (!r)
        return out;
    const xcb_window_t* ids = xcb_query_tree_children(r.get());
    for (int i = 0, n = xcb_query_tree_children_length(r.get()); i < n; ++i)
        out << ids[i];
    return out;
}

// For each client, the root child that holds it (the window manager's frame, or the client
// itself); 0 where the client is gone. All clients climb one level per round trip.
QVector<xcb_window_t> topLevels(xcb_connection_t* c, xcb_window_t root,
                                QVector<xcb_window_t> const& clients) {
    QVector<xcb_window_t> at = clients;
    QVector<bool> done(clients.size(), false);
    for (int depth = 0; depth < 16; ++depth) {
        QVector<xcb_query_tree_cookie_t> cookies(at.size());
        bool any = false;
        for (int i = 0; i < at.size(); ++i) {
            if (!done[i]) {
                cookies[i] = xcb_query_tree(c, at[i]);
                any = true;
            }
        }
        if (!any)
            break;
        for (int i = 0; i < at.size(); ++i) {
            if (done[i])
                continue;
            auto r = xcbReply(xcb_query_tree_reply(c, cookies[i], nullptr));
            if (!r || r->parent == XCB_WINDOW_NONE) {
                at[i] = 0;
                done[i] = true;
            } else if (r->parent == root) {
                done[i] = true;
            } else {
                at[i] = r->parent;
            }
        }
    }
    for (int i = 0; i < at.size(); ++i) {
        if (!done[i])
            at[i] = 0;
    }
    return at;
}

} // namespace

QVector<QRect> X11WindowSnapshot::take(quint32 exclude) {
    QVector<QRect> rects;
    const XcbConnection x;
    if (!x.screen())
        return rects;
    xcb_connection_t* c = x.get();
    const xcb_window_t root = x.screen()->root;

    const char* names[] = {"_NET_CLIENT_LIST_STACKING", "_GTK_FRAME_EXTENTS"};
    xcb_intern_atom_cookie_t atomCookies[2];
    for (int i = 0; i < 2; ++i)
        atomCookies[i] = xcb_intern_atom(c, 1, uint16_t(std::strlen(names[i])), names[i]);
    const xcb_atom_t stacking = atom(c, atomCookies[0]);
    const xcb_atom_t gtkExtents = atom(c, atomCookies[1]);

    // Clients and the root children that show them, bottom to top.
    QVector<xcb_window_t> clients = stackingList(c, root, stacking);
    QVector<xcb_window_t> tops;
    if (clients.isEmpty()) {
        tops = clients = rootChildren(c, root);
    } else {
        tops = topLevels(c, root, clients);
    }

    const int n = tops.size();
    QVector<xcb_get_window_attributes_cookie_t> attrs(n);
    QVector<xcb_get_geometry_cookie_t> geoms(n);
    QVector<xcb_get_property_cookie_t> extents(n);
    for (int i = 0; i < n; ++i) {
        attrs[i] = xcb_get_window_attributes(c, tops[i]);
        geoms[i] = xcb_get_geometry(c, tops[i]);
        if (gtkExtents != XCB_ATOM_NONE)
            extents[i] = xcb_get_property(c, 0, clients[i], gtkExtents, XCB_ATOM_CARDINAL, 0, 4);
    }
    for (int i = n - 1; i >= 0; --i) {
        auto a = xcbReply(xcb_get_window_attributes_reply(c, attrs[i], nullptr));
        auto g = xcbReply(xcb_get_geometry_reply(c, geoms[i], nullptr));
        auto e = gtkExtents != XCB_ATOM_NONE
                     ? xcbReply(xcb_get_property_reply(c, extents[i], nullptr))
                     : xcbReply<xcb_get_property_reply_t>(nullptr);
        if (!tops[i] || tops[i] == exclude || clients[i] == exclude || !a || !g ||
            a->map_state != XCB_MAP_STATE_VIEWABLE || a->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
            continue;
        // Root children: the geometry is already in root coordinates (border outside).
        const int b = g->border_width;
        QRect r(g->x, g->y, g->width + 2 * b, g->height + 2 * b);
        if (e && e->format == 32 && xcb_get_property_value_length(e.get()) == 16) {
            // left, right, top, bottom: the shadow drawn around a client-side decorated window
            const auto* v = static_cast<uint32_t*>(xcb_get_property_value(e.get()));
            const QRect inner = r.adjusted(int(v[0]), int(v[2]), -int(v[1]), -int(v[3]));
            if (inner.isValid())
                r = inner;
        }
        if (r.isValid())
            rects << r;
    }
    return rects;
}
