#!/usr/bin/python3
# Input and screenshots through a GNOME Shell (mutter) session, as a real keyboard and mouse
# would arrive: one RemoteDesktop session held open for the whole run (a headless mutter has a
# keyboard only while one is), and the Shell's own screenshot call, which it grants to the bus
# name org.gnome.Screenshot only. Commands on stdin, one a line; one answer line each on stdout
# ("ok ..." or "error ..."):
#   move X Y          pointer to X,Y of the desktop
#   button N 1|0      press/release mouse button N (1 left, 2 middle, 3 right)
#   key KEYSYM 1|0    press/release a key given by its X keysym (a number)
#   shot FILE         the Shell's screenshot of every monitor into FILE (a PNG)
#   busy 1|0          keep the Shell busy taking screenshots back to back, or stop
#   portal            a non-interactive screenshot through the desktop portal, as an application
#                     asks for one: "ok MS CODE", MS from the call to the answer (file removed)
import os
import sys
import time

from gi.repository import Gio, GLib

bus = Gio.bus_get_sync(Gio.BusType.SESSION)
loop = GLib.MainLoop()
BTN = {1: 0x110, 2: 0x112, 3: 0x111}  # evdev codes: left, middle, right


def call(name, path, iface, method, args=None, reply=None):
    return bus.call_sync(name, path, iface, method, args, reply and GLib.VariantType(reply),
                         Gio.DBusCallFlags.NONE, 20000, None)


def owned(*_):
    MUTTER = 'org.gnome.Mutter.RemoteDesktop'
    global session, pos
    session = call(MUTTER, '/org/gnome/Mutter/RemoteDesktop', MUTTER, 'CreateSession',
                   None, '(o)').unpack()[0]
    rd('Start')
    # The first key of a fresh keyboard is lost; a harmless one goes first.
    keysym(0xffe1, True)
    keysym(0xffe1, False)
    # Relative motion is clamped to the monitors: far up-left is 0,0.
    rd('NotifyPointerMotionRelative', GLib.Variant('(dd)', (-100000.0, -100000.0)))
    pos = [0, 0]
    GLib.io_add_watch(GLib.IOChannel.unix_new(0), GLib.PRIORITY_DEFAULT, GLib.IO_IN | GLib.IO_HUP, command)
    answer('ok ready')


def rd(method, args=None):
    call('org.gnome.Mutter.RemoteDesktop', session, 'org.gnome.Mutter.RemoteDesktop.Session', method, args)


def keysym(sym, down):
    rd('NotifyKeyboardKeysym', GLib.Variant('(ub)', (sym, down)))


def shot(path):
    return call('org.gnome.Shell.Screenshot', '/org/gnome/Shell/Screenshot', 'org.gnome.Shell.Screenshot',
                'Screenshot', GLib.Variant('(bbs)', (False, False, path)), '(bs)').unpack()[0]


busy = {'on': False, 'count': 0, 'flying': False, 'stopped': None}


# Back to back, asynchronously, so commands are still served in between; the Shell takes one
# screenshot at a time per caller, so "busy 0" answers once the last one is done.
def busy_shot(*_):
    busy['flying'] = busy['on']
    if not busy['on']:
        if busy['stopped']:
            busy['stopped']()
            busy['stopped'] = None
        return
    busy['count'] += 1
    bus.call('org.gnome.Shell.Screenshot', '/org/gnome/Shell/Screenshot', 'org.gnome.Shell.Screenshot',
             'Screenshot', GLib.Variant('(bbs)', (False, False, os.path.join(os.environ['XDG_RUNTIME_DIR'], 'busy.png'))),
             None, Gio.DBusCallFlags.NONE, 20000, None, busy_shot)


def portal():
    token = 'gnomeinput%d' % busy['count']
    busy['count'] += 1
    sender = bus.get_unique_name()[1:].replace('.', '_')
    path = '/org/freedesktop/portal/desktop/request/%s/%s' % (sender, token)
    t0 = time.monotonic()

    def response(conn, sender, obj, iface, signal, params):
        code, results = params.unpack()
        bus.signal_unsubscribe(sub)
        uri = results.get('uri', '')
        if uri.startswith('file://'):
            os.remove(GLib.filename_from_uri(uri)[0])
        answer('ok %.1f %d' % ((time.monotonic() - t0) * 1000, code))

    sub = bus.signal_subscribe(None, 'org.freedesktop.portal.Request', 'Response',
                               path, None, Gio.DBusSignalFlags.NONE, response)
    bus.call('org.freedesktop.portal.Desktop', '/org/freedesktop/portal/desktop', 'org.freedesktop.portal.Screenshot',
             'Screenshot', GLib.Variant('(sa{sv})', ('', {'handle_token': GLib.Variant('s', token),
                                                          'interactive': GLib.Variant('b', False)})),
             None, Gio.DBusCallFlags.NONE, 60000, None, None)


def answer(text):
    sys.stdout.write(text + '\n')
    sys.stdout.flush()


def command(channel, cond):
    line = sys.stdin.readline()
    if not line:
        rd('Stop')
        loop.quit()
        return False
    w = line.split()
    try:
        if w[0] == 'move':
            x, y = int(w[1]), int(w[2])
            rd('NotifyPointerMotionRelative', GLib.Variant('(dd)', (float(x - pos[0]), float(y - pos[1]))))
            pos[:] = [x, y]
        elif w[0] == 'button':
            rd('NotifyPointerButton', GLib.Variant('(ib)', (BTN[int(w[1])], w[2] == '1')))
        elif w[0] == 'key':
            keysym(int(w[1]), w[2] == '1')
        elif w[0] == 'shot':
            if not shot(w[1]):
                raise RuntimeError('the Shell took no screenshot')
        elif w[0] == 'portal':
            portal()
            return True
        elif w[0] == 'busy':
            was, busy['on'] = busy['on'], w[1] == '1'
            if busy['on'] and not was and not busy['flying']:
                busy_shot()
            if not busy['on'] and busy['flying']:
                busy['stopped'] = lambda: answer('ok %d' % busy['count'])
            else:
                answer('ok %d' % busy['count'])
            return True
        answer('ok')
    except Exception as e:  # noqa: BLE001 - every failure is reported to the caller
        answer('error %s' % str(e).replace('\n', ' '))
    return True


Gio.bus_own_name_on_connection(bus, 'org.gnome.Screenshot', Gio.BusNameOwnerFlags.NONE, owned,
                               lambda *_: (answer('error org.gnome.Screenshot is taken'), loop.quit()))
loop.run()
