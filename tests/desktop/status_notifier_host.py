#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A status area without a panel: takes items in over D-Bus and shows them to a test.

Each line on standard input is a command, and each is answered by one line of JSON:
    properties          the item's properties; of pictures their sizes
    menu                the texts of its menu, drawn by us: [[id, label, enabled, separator], …]
    click ID            chooses an entry of that menu
    activate X Y        a click on the item itself
    own NAME            takes one more name on the bus and tells of calls to it
A line {"event": …} tells of what happens by itself: "up", "registered", "icon", "layout", "call".
"""

import json
import sys

import dbus
import dbus.lowlevel
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
PROPERTIES = "org.freedesktop.DBus.Properties"
# Askers look the properties up in the description before they read them.
DESCRIBED = (("RegisteredStatusNotifierItems", "as"), ("IsStatusNotifierHostRegistered", "b"),
             ("ProtocolVersion", "i"))


def say(**line):
    print(json.dumps(line), flush=True)


class Watcher(dbus.service.Object):
    def __init__(self, bus):
        self.bus = bus
        self.items = []
        self.name = dbus.service.BusName(WATCHER, bus, do_not_queue=True)
        super().__init__(bus, "/StatusNotifierWatcher")

    @dbus.service.method("org.freedesktop.DBus.Introspectable", out_signature="s",
                         path_keyword="path", connection_keyword="connection")
    def Introspect(self, path=None, connection=None):
        text = dbus.service.Object.Introspect(self, path, connection)
        added = "".join(f'<property name="{name}" type="{kind}" access="read"/>' for name, kind in DESCRIBED)
        opening = f'<interface name="{WATCHER}">'
        return text.replace(opening, opening + added)

    @dbus.service.method(PROPERTIES, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return self.GetAll(interface)[name]

    @dbus.service.method(PROPERTIES, in_signature="s", out_signature="a{sv}")
    def GetAll(self, _interface):
        return {"RegisteredStatusNotifierItems": dbus.Array(["".join(item) for item in self.items], "s"),
                "IsStatusNotifierHostRegistered": True, "ProtocolVersion": 0}

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        path = service if service.startswith("/") else "/StatusNotifierItem"
        self.items.append((sender, path))
        self.bus.add_signal_receiver(lambda: say(event="icon"), "NewIcon", ITEM, sender)
        self.bus.add_signal_receiver(lambda *_: say(event="layout"), "LayoutUpdated", MENU, sender)
        self.bus.add_signal_receiver(lambda *_: say(event="layout"), "ItemsPropertiesUpdated", MENU, sender)
        say(event="registered")

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierHost(self, _service):
        pass

    @dbus.service.signal(WATCHER, signature="")
    def StatusNotifierHostRegistered(self):
        pass

    def item(self, interface):
        service, path = self.items[-1]
        return dbus.Interface(self.bus.get_object(service, path), interface)

    def menu_interface(self):
        path = self.item(PROPERTIES).Get(ITEM, "Menu")
        return dbus.Interface(self.bus.get_object(self.items[-1][0], path), MENU)

    def properties(self):
        answer = {}
        for name, value in self.item(PROPERTIES).GetAll(ITEM).items():
            if "Pixmap" in name:
                value = [[int(width), int(height)] for width, height, _ in value]
            elif name == "ToolTip":
                value = str(value[2])
            else:
                value = str(value)
            answer[str(name)] = value
        return answer

    def menu(self):
        # A host says that it is about to show a menu before it reads the texts.
        menu = self.menu_interface()
        menu.AboutToShow(0)
        _, root = menu.GetLayout(0, -1, [])
        entries = []
        for entry in root[2]:
            values = entry[1]
            if not values.get("visible", True):
                continue
            entries.append([int(entry[0]), str(values.get("label", "")), bool(values.get("enabled", True)),
                            values.get("type", "") == "separator"])
        return entries

    def perform(self, command, *arguments):
        if command == "properties":
            return self.properties()
        if command == "menu":
            return self.menu()
        if command == "click":
            self.menu_interface().Event(int(arguments[0]), "clicked", dbus.Int32(0), dbus.UInt32(0))
            return True
        if command == "activate":
            self.item(ITEM).Activate(int(arguments[0]), int(arguments[1]))
            return True
        if command == "own":
            self.other = dbus.service.BusName(arguments[0], self.bus, do_not_queue=True)
            return True
        raise ValueError(command)


def read_commands(watcher):
    def perform(_source, condition):
        line = sys.stdin.readline()
        if not line:
            loop.quit()
            return False
        try:
            say(answer=watcher.perform(*line.split()))
        except (dbus.DBusException, IndexError, ValueError) as error:
            say(error=str(error))
        return True

    GLib.io_add_watch(sys.stdin, GLib.IO_IN | GLib.IO_HUP, perform)


def tell_of_calls(bus):
    def look(_connection, message):
        if isinstance(message, dbus.lowlevel.MethodCallMessage) and \
                message.get_interface() == "org.freedesktop.Application":
            say(event="call", path=message.get_path(), member=message.get_member())
            bus.send_message(dbus.lowlevel.MethodReturnMessage(message))
            return dbus.lowlevel.HANDLER_RESULT_HANDLED
        return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED

    bus.add_message_filter(look)


dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
loop = GLib.MainLoop()
session = dbus.SessionBus()
tell_of_calls(session)
host = Watcher(session)
host.StatusNotifierHostRegistered()
read_commands(host)
say(event="up")
loop.run()
