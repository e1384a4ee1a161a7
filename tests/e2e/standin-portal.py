#!/usr/bin/python3
# A stand-in for the desktop portal's Screenshot interface on a private session bus.
# usage: standin-portal.py MODE [FILE]
#   deny    answers with response 1 (the user refused)
#   file    answers with response 0 and the URI of FILE (missing or not a picture)
#   silent  never answers
#   late    answers like file, 32 s late (after the caller gave up)
#   moved   answers like file, a moment later, on a request path of its own choosing
import os
import sys
from gi.repository import Gio, GLib

MODE = sys.argv[1]
FILE = sys.argv[2] if len(sys.argv) > 2 else ''
XML = '''<node><interface name="org.freedesktop.portal.Screenshot">
<method name="Screenshot"><arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
<arg type="o" direction="out"/></method></interface></node>'''


def on_call(conn, sender, path, iface, method, params, invocation):
    token = params.unpack()[1].get('handle_token', 't')
    handle = '/org/freedesktop/portal/desktop/request/%s/%s' % (sender[1:].replace('.', '_'), token)
    if MODE == 'moved':
        handle += '_moved'
    invocation.return_value(GLib.Variant('(o)', (handle,)))
    if MODE == 'silent':
        return
    code = 1 if MODE == 'deny' else 0
    results = {} if code else {'uri': GLib.Variant('s', 'file://' + FILE)}

    def answer():
        if MODE == 'late':
            os.utime(FILE)  # written for this request, as a real portal would
        conn.emit_signal(sender, handle, 'org.freedesktop.portal.Request', 'Response',
                         GLib.Variant('(ua{sv})', (code, results)))
        return False

    if MODE == 'late':
        GLib.timeout_add_seconds(32, answer)
    elif MODE == 'moved':
        GLib.timeout_add(300, answer)
    else:
        answer()


def on_bus(conn, name):
    info = Gio.DBusNodeInfo.new_for_xml(XML).interfaces[0]
    conn.register_object('/org/freedesktop/portal/desktop', info, on_call, None, None)


def on_name(conn, name):
    print('ready', flush=True)


Gio.bus_own_name(Gio.BusType.SESSION, 'org.freedesktop.portal.Desktop', 0, on_bus, on_name, None)
GLib.MainLoop().run()
