// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "app/ZRKClipmuleSyncApp.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/session/SessionPrograms.h"
#include "support/ZRKPowerNotificationCenter.h"
#include "tests/kit/FakeActiveApplication.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/FakePasteboard.h"
#include "tests/kit/FakeSystemPower.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/ManualWork.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/MemoryStreams.h"
#include "tests/kit/RecordedNotice.h"
#include "tests/kit/RecordingKeyboard.h"
#include "tests/kit/Settle.h"

#include <QTemporaryDir>
#include <QtEndian>

namespace clipmule::kit {

inline const QString agentDomain = QStringLiteral("com.zendrik.ClipmuleSync");
inline const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");
inline const QString statisticsDomain = QStringLiteral("com.zendrik.ClipmuleSync.stats");

class FakeSessionPrograms final : public SessionPrograms {
public:
    [[nodiscard]] QStringList launchedApplications() const override { return launched; }
    void activate(const QString &identifier, const QString &) override {
        activated.append(identifier);
    }
    void quit(const QString &identifier) override { asked.append(identifier); }
    QStringList launched;
    QStringList activated;
    QStringList asked;
};

class FakeUpdater final : public Updater {
public:
    void setAutomaticallyChecksForUpdates(bool automatically) override {
        automatic.append(automatically);
    }
    void checkForUpdates() override { ++checks; }
    QList<bool> automatic;
    int checks = 0;
};

/// One phone of the fake network: its service, and the connections the agent made to it.
struct FakePhone {
    dnssd::ServiceName service;
    quint16 port = 0;
    QList<std::shared_ptr<kit::MemoryConnection>> connections;

    [[nodiscard]] kit::MemoryConnection &connection() const { return *connections.constLast(); }
    /// The objects written to the phone since the last look, over its latest connection.
    [[nodiscard]] QList<PropertyList> received() const {
        QList<PropertyList> objects;
        QByteArrayView bytes = taken = connection().takeWritten();
        while (bytes.size() >= 8) {
            const auto length = qFromLittleEndian<quint32>(bytes.data() + 4);
            objects.append(*PropertyListSerialization::parse(bytes.sliced(8, qsizetype(length))));
            bytes = bytes.sliced(8 + qsizetype(length));
        }
        return objects;
    }
    void send(const PropertyList &object) const {
        const QByteArray payload = PropertyListSerialization::xml(object);
        QByteArray frame("\x00KRZ", 4);
        const quint32 length = qToLittleEndian(quint32(payload.size()));
        frame.append(reinterpret_cast<const char *>(&length), 4);
        connection().feed(frame + payload);
    }
    void send(const QString &type, const PropertyList &payload) const {
        send(PropertyList(PropertyList::Dictionary{{type, payload}}));
    }

    mutable QByteArray taken;
};

/// An agent on nothing but fakes, with a clock that stands still.
struct AgentFixture {
    AgentFixture() {
        ZRKPowerNotificationCenter::setSystemPower(&power);
        ZRKUserDefaults::Environment environment;
        environment.database = &database;
        environment.distributedNotifications = &notifications;
        environment.bundles =
            std::make_shared<const ZRKUserDefaults::Bundles>(ZRKUserDefaults::Bundles{
                Bundle(QStringLiteral("/none")), Bundle(QStringLiteral("/none")), {}, {}});
        ZRKUserDefaults::setEnvironment(environment);
        shared = ZRKUserDefaults::initWithIdentifier(sharedDomain);
        applicationDefaults = Settings::openForAgent(environment);
        backend.connector = [this](const dnssd::Resolved &resolved) {
            for (const auto &phone : std::as_const(phones)) {
                if (phone->port != resolved.endpoints.constFirst().port)
                    continue;
                phone->connections.append(std::make_shared<kit::MemoryConnection>());
                return phone->connections.constLast()->takeStreams();
            }
            return StreamPair();
        };
    }
    ~AgentFixture() {
        app.reset();
        ZRKPowerNotificationCenter::setSystemPower(nullptr);
        ZRKUserDefaults::setEnvironment({});
    }
    AgentFixture(const AgentFixture &) = delete;
    AgentFixture &operator=(const AgentFixture &) = delete;

    [[nodiscard]] SyncServices services() {
        return {.dnssd = backend,
                .pasteboard = pasteboardServices,
                .keyboard = keyboard,
                .applicationDefaults = *applicationDefaults,
                .sharedDefaults = *shared,
                .sessionPrograms = programs,
                .agentBundle = Bundle(QStringLiteral("/panel/Contents/Resources/agent")),
                .makeStatusController = {},
                .updaterForBundle = {},
                .prepareToPaste = {}};
    }

    void launch() {
        app = std::make_unique<ZRKClipmuleSyncApp>(services());
        app->finishLaunching();
        settle();
    }

    void settle() { kit::settle(runLoop); }
    void advance(double seconds) {
        runLoop.advance(seconds);
        settle();
    }

    /// Registers as the preferences program would.
    void setRegistered(const QStringList &names) {
        PropertyList::List list;
        for (const QString &name : names)
            list.append(PropertyList(PropertyList::Dictionary{
                {QStringLiteral("serverService"), name},
                {QStringLiteral("serverName"), QString(name + QStringLiteral("'s name"))}}));
        if (!shared->setObjectForKey(PropertyList(list), QStringLiteral("serverServices")))
            qFatal("the settings take no phones");
    }

    /// A phone comes up on the network.
    std::shared_ptr<FakePhone> appear(const QString &name) {
        auto phone = std::make_shared<FakePhone>();
        phone->service = {name, QStringLiteral("_clipmule-s2._tcp"), QStringLiteral("local")};
        phone->port = quint16(4000 + phones.size());
        phones.append(phone);
        backend.appear(phone->service, {{QHostAddress(QHostAddress::LocalHost), phone->port}});
        settle();
        return phone;
    }
    std::shared_ptr<FakePhone> connectedPhone(const QString &name) {
        setRegistered(registered += name);
        if (!app)
            launch();
        return appear(name);
    }

    [[nodiscard]] PropertyList statistic(const QString &key) {
        return database.copyMultiple(statisticsDomain)
            .value(key, PropertyList(QStringLiteral("missing")));
    }
    [[nodiscard]] QStringList announced() const {
        QStringList names;
        for (const auto &publication : backend.published()) {
            if (publication.service.type == u"_clipmule-c2._tcp")
                names.append(publication.service.name);
        }
        return names;
    }

    kit::ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    ManualWork work;
    FakeDnsSd backend;
    FakePasteboard pasteboard;
    kit::FakeActiveApplication activeApplication;
    RecordedNotice notice;
    QTemporaryDir folder;
    PasteboardServices pasteboardServices{pasteboard, activeApplication, std::ref(notice),
                                          folder.path()};
    kit::RecordingKeyboard keyboard;
    FakeSystemPower power;
    FakeSessionPrograms programs;
    MemoryPreferencesDatabase database;
    MemoryDistributedNotifications notifications;
    std::shared_ptr<ZRKUserDefaults> shared;
    std::shared_ptr<ZRKUserDefaults> applicationDefaults;
    QList<std::shared_ptr<FakePhone>> phones;
    QStringList registered;
    std::unique_ptr<ZRKClipmuleSyncApp> app;
};

} // namespace clipmule::kit
