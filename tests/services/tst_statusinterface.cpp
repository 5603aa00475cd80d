// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/session/SessionPrograms.h"
#include "platform/session/StatusInterface.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QXmlStreamReader>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

const QString agentName = QStringLiteral("com.zendrik.ClipmuleSync");
const QString agentPath = QStringLiteral("/com/zendrik/ClipmuleSync");
const QString statusName = QStringLiteral("com.zendrik.ClipmuleSync.Status");

AgentStatus everything() {
    return {.version = QStringLiteral("1.2.3"),
            .qtVersion = QStringLiteral("6.4.2"),
            .syncEnabled = true,
            .hasDisplay = true,
            .pasteboardBackend = QStringLiteral("x11"),
            .pasteboardCanRead = true,
            .pasteboardCanWrite = true,
            .pasteBackend = QStringLiteral("xtest"),
            .canPaste = true,
            .pasteObstacle = QStringLiteral("beside the truth, since it can"),
            .trayKind = QStringLiteral("notifier"),
            .discovery = QStringLiteral("avahi-daemon"),
            .phones = {{.service = QStringLiteral("Anna’s Phone"),
                        .name = QStringLiteral("Anna"),
                        .state = AgentStatus::PhoneState::Connected,
                        .lastSeen = Date{800000000},
                        .lastError = QString(),
                        .lastErrorDate = std::nullopt},
                       {.service = QStringLiteral("Bert"),
                        .name = QStringLiteral("Bert"),
                        .state = AgentStatus::PhoneState::Seen,
                        .lastSeen = Date{800000001},
                        .lastError = QStringLiteral("no address answers"),
                        .lastErrorDate = Date{800000002}},
                       {.service = QStringLiteral("C"),
                        .name = QStringLiteral("C"),
                        .state = AgentStatus::PhoneState::NotSeen,
                        .lastSeen = std::nullopt,
                        .lastError = QString(),
                        .lastErrorDate = std::nullopt}},
            .lastRefusedClip = QStringLiteral("too large"),
            .lastRefusedClipDate = Date{800000003},
            .refusals = {{.direction = Refusal::Direction::FromPhone,
                          .reason = Refusal::Reason::TooLarge,
                          .kind = Refusal::Kind::Image,
                          .phone = QStringLiteral("Bert"),
                          .size = 11,
                          .limit = 10,
                          .count = 3,
                          .detail = QStringLiteral("in plain English"),
                          .date = Date{800000003}},
                         {.direction = Refusal::Direction::ForPhone,
                          .reason = Refusal::Reason::QueueFull,
                          .kind = Refusal::Kind::Clip,
                          .phone = QStringLiteral("Anna"),
                          .date = Date{800000002}}}};
}

// Name, type and access of every property of the interface.
QStringList propertiesIn(const QString &description) {
    QStringList result;
    QXmlStreamReader reader(description);
    bool inside = false;
    while (!reader.atEnd()) {
        reader.readNext();
        const auto attributes = reader.attributes();
        if (reader.name() == u"interface")
            inside = reader.isStartElement() && attributes.value(u"name"_s) == statusName;
        if (inside && reader.isStartElement() && reader.name() == u"property")
            result.append(QStringList{attributes.value(u"name"_s).toString(),
                                      attributes.value(u"type"_s).toString(),
                                      attributes.value(u"access"_s).toString()}
                              .join(u' '));
    }
    result.sort();
    return result;
}

} // namespace

// Both sides on a bus of the test's own; the agent's on its program's connection, as in real life.
class StatusInterfaceTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _reader = makeStatusReader();
        _changes = 0;
        _reader->onChange = [this] { ++_changes; };
    }

    void end() override {
        _reader.reset();
        _interface.reset();
        _name.reset();
    }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qputenv("DBUS_SESSION_BUS_ADDRESS", _bus.address().toUtf8());
        QVERIFY(_bus.start());
    }
    void withoutAnAgentItIsNotRunning() {
        QCOMPARE(_reader->agent(), StatusReader::Agent::Unknown);
        _reader->start();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::NotRunning, kit::patience);
        QVERIFY(_reader->hasBus());
        QVERIFY(!_reader->status());
        QCOMPARE(_changes, 1);
    }

    void whatTheAgentTellsArrivesWhole() {
        startAgent();
        _reader->start();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::Running, kit::patience);
        QCOMPARE(*_reader->status(), everything());
    }

    void anAgentThatComesIsSeen() {
        _reader->start();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::NotRunning, kit::patience);
        startAgent();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::Running, kit::patience);
        QCOMPARE(*_reader->status(), everything());
        _interface.reset();
        _name.reset();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::NotRunning, kit::patience);
        QVERIFY(!_reader->status());
    }

    void aChangeIsFollowed() {
        startAgent();
        _reader->start();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::Running, kit::patience);
        AgentStatus changed = everything();
        changed.phones[0].state = AgentStatus::PhoneState::NotSeen;
        changed.syncEnabled = false;
        _interface->setStatus(changed);
        QTRY_COMPARE_WITH_TIMEOUT(*_reader->status(), changed, kit::patience);
        // The same again is no change: of the two, the reader hears of the second alone.
        const int before = _changes;
        _interface->setStatus(changed);
        changed.version = QStringLiteral("2");
        _interface->setStatus(changed);
        QTRY_COMPARE_WITH_TIMEOUT(*_reader->status(), changed, kit::patience);
        QCOMPARE(_changes, before + 1);
    }

    void onlyWhatChangedIsAnnounced() {
        startAgent();
        QDBusConnection listener =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("listener"));
        QVERIFY(listener.connect(agentName, agentPath,
                                 QStringLiteral("org.freedesktop.DBus.Properties"),
                                 QStringLiteral("PropertiesChanged"), this,
                                 SLOT(note(QString, QVariantMap, QStringList))));
        _announced.clear();
        AgentStatus changed = everything();
        changed.canPaste = false;
        _interface->setStatus(changed);
        QTRY_COMPARE_WITH_TIMEOUT(_announced, QStringList{QStringLiteral("CanPaste")},
                                  kit::patience);
        QDBusConnection::disconnectFromBus(QStringLiteral("listener"));
    }

    void anAgentWithoutTheInterfaceIsSilent() {
        claimName();
        _reader->start();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::Silent, kit::patience);
        QVERIFY(!_reader->status());
        // It was only slow to start.
        _interface = makeStatusInterface();
        _interface->setStatus(everything());
        QVERIFY(_interface->start());
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::Running, kit::patience);
    }

    void theDescriptionIsTrue() {
        startAgent();
        const QString live = call(QStringLiteral("org.freedesktop.DBus.Introspectable"),
                                  QStringLiteral("Introspect"), {})
                                 .arguments()
                                 .value(0)
                                 .toString();
        QFile file(QStringLiteral(CLIPMULE_STATUS_DESCRIPTION));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList described = propertiesIn(QString::fromUtf8(file.readAll()));
        QCOMPARE(described.size(), 15);
        QCOMPARE(propertiesIn(live), described);
    }

    void nothingCanBeWritten() {
        startAgent();
        const QDBusMessage reply = call(
            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"),
            {statusName, QStringLiteral("SyncEnabled"), QVariant::fromValue(QDBusVariant(false))});
        QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
        _reader->start();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::Running, kit::patience);
        QVERIFY(_reader->status()->syncEnabled);
    }

    // Whoever has the name may send anything.
    void valuesOfAWrongTypeAreLeftOut() {
        startAgent();
        _reader->start();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::Running, kit::patience);
        announce({{QStringLiteral("Version"), 7},
                  {QStringLiteral("SyncEnabled"), QStringLiteral("yes")},
                  {QStringLiteral("HasDisplay"), 1},
                  {QStringLiteral("Phones"), QStringList{QStringLiteral("a")}},
                  {QStringLiteral("LastRefusedClip"), QStringLiteral("b")},
                  {QStringLiteral("Refusals"), QStringLiteral("c")}});
        QTRY_COMPARE_WITH_TIMEOUT(_reader->status()->version, QString(), kit::patience);
        // Of a type that is not plain either.
        announce({{QStringLiteral("QtVersion"), QStringLiteral("again")},
                  {QStringLiteral("Phones"), QVariantMap{{QStringLiteral("a"), 1}}},
                  {QStringLiteral("LastRefusedClip"), QVariantMap{{QStringLiteral("b"), 2}}}});
        QTRY_COMPARE_WITH_TIMEOUT(_reader->status()->qtVersion, QStringLiteral("again"),
                                  kit::patience);
        AgentStatus left = everything();
        left.version.clear();
        left.qtVersion = QStringLiteral("again");
        left.syncEnabled = false;
        left.hasDisplay = false;
        left.phones.clear();
        left.lastRefusedClip.clear();
        left.lastRefusedClipDate.reset();
        left.refusals.clear();
        QCOMPARE(*_reader->status(), left);
    }

    void longTextsAndListsAreCut() {
        AgentStatus long_ = everything();
        long_.version = QString(4097, u'v');
        long_.phones = QList<AgentStatus::Phone>(1001, long_.phones[0]);
        long_.refusals = QList<Refusal>(101, long_.refusals[0]);
        long_.refusals[0].phone = long_.refusals[0].detail = QString(4097, u'r');
        startAgent(long_);
        _reader->start();
        QTRY_COMPARE_WITH_TIMEOUT(_reader->agent(), StatusReader::Agent::Running, kit::patience);
        QCOMPARE(_reader->status()->version.size(), 4096);
        QCOMPARE(_reader->status()->phones.size(), 1000);
        QCOMPARE(_reader->status()->refusals.size(), 100);
        QCOMPARE(_reader->status()->refusals[0].phone.size(), 4096);
        QCOMPARE(_reader->status()->refusals[0].detail.size(), 4096);
    }

public Q_SLOTS:
    void note(const QString &, const QVariantMap &changes, const QStringList &) {
        _announced += changes.keys();
    }

private:
    void claimName() {
        _name = makeSingleInstance();
        std::optional<SingleInstance::Outcome> outcome;
        _name->claim(agentName, [&outcome](SingleInstance::Outcome answer) { outcome = answer; });
        QTRY_COMPARE_WITH_TIMEOUT(outcome, std::optional(SingleInstance::Outcome::First),
                                  kit::patience);
    }
    void startAgent(const AgentStatus &status = everything()) {
        _interface = makeStatusInterface();
        _interface->setStatus(status);
        QVERIFY(_interface->start());
        claimName();
    }
    // Over a connection of its own, answered by this very process: waits in an event loop.
    static QDBusMessage call(const QString &interface, const QString &method,
                             const QVariantList &arguments) {
        QDBusConnection bus =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("caller"));
        QDBusMessage message =
            QDBusMessage::createMethodCall(agentName, agentPath, interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = bus.call(message, QDBus::BlockWithGui, kit::patience);
        QDBusConnection::disconnectFromBus(QStringLiteral("caller"));
        return reply;
    }
    static void announce(const QVariantMap &changes) {
        QDBusMessage signal =
            QDBusMessage::createSignal(agentPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                       QStringLiteral("PropertiesChanged"));
        signal << statusName << changes << QStringList();
        QDBusConnection::sessionBus().send(signal);
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
    std::unique_ptr<SingleInstance> _name;
    std::unique_ptr<StatusInterface> _interface;
    std::unique_ptr<StatusReader> _reader;
    int _changes = 0;
    QStringList _announced;
};

QTEST_GUILESS_MAIN(StatusInterfaceTest)
#include "tst_statusinterface.moc"
