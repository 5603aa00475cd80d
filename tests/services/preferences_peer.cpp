// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// The other process of the preferences tests.

#include "platform/foundation/QtRunLoop.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/backends/file/FilePreferencesDatabase.h"

#include <QCoreApplication>

#include <cstdio>

using namespace clipmule;

namespace {

void say(const QString &line) {
    std::puts(line.toUtf8().constData());
    std::fflush(stdout);
}

// write FOLDER DOMAIN PREFIX COUNT: as many keys, one write each.
int write(const QStringList &arguments) {
    FilePreferencesDatabase database(arguments.value(2));
    const int count = arguments.value(5).toInt();
    for (int i = 0; i < count; ++i) {
        if (!database.setValue(arguments.value(3),
                               QStringLiteral("%1-%2").arg(arguments.value(4)).arg(i), i))
            return 1;
        // Other writers have their turn, as between the writes of real programs.
        RunLoop::current().pause(RunLoop::Seconds(0.001));
    }
    return 0;
}

// post NAME OBJECT KEY VALUE
int post(QCoreApplication &application, const QStringList &arguments) {
    const auto notifications = makeDistributedNotifications();
    notifications->post(arguments.value(2), arguments.value(3),
                        {{arguments.value(4), arguments.value(5)}});
    notifications->whenDelivered([&](bool delivered) { application.exit(delivered ? 0 : 1); });
    return application.exec();
}

// observe NAME: says "ready", then what arrives first.
int observe(QCoreApplication &application, const QStringList &arguments) {
    const auto notifications = makeDistributedNotifications();
    const auto observation = notifications->observe(
        arguments.value(2), [&](const QString &object, const PropertyList::Dictionary &userInfo) {
            say(object + u' ' + PropertyList(userInfo).description());
            application.quit();
        });
    notifications->whenDelivered([](bool) { say(QStringLiteral("ready")); });
    return application.exec();
}

} // namespace

int main(int argc, char *argv[]) {
    QCoreApplication application(argc, argv);
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    const QStringList arguments = QCoreApplication::arguments();
    const QString command = arguments.value(1);
    if (command == u"write")
        return write(arguments);
    if (command == u"post")
        return post(application, arguments);
    if (command == u"observe")
        return observe(application, arguments);
    return 2;
}
