// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/Agent.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

class RecordedStatus final : public StatusInterface {
public:
    explicit RecordedStatus(QList<AgentStatus> &told)
        : _told(told) {}
    bool start() override { return true; }
    void setStatus(const AgentStatus &status) override { _told.append(status); }

private:
    QList<AgentStatus> &_told;
};

} // namespace

// The whole of it on stand-ins, as in a session without a display: without a face.
class AgentTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _runLoop = std::make_unique<kit::ManualRunLoop>();
        _installation = std::make_unique<RunLoop::Installation>(*_runLoop);
        _told.clear();
        makeBackends();
    }

    void makeBackends() {
        _backends = AgentBackends();
        _backends.database = std::make_unique<MemoryPreferencesDatabase>();
        _backends.notifications = std::make_unique<MemoryDistributedNotifications>();
        _backends.power = std::make_unique<FakeSystemPower>();
        _backends.dnssd = std::make_unique<FakeDnsSd>();
        _backends.activeApplication = std::make_shared<kit::FakeActiveApplication>();
        _backends.pasteboard = std::make_unique<FakePasteboard>();
        _backends.keyboard = std::make_unique<kit::RecordingKeyboard>();
        _backends.sessionPrograms = std::make_unique<FakeSessionPrograms>();
        _backends.statusInterface = std::make_unique<RecordedStatus>(_told);
        _backends.temporaryFolder = _folder.path();
        _database = static_cast<MemoryPreferencesDatabase *>(_backends.database.get());
        _network = static_cast<FakeDnsSd *>(_backends.dnssd.get());
        _programs = static_cast<FakeSessionPrograms *>(_backends.sessionPrograms.get());
    }

    void end() override {
        _agent.reset();
        _backends = AgentBackends();
        _installation.reset();
        _runLoop.reset();
    }

private Q_SLOTS:
    void theStatusNamesTheBackends() {
        start();
        const AgentStatus &status = _told.constFirst();
        QCOMPARE(status.version, QStringLiteral(CLIPMULE_VERSION));
        QVERIFY(status.syncEnabled);
        QVERIFY(!status.hasDisplay);
        QCOMPARE(status.pasteboardBackend, u"fake"_s);
        QVERIFY(status.pasteboardCanRead && status.pasteboardCanWrite);
        QCOMPARE(status.pasteBackend, u"recording"_s);
        QVERIFY(status.canPaste);
        QCOMPARE(status.pasteObstacle, QString());
        QCOMPARE(status.trayKind, u"none"_s);
        QCOMPARE(status.discovery, _network->description());
    }

    void whatDoesNotWorkIsNotClaimed() {
        _backends.pasteboard = makePasteboard(Session());
        _backends.keyboard = makeKeyboardEvents(Session());
        start();
        const AgentStatus &status = _told.constFirst();
        QCOMPARE(status.pasteboardBackend, u"none"_s);
        QVERIFY(!status.pasteboardCanRead && !status.pasteboardCanWrite);
        QCOMPARE(status.pasteBackend, u"none"_s);
        QVERIFY(!status.canPaste);
        QCOMPARE(status.pasteObstacle, u"there is no display"_s);
    }

    // Nor what works in some windows only.
    void whatNotEveryWindowGetsIsNotClaimed() {
        auto keyboard = std::make_unique<RecordingKeyboard>();
        keyboard->why = u"the others take none"_s;
        _backends.keyboard = std::move(keyboard);
        start();
        QCOMPARE(_told.constFirst().pasteBackend, u"recording"_s);
        QVERIFY(!_told.constFirst().canPaste);
        QCOMPARE(_told.constFirst().pasteObstacle, u"the others take none"_s);
    }

    void accessIsToldAsItComesAndGoes() {
        auto &pasteboard = static_cast<FakePasteboard &>(*_backends.pasteboard);
        pasteboard.setAccessible(false);
        start();
        QVERIFY(!_told.constLast().pasteboardCanRead && !_told.constLast().pasteboardCanWrite);
        QCOMPARE(_told.constLast().pasteboardBackend, u"fake"_s);
        pasteboard.setAccessible(true);
        kit::settle(*_runLoop);
        QVERIFY(_told.constLast().pasteboardCanRead && _told.constLast().pasteboardCanWrite);
        pasteboard.setAccessible(false);
        kit::settle(*_runLoop);
        QVERIFY(!_told.constLast().pasteboardCanRead && !_told.constLast().pasteboardCanWrite);
    }

    void whoeverIsInFrontIsTheAudience() {
        kit::FakeActiveApplication inFront;
        QCOMPARE(audienceOf(inFront), PasteboardAudience::Unknown);
        for (const auto &[role, audience] :
             {std::pair(ApplicationRole::FileManager, PasteboardAudience::FileManager),
              std::pair(ApplicationRole::PhotoManager, PasteboardAudience::FileManager),
              std::pair(ApplicationRole::Spreadsheet, PasteboardAudience::Spreadsheet)}) {
            inFront.current = identifierOf(role);
            QCOMPARE(audienceOf(inFront), audience);
        }
        inFront.current = u"org.example.editor"_s;
        QCOMPARE(audienceOf(inFront), PasteboardAudience::Other);
    }

    void aBurstOfChangesIsToldOnce() {
        registerPhone();
        start();
        QCOMPARE(_told.constLast().phones.constFirst().state, AgentStatus::PhoneState::NotSeen);
        const auto connection = std::make_shared<kit::MemoryConnection>();
        _network->connector = [&](const dnssd::Resolved &) { return connection->takeStreams(); };
        _network->appear({u"Anna"_s, u"_clipmule-s2._tcp"_s, u"local"_s},
                         {{QHostAddress(QHostAddress::LocalHost), 4000}});
        kit::settle(*_runLoop);
        QCOMPARE(_told.constLast().phones.constFirst().state, AgentStatus::PhoneState::Connected);
        const qsizetype before = _told.size();
        _network->onDescriptionChange();
        _network->onDescriptionChange();
        QCOMPARE(_told.size(), before);
        kit::settle(*_runLoop);
        QCOMPARE(_told.size(), before + 1);
    }

    // Nobody announces what is written before the bus knows that we listen.
    void settingsCountAsTheyStandWhenTheBusKnowsOfUs() {
        makeAgent();
        QVERIFY(_agent->start());
        registerPhone();
        kit::settle(*_runLoop);
        QCOMPARE(_told.constFirst().phones.size(), 1);
    }

    void theUserEndsItWhileItStarts() {
        registerPhone();
        makeAgent();
        QVERIFY(_agent->start());
        _agent->terminate();
        kit::settle(*_runLoop);
        QVERIFY(_told.isEmpty());
        QVERIFY(_network->published().isEmpty());
    }

    void atTheEndThePhonesAndTheClipboardAreLetGo() {
        registerPhone();
        const auto *const pasteboard = static_cast<FakePasteboard *>(_backends.pasteboard.get());
        start();
        QVERIFY(!_network->published().isEmpty());
        QVERIFY(!pasteboard->isPreparedToQuit());
        _agent->terminate();
        kit::settle(*_runLoop);
        QVERIFY(_network->published().isEmpty());
        QVERIFY(pasteboard->isPreparedToQuit());
    }

    // A session starts it at each login.
    void theFirstStartWithoutAPhoneOpensThePreferencesOnce() {
        startOnDesktop(Agent::Started::BySession);
        QCOMPARE(_programs->activated, QStringList(preferencesProgram()));
        startAgainOnDesktop(Agent::Started::BySession);
        QVERIFY(_programs->activated.isEmpty());
    }

    void theUserSeesThePreferencesAsLongAsThereIsNoPhone() {
        startOnDesktop(Agent::Started::ByUser);
        QCOMPARE(_programs->activated, QStringList(preferencesProgram()));
        startAgainOnDesktop(Agent::Started::ByUser);
        QCOMPARE(_programs->activated, QStringList(preferencesProgram()));
        startAgainOnDesktop(Agent::Started::BySession);
        QVERIFY(_programs->activated.isEmpty());
    }

    void aSessionWithAPhoneIsNotDisturbed() {
        registerPhone();
        startOnDesktop(Agent::Started::BySession);
        _runLoop->advance(Agent::patienceWithStatusArea);
        QVERIFY(_programs->activated.isEmpty());
        // It has not been welcomed for that.
        QVERIFY(_database->setValue(sharedDomain, u"serverServices"_s, std::nullopt));
        startAgainOnDesktop(Agent::Started::BySession);
        QCOMPARE(_programs->activated, QStringList(preferencesProgram()));
    }

    void whereNoIconIsSeenTheUserSeesThePreferences() {
        registerPhone();
        startOnDesktop(Agent::Started::ByUser);
        _runLoop->advance(Agent::patienceWithStatusArea - RunLoop::Seconds(0.1));
        QVERIFY(_programs->activated.isEmpty());
        _runLoop->advance(0.1);
        QCOMPARE(_programs->activated, QStringList(preferencesProgram()));
    }

    void whatCannotBeRememberedIsNoReasonToOpenAWindow() {
        _database->setFailsToWrite(u"a folder that nobody may write to"_s);
        startOnDesktop(Agent::Started::BySession);
        QVERIFY(_programs->activated.isEmpty());
        _agent.reset();
        makeBackends();
        _database->setFailsToWrite(u"a folder that nobody may write to"_s);
        startOnDesktop(Agent::Started::ByUser);
        QCOMPARE(_programs->activated, QStringList(preferencesProgram()));
    }

    void aCommandIsSilent() {
        startOnDesktop(Agent::Started::ByCommand);
        _runLoop->advance(Agent::patienceWithStatusArea);
        QVERIFY(_programs->activated.isEmpty());
    }

    void withoutADisplayNothingIsOpened() {
        start();
        QVERIFY(_programs->activated.isEmpty());
    }

    void anotherVersionIsToldAndNotTakenUp() {
        const auto *const pasteboard = static_cast<FakePasteboard *>(_backends.pasteboard.get());
        makeProgram();
        start();
        QFile inUse(program());
        QVERIFY(inUse.open(QIODevice::ReadOnly));
        QVERIFY(QFile::remove(program()));
        makeProgram();
        QTest::ignoreMessage(QtInfoMsg,
                             "another version was installed, and is used from the next start");
        awaitTheInstallation();
        QVERIFY(!pasteboard->isPreparedToQuit());
    }

    void withTheProgramTheAgentGoes() {
        const auto *const pasteboard = static_cast<FakePasteboard *>(_backends.pasteboard.get());
        registerPhone();
        makeProgram();
        start();
        QVERIFY(!_network->published().isEmpty());
        QVERIFY(QFile::remove(program()));
        QTest::ignoreMessage(QtInfoMsg, "the program was removed");
        awaitTheInstallation();
        QVERIFY(_network->published().isEmpty());
        QVERIFY(pasteboard->isPreparedToQuit());
    }

private:
    void makeAgent(std::unique_ptr<Face> face = nullptr,
                   Agent::Started started = Agent::Started::ByUser) {
        _agent.emplace(Bundle::mainBundle(), std::move(_backends), std::move(face), started);
    }
    void startOnDesktop(Agent::Started started) {
        makeAgent(std::make_unique<Face>(Bundle::mainBundle(), Session(), *_programs), started);
        QVERIFY(_agent->start());
        kit::settle(*_runLoop);
    }
    // With the settings of the time before.
    void startAgainOnDesktop(Agent::Started started) {
        const QStringList domains{agentDomain, sharedDomain};
        QMap<QString, PropertyList::Dictionary> kept;
        for (const QString &domain : domains)
            kept.insert(domain, _database->copyMultiple(domain));
        _agent.reset();
        makeBackends();
        for (const QString &domain : domains) {
            for (auto value = kept[domain].cbegin(); value != kept[domain].cend(); ++value)
                QVERIFY(_database->setValue(domain, value.key(), value.value()));
        }
        startOnDesktop(started);
    }
    void start() {
        makeAgent();
        QVERIFY(_agent->start());
        kit::settle(*_runLoop);
    }
    [[nodiscard]] QString program() const { return _folder.filePath(u"clipmule-sync"_s); }
    void makeProgram() {
        QFile file(program());
        QVERIFY(file.open(QIODevice::WriteOnly));
        _backends.programPath = program();
    }
    void awaitTheInstallation() {
        QTRY_COMPARE(_runLoop->timeToNext(), InstalledProgram::settleTime);
        _runLoop->advance(InstalledProgram::settleTime);
        kit::settle(*_runLoop);
    }
    void registerPhone() {
        QVERIFY(_database->setValue(
            sharedDomain, u"serverServices"_s,
            PropertyList(PropertyList::List{PropertyList(PropertyList::Dictionary{
                {u"serverService"_s, u"Anna"_s}, {u"serverName"_s, u"Anna's name"_s}})})));
    }

    QTemporaryDir _folder;
    std::unique_ptr<kit::ManualRunLoop> _runLoop;
    std::unique_ptr<RunLoop::Installation> _installation;
    QList<AgentStatus> _told;
    AgentBackends _backends;
    MemoryPreferencesDatabase *_database = nullptr;
    FakeDnsSd *_network = nullptr;
    FakeSessionPrograms *_programs = nullptr;
    std::optional<Agent> _agent;
};

QTEST_MAIN(AgentTest)
#include "tst_agent.moc"
