# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Which folder may include what. The checks beside this file read it; nothing else decides."""

# A folder's own headers are always allowed. An entry that ends with "/" stands for all below it.
MAY_INCLUDE = {
    "phone/": ["filters/", "net/", "model/", "support/", "Common/", "platform/"],
    "web/": ["phone/", "filters/", "net/", "model/", "support/", "Common/", "platform/"],
    "tools/": ["filters/", "net/", "model/", "support/", "Common/", "platform/"],
    "preferences/": ["support/", "net/ServiceDictionary.h", "Common/", "platform/"],
    "app/": ["ui/", "net/", "model/", "support/", "Common/", "platform/"],
    "filters/": ["model/", "Common/", "platform/foundation/", "platform/bundle/"],
    "ui/": ["support/", "Common/", "platform/foundation/", "platform/bundle/", "platform/images/",
            "platform/session/", "platform/tray/", "platform/desktop/"],
    "net/": ["support/ZRKNotificationCenter.h", "Common/", "platform/foundation/",
             "platform/propertylist/", "platform/streams/", "platform/dnssd/"],
    "model/": ["support/ZRKNotificationCenter.h", "Common/", "platform/foundation/",
               "platform/propertylist/", "platform/archive/", "platform/pasteboard/",
               "platform/images/", "platform/windows/"],
    "support/": ["Common/", "platform/foundation/", "platform/archive/", "platform/bundle/",
                 "platform/preferences/", "platform/power/"],
    "Common/": ["platform/foundation/", "platform/images/"],
    "platform/foundation/": [],
    "platform/propertylist/": ["platform/foundation/"],
    "platform/archive/": ["platform/foundation/", "platform/propertylist/"],
    "platform/bundle/": ["platform/foundation/", "platform/propertylist/"],
    "platform/dbus/": ["platform/foundation/"],
    "platform/x11/": ["platform/foundation/"],
    "platform/wayland/": ["platform/foundation/"],
    "platform/mutter/": ["platform/foundation/", "platform/dbus/",
                         "platform/wayland/WaylandDataControl.h",
                         "platform/wayland/WaylandKeyboard.h", "platform/wayland/WaylandSeatLayout.h"],
    "platform/streams/": ["platform/foundation/"],
    "platform/dnssd/": ["platform/foundation/", "platform/streams/", "platform/dbus/"],
    "platform/session/": ["platform/foundation/", "platform/x11/", "platform/wayland/",
                          "platform/mutter/", "platform/dbus/"],
    "platform/pasteboard/": ["platform/foundation/", "platform/images/",
                             "platform/x11/", "platform/wayland/", "platform/mutter/",
                             "platform/session/Session.h",
                             "platform/streams/SocketNotifier.h"],
    "platform/keyboard/": ["platform/foundation/", "platform/wayland/", "platform/mutter/", "platform/x11/",
                           "platform/dbus/", "platform/session/Session.h"],
    "platform/windows/": ["platform/foundation/", "platform/propertylist/", "platform/wayland/",
                          "platform/x11/",
                          "platform/session/Session.h"],
    "platform/tray/": ["platform/foundation/", "platform/wayland/", "platform/x11/", "platform/dbus/",
                       "platform/session/Session.h"],
    "platform/desktop/": ["platform/foundation/", "platform/bundle/", "platform/dbus/"],
    "platform/images/": ["platform/foundation/"],
    "platform/preferences/": ["platform/foundation/", "platform/propertylist/", "platform/dbus/"],
    "platform/power/": ["platform/foundation/", "platform/dbus/"],
}

# A folder's unit tests stand on that folder and the kit.
TESTED_FOLDERS = {
    "tests/foundation/": ["platform/foundation/"],
    "tests/propertylist/": ["platform/propertylist/"],
    "tests/archive/": ["platform/archive/"],
    "tests/bundle/": ["platform/bundle/"],
    "tests/streams/": ["platform/streams/"],
    "tests/dnssd/": ["platform/dnssd/"],
    # The services that share an X server: what is set is pasted, and all lose it together.
    "tests/pasteboard/": ["platform/pasteboard/", "platform/keyboard/", "platform/windows/",
                          "platform/session/"],
    "tests/images/": ["platform/images/"],
    "tests/wayland/": ["platform/wayland/"],
    "tests/keyboard/": ["platform/keyboard/", "platform/pasteboard/"],
    "tests/windows/": ["platform/windows/", "platform/tray/"],
    "tests/services/": ["platform/preferences/", "platform/power/", "platform/session/",
                        "platform/tray/", "platform/desktop/", "platform/dbus/"],
    "tests/categories/": ["Common/"],
    "tests/support/": ["support/"],
    "tests/net/": ["net/"],
    "tests/model/": ["model/"],
    "tests/filters/": ["filters/"],
    "tests/ui/": ["ui/"],
    "tests/app/": ["app/"],
    "tests/phone/": ["phone/"],
    "tests/web/": ["web/"],
    "tests/tools/": ["tools/"],
    "tests/preferences/": ["preferences/"],
}
TEST_TOOLS = ["tests/kit/"]
# Peers and servers that one folder's tests brought along and others use as well.
SHARED_TEST_TOOLS = ["tests/pasteboard/clients/",
                     "tests/services/PrivateBus.h"]
# The kit serves every folder, so it may know only the lowest floors.
for _folder in TEST_TOOLS:
    MAY_INCLUDE[_folder] = TEST_TOOLS + ["platform/", "Common/", "support/", "net/", "model/", "ui/"]
for _folder, _tested in TESTED_FOLDERS.items():
    MAY_INCLUDE[_folder] = TEST_TOOLS + SHARED_TEST_TOOLS + _tested
    for _one in _tested:
        MAY_INCLUDE[_folder] += MAY_INCLUDE[_one]
# These put whole programs together.
for _folder in ("tests/desktop/", "fuzz/", "bench/"):
    MAY_INCLUDE[_folder] = [""]

# Their headers may hold what their sister services need of the system; the rest of the program sees
# only those that do not.
INTERNAL_SERVICES = ["platform/dbus/", "platform/mutter/", "platform/wayland/", "platform/x11/"]

# What the system offers, as the beginnings of header names, and the folders where a header of that
# kind may appear. A header that others include may hold none of them, nor lead to one.
SYSTEM_HEADERS = {
    "X11": (["X11/", "xcb/", "GL/"],
            ["platform/x11/", "platform/session/", "platform/pasteboard/backends/x11/",
             "platform/keyboard/backends/xtest/",
             "platform/windows/backends/x11/", "platform/tray/backends/"]),
    "Wayland": (["wayland-", "wlr-", "ext-data-control", "virtual-keyboard-", "fake-input-",
                 "plasma-", "xkbcommon/"],
                ["platform/wayland/"]),
    "Avahi": (["avahi-"], ["platform/dnssd/backends/core/"]),
    "D-Bus": (["QDBus", "QtDBus", "dbus/"],
              ["platform/dbus/", "platform/mutter/", "platform/dnssd/", "platform/session/backends/dbus/",
               "platform/keyboard/backends/wayland/",
               "platform/tray/backends/dbus/", "platform/desktop/backends/",
               "platform/preferences/backends/dbus/", "platform/power/backends/logind/"]),
    "socket": (["sys/socket.h", "sys/un.h", "netinet/", "netpacket/", "arpa/", "netdb.h", "net/if",
                "ifaddrs.h", "QTcp", "QUdp", "QLocalS", "QAbstractSocket", "QSsl", "QHostInfo",
                "QNetwork", "QtNetwork/QTcp", "QtNetwork/QUdp", "QtNetwork/QLocal"],
               ["platform/streams/", "platform/dnssd/", "web/"]),
}
# Outside the product, independent clients and peers are welcome.
ANY_SYSTEM_HEADER = ["tests/", "fuzz/", "bench/"]
EXCEPTIONS = {
    # Lists the interfaces' addresses and opens no socket; there is no service to ask for it.
    "Common/Categories/ZRKNSSystemCategories.cpp":
        ["ifaddrs.h", "net/if.h", "net/if_arp.h", "netpacket/packet.h"],
}

MAY_SHOW_WIDGETS = ["ui/", "preferences/", "platform/tray/", "Common/Categories/",
                    "app/main.cpp", "tests/", "bench/"]
