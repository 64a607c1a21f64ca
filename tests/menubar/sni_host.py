#!/usr/bin/python3
"""A small StatusNotifierWatcher and tray host on the session bus: reads each registered
item's properties at registration and on its change signals, printing one JSON line per
event. `--as NAME` sets its process name as the item sees it (gnome-shell shows labels).
Commands on stdin, on the last item: `activate X Y`, `menu` (its dbusmenu layout), `click ID`,
`events ID...` (EventGroup "clicked"), `show ID...` (AboutToShowGroup) and `quit`."""
import json
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

ITEM_IFACE = "org.kde.StatusNotifierItem"
MENU_IFACE = "com.canonical.dbusmenu"
WATCHER = "org.kde.StatusNotifierWatcher"


def emit(event, **fields):
    fields["event"] = event
    sys.stdout.write(json.dumps(fields) + "\n")
    sys.stdout.flush()


class Watcher(dbus.service.Object):
    def __init__(self, bus):
        self.bus = bus
        self.items = []
        name = dbus.service.BusName(WATCHER, bus, do_not_queue=True)
        super().__init__(name, "/StatusNotifierWatcher")
        self._name = name

    @dbus.service.method(WATCHER, in_signature="s", out_signature="", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        if service.startswith("/"):
            service, path = sender, service
        else:
            path = "/StatusNotifierItem"
        self.items.append((service, path))
        GLib.idle_add(self.read_item, service, path, "registered")
        for signal in ("NewIcon", "NewToolTip", "XAyatanaNewLabel"):
            self.bus.add_signal_receiver(
                lambda *args, s=signal, svc=service, p=path: self.read_item(svc, p, s),
                signal_name=signal, dbus_interface=ITEM_IFACE, bus_name=service, path=path)
        for signal in ("LayoutUpdated", "ItemsPropertiesUpdated"):
            self.bus.add_signal_receiver(
                lambda *args, s=signal: emit(s, args=plain(args)),
                signal_name=signal, dbus_interface=MENU_IFACE, bus_name=service)
        self.StatusNotifierItemRegistered(service)

    @dbus.service.signal(WATCHER, signature="s")
    def StatusNotifierItemRegistered(self, service):
        pass

    def read_item(self, service, path, why):
        try:
            obj = self.bus.get_object(service, path)
            props = obj.GetAll(ITEM_IFACE, dbus_interface="org.freedesktop.DBus.Properties")
        except dbus.DBusException as e:
            emit("error", why=why, message=str(e))
            return False
        tip = props.get("ToolTip")
        emit(why, pixmaps=[[int(w), int(h)] for (w, h, _) in props.get("IconPixmap", [])],
             tooltip_text=str(tip[3]) if tip else "", label=str(props.get("XAyatanaLabel", "")),
             menu=str(props.get("Menu", "")), icon_name=str(props.get("IconName", "")),
             theme_path=str(props.get("IconThemePath", "")), names=sorted(props.keys()))
        return False

    def probe(self):
        """Reads that must fail: a property the item does not have, and a write."""
        service, path = self.items[-1]
        props = dbus.Interface(self.bus.get_object(service, path), "org.freedesktop.DBus.Properties")
        errors = []
        for call in (lambda: props.Get(ITEM_IFACE, "NoSuchProperty"),
                     lambda: props.Set(ITEM_IFACE, "Status", dbus.String("Passive", variant_level=1))):
            try:
                call()
                errors.append("")
            except dbus.DBusException as e:
                errors.append(e.get_dbus_name())
        emit("probed", errors=errors, status=str(props.Get(ITEM_IFACE, "Status")))

    def call(self, method, *args, menu=True):
        """Calls METHOD on the last item's menu (or the item itself); emits its reply."""
        if not self.items:
            emit("error", message="no item")
            return
        service, path = self.items[-1]
        if menu:
            path = str(self.bus.get_object(service, path).Get(
                ITEM_IFACE, "Menu", dbus_interface="org.freedesktop.DBus.Properties"))
        getattr(self.bus.get_object(service, path), method)(
            *args, dbus_interface=MENU_IFACE if menu else ITEM_IFACE,
            reply_handler=lambda *r: emit(method, reply=plain(r)),
            error_handler=lambda e: emit("error", method=method, message=str(e)))


def plain(value):
    """D-Bus values as JSON-ready ones."""
    if isinstance(value, (dbus.Struct, tuple, list, dbus.Array)):
        return [plain(v) for v in value]
    if isinstance(value, (dict, dbus.Dictionary)):
        return {str(k): plain(v) for k, v in value.items()}
    if isinstance(value, dbus.Boolean):
        return bool(value)
    if isinstance(value, (int, dbus.Int32, dbus.UInt32)):
        return int(value)
    return str(value)


def main():
    if len(sys.argv) == 3 and sys.argv[1] == "--as":
        import ctypes
        libc = ctypes.CDLL(None)
        libc.prctl(15, sys.argv[2].encode()[:15], 0, 0, 0)  # PR_SET_NAME
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    watcher = Watcher(bus)
    loop = GLib.MainLoop()

    def on_stdin(source, condition):
        line = sys.stdin.readline()
        if not line or line.strip() == "quit":
            loop.quit()
            return False
        words = line.split()
        ids = [dbus.Int32(int(w)) for w in words[1:]]
        if words and words[0] == "activate" and len(words) == 3:
            watcher.call("Activate", dbus.Int32(int(words[1])), dbus.Int32(int(words[2])), menu=False)
        elif words == ["probe"]:
            watcher.probe()
        elif words == ["menu"]:
            watcher.call("GetLayout", dbus.Int32(0), dbus.Int32(-1),
                              dbus.Array([], signature="s"))
        elif words and words[0] == "click":
            watcher.call("Event", ids[0], "clicked", dbus.String("", variant_level=1),
                              dbus.UInt32(0))
        elif words and words[0] == "events":
            watcher.call("EventGroup", dbus.Array(
                [(i, "clicked", dbus.String("", variant_level=1), dbus.UInt32(0)) for i in ids],
                signature="(isvu)"))
        elif words and words[0] == "show":
            watcher.call("AboutToShowGroup", dbus.Array(ids, signature="i"))
        return True

    GLib.io_add_watch(sys.stdin, GLib.IO_IN | GLib.IO_HUP, on_stdin)
    emit("ready")
    loop.run()


if __name__ == "__main__":
    main()
