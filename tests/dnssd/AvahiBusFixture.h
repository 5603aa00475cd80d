// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Discovery.h"
#include "platform/dnssd/backends/bus/AvahiBusResponder.h"
#include "tests/dnssd/FakeAvahiDaemon.h"
#include "tests/dnssd/Observers.h"
#include "tests/kit/ManualRunLoop.h"

#include <QDBusMetaType>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace clipmule::kit {

using namespace dnssd;

/// A bus of its own that takes the place of the system's, a scripted daemon on it, discovery over
/// that alone, and a manual run loop.
class AvahiBusFixture {
protected:
    static constexpr int patience = 20000;

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    QTemporaryDir _folder;
    const QString _configuration = _folder.filePath(QStringLiteral("bus.conf"));
    QProcess _bus;
    // Without the identity that each bus gives itself.
    const QString _address = QStringLiteral("unix:path=") + _folder.filePath(QStringLiteral("bus"));
    std::unique_ptr<FakeAvahiDaemon> _daemon;
    AvahiBusResponder *_responder = nullptr;
    std::unique_ptr<Discovery> _backend;

    /// Lets the bus and the run loop work until something is so. No time passes.
    [[nodiscard]] bool until(const std::function<bool()> &condition) {
        return QTest::qWaitFor(
            [&] {
                _loop.runOnce();
                return condition();
            },
            patience);
    }

    /// Until the daemon has been asked for something more, after all that was under way.
    [[nodiscard]] bool roundTrip() {
        Resolution probe(*_backend);
        const qsizetype before = _daemon->calls.size();
        probe.resolver->start({QStringLiteral("Probe"), type, local}, RunLoop::Seconds(1000));
        return until(
            [&] { return _daemon->calls.mid(before).count(QStringLiteral("Start")) == 4; });
    }

    void startBus() {
        _bus.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--config-file=") + _configuration, QStringLiteral("--nofork"),
                    QStringLiteral("--nopidfile"), QStringLiteral("--print-address=1")});
    }

    /// The path of the object that was made last.
    [[nodiscard]] QString lastPath() const { return _daemon->paths.value(_daemon->objects - 1); }

    /// Before the first test: starts the bus. False when there is none.
    [[nodiscard]] bool setUpBus() {
        qDBusRegisterMetaType<QByteArrayList>();
        QFile configuration(_configuration);
        if (!configuration.open(QIODevice::WriteOnly))
            return false;
        configuration.write("<!DOCTYPE busconfig PUBLIC "
                            "\"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
                            "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">"
                            "<busconfig><listen>" +
                            _address.toUtf8() + "</listen><servicedir>" + _folder.path().toUtf8() +
                            "</servicedir><auth>EXTERNAL</auth><policy context=\"default\">"
                            "<allow user=\"*\"/><allow own=\"*\"/>"
                            "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                            "<allow eavesdrop=\"true\"/></policy>"
                            "<limit name=\"max_replies_per_connection\">" +
                            QByteArray::number(AvahiBusResponder::maximumOpenCalls) +
                            "</limit></busconfig>");
        configuration.close();
        // The bus could start a daemon, and is not to.
        QFile service(_folder.filePath(QStringLiteral("org.freedesktop.Avahi.service")));
        if (!service.open(QIODevice::WriteOnly))
            return false;
        service.write("[D-BUS Service]\nName=org.freedesktop.Avahi\nExec=/bin/false\n");
        service.close();
        startBus();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", _address.toUtf8());
        return until([&] { return _bus.canReadLine(); });
    }

    void endBus() {
        _bus.terminate();
        _bus.waitForFinished();
    }

    void begin() {
        _daemon = std::make_unique<FakeAvahiDaemon>(_address);
        _daemon->appear();
        auto responder = std::make_unique<AvahiBusResponder>();
        _responder = responder.get();
        _backend = std::make_unique<Discovery>(std::move(responder));
    }

    void end() {
        _backend.reset();
        _daemon.reset();
    }
};

} // namespace clipmule::kit
