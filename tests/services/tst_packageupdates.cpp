// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/desktop/PackageUpdates.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using Outcome = PackageUpdates::Answer::Outcome;

namespace {

const QString transactionInterface = QStringLiteral("org.freedesktop.PackageKit.Transaction");
const QString installed = QStringLiteral("clipmule-sync;0.1.0;amd64;installed");
const QString newer = QStringLiteral("clipmule-sync;0.2.0;amd64;stable");

// Of the interface: how a transaction ended.
constexpr uint succeeded = 1;
constexpr uint failed = 2;

/// The package daemon's side of the bus, which answers as the test tells it to.
class MockPackageKit final : public QDBusVirtualObject {
public:
    [[nodiscard]] bool start() {
        if (!_bus.open())
            return false;
        QDBusConnection bus = _bus.connection();
        return bus.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath) &&
               bus.registerService(QStringLiteral("org.freedesktop.PackageKit"));
    }
    void stop() { _bus.close(); }

    [[nodiscard]] QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &given) override {
        QDBusConnection bus = given;
        const QString method = message.member();
        if (method == u"CreateTransaction") {
            const QString path = QStringLiteral("/%1_transaction").arg(++_transactions);
            bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(path))));
            return true;
        }
        calls.append({method, message.arguments()});
        if (refused.contains(method)) {
            bus.send(message.createErrorReply(QDBusError::AccessDenied, refused[method]));
            return true;
        }
        if (message.isReplyRequired())
            bus.send(message.createReply());
        if (method == u"SetHints" || method == u"Cancel" || hanging.contains(method))
            return true;
        const auto emitSignal = [&bus, &message](const QString &name, const QVariantList &values) {
            QDBusMessage signal =
                QDBusMessage::createSignal(message.path(), transactionInterface, name);
            signal.setArguments(values);
            bus.send(signal);
        };
        for (const QString &package : packages.value(method))
            emitSignal(QStringLiteral("Package"), {5U, package, QStringLiteral("a summary")});
        if (errors.contains(method))
            emitSignal(QStringLiteral("ErrorCode"), {2U, errors[method]});
        emitSignal(QStringLiteral("Finished"), {errors.contains(method) ? failed : succeeded, 7U});
        return true;
    }

    [[nodiscard]] QStringList methods() const {
        QStringList names;
        for (const auto &call : calls)
            names.append(call.first);
        return names;
    }
    [[nodiscard]] QVariantList arguments(const QString &method) const {
        for (const auto &[name, values] : calls) {
            if (name == method)
                return values;
        }
        return {};
    }

    /// What each method names before it is done.
    QMap<QString, QStringList> packages;
    /// Why a method fails.
    QMap<QString, QString> errors;
    /// Methods that are not even begun.
    QMap<QString, QString> refused;
    /// Methods that never end.
    QStringList hanging;
    QList<std::pair<QString, QVariantList>> calls;

private:
    BusConnection _bus{BusConnection::Bus::System};
    int _transactions = 0;
};

} // namespace

class PackageUpdatesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        QVERIFY(_bus.start());
        _daemon = std::make_unique<MockPackageKit>();
        QVERIFY(_daemon->start());
        _daemon->packages[QStringLiteral("Resolve")] = {installed};
        _updates = makePackageUpdates();
        _answers.clear();
    }

    void end() override {
        _updates.reset();
        _daemon.reset();
        _bus.stop();
    }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", _bus.address().toUtf8());
    }
    void findsANewerVersion() {
        _daemon->packages[QStringLiteral("GetUpdates")] = {
            QStringLiteral("clipmule-sync-extras;9.9;amd64;stable"), newer,
            QStringLiteral("clipmule-sync-doc;9.9;all;stable")};
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::Available);
        QCOMPARE(_answers[0].version, QStringLiteral("0.2.0"));
        QCOMPARE(_answers[0].identifier, newer);
    }

    void saysThatThereIsNone() {
        _daemon->packages[QStringLiteral("GetUpdates")] = {QStringLiteral("zlib;1.3;amd64;stable")};
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::UpToDate);
    }

    void aUserWaitsForFreshListsAndTheBackgroundDoesNot() {
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_daemon->methods(),
                 QStringList({QStringLiteral("SetHints"), QStringLiteral("Resolve"),
                              QStringLiteral("SetHints"), QStringLiteral("RefreshCache"),
                              QStringLiteral("SetHints"), QStringLiteral("GetUpdates")}));
        QCOMPARE(
            _daemon->arguments(QStringLiteral("SetHints")).value(0).toStringList(),
            QStringList({QStringLiteral("background=false"), QStringLiteral("interactive=true")}));
        _daemon->calls.clear();
        find(PackageUpdates::Asker::Nobody);
        QTRY_COMPARE(_answers.size(), 2);
        QCOMPARE(_daemon->methods(),
                 QStringList({QStringLiteral("SetHints"), QStringLiteral("Resolve"),
                              QStringLiteral("SetHints"), QStringLiteral("GetUpdates")}));
        QCOMPARE(
            _daemon->arguments(QStringLiteral("SetHints")).value(0).toStringList(),
            QStringList({QStringLiteral("background=true"), QStringLiteral("interactive=false")}));
    }

    // The numbers are the interface's: bit 2 is "installed", bit 1 "no filter" and "trusted only".
    void asksInTheDaemonsOwnNumbers() {
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        const QVariantList resolve = _daemon->arguments(QStringLiteral("Resolve"));
        QCOMPARE(resolve.value(0).userType(), int(QMetaType::ULongLong));
        QCOMPARE(resolve.value(0).toULongLong(), 4U);
        QCOMPARE(resolve.value(1).toStringList(), QStringList(QStringLiteral("clipmule-sync")));
        QCOMPARE(_daemon->arguments(QStringLiteral("GetUpdates")).value(0).toULongLong(), 2U);
        QCOMPARE(_daemon->arguments(QStringLiteral("RefreshCache")).value(0), QVariant(false));
        _updates->installUpdate(newer, keep());
        QTRY_COMPARE(_answers.size(), 2);
        const QVariantList update = _daemon->arguments(QStringLiteral("UpdatePackages"));
        QCOMPARE(update.value(0).toULongLong(), 2U);
        QCOMPARE(update.value(1).toStringList(), QStringList(newer));
    }

    void aProgramThatIsNoPackageIsNotCalledUpToDate() {
        _daemon->packages[QStringLiteral("Resolve")].clear();
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::NotInstalled);
        QVERIFY(!_daemon->methods().contains(QStringLiteral("GetUpdates")));
    }

    void installs() {
        _updates->installUpdate(newer, keep());
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::Installed);
        QCOMPARE(_answers[0].version, QStringLiteral("0.2.0"));
    }

    void aFailureIsToldInTheDaemonsWords_data() {
        QTest::addColumn<QString>("method");
        for (const char *const method : {"Resolve", "RefreshCache", "GetUpdates"})
            QTest::newRow(method) << QString::fromLatin1(method);
    }
    void aFailureIsToldInTheDaemonsWords() {
        QFETCH(QString, method);
        _daemon->errors[method] = QStringLiteral("no network");
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::Failed);
        QCOMPARE(_answers[0].error, QStringLiteral("no network"));
    }

    void aRefusalIsAFailure() {
        _daemon->refused[QStringLiteral("UpdatePackages")] = QStringLiteral("not allowed");
        _updates->installUpdate(newer, keep());
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::Failed);
        QCOMPARE(_answers[0].error, QStringLiteral("not allowed"));
    }

    void longTextsAreCut() {
        // Shown are at most 200 characters of an error, and 64 of a version.
        _daemon->errors[QStringLiteral("GetUpdates")] = QString(201, u'x');
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].error, QString(200, u'x'));
        _daemon->errors.clear();
        _daemon->packages[QStringLiteral("GetUpdates")] = {
            QStringLiteral("clipmule-sync;") + QString(65, u'9') + QStringLiteral(";;")};
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 2);
        QCOMPARE(_answers[1].version, QString(64, u'9'));
    }

    void anIdentifierOfMoreThan512CharactersIsNone_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<Outcome>("outcome");
        QTest::newRow("511") << 511 << Outcome::Available;
        QTest::newRow("512") << 512 << Outcome::Available;
        QTest::newRow("513") << 513 << Outcome::UpToDate;
    }
    void anIdentifierOfMoreThan512CharactersIsNone() {
        QFETCH(int, length);
        QFETCH(Outcome, outcome);
        const QString start = QStringLiteral("clipmule-sync;1;");
        _daemon->packages[QStringLiteral("GetUpdates")] = {start +
                                                           QString(length - start.size(), u'a')};
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, outcome);
    }

    void withoutADaemonThereIsNoService() {
        _daemon->stop();
        find(PackageUpdates::Asker::User);
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::NoService);
    }

    void withoutABusThereIsNoService() {
        _daemon.reset();
        _bus.stop();
        find(PackageUpdates::Asker::User);
        QVERIFY2(_answers.isEmpty(), "the answer comes from the run loop");
        _runLoop.runOnce();
        QCOMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::NoService);
    }

    void aDaemonThatEndsOnTheWayIsAFailure() {
        _daemon->hanging = {QStringLiteral("GetUpdates")};
        find(PackageUpdates::Asker::User);
        QTRY_VERIFY(_daemon->methods().contains(QStringLiteral("GetUpdates")));
        _daemon->stop();
        QTRY_COMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::Failed);
    }

    void aDaemonThatHangsIsGivenUpAfterFiveMinutes() {
        _daemon->hanging = {QStringLiteral("GetUpdates")};
        find(PackageUpdates::Asker::User);
        QTRY_VERIFY(_daemon->methods().contains(QStringLiteral("GetUpdates")));
        _runLoop.advance(299.9);
        QVERIFY(_answers.isEmpty());
        _runLoop.advance(0.2);
        QCOMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::Failed);
        QTRY_VERIFY(_daemon->methods().contains(QStringLiteral("Cancel")));
    }

    void aSecondRequestMeanwhileFailsAndTheFirstGoesOn() {
        find(PackageUpdates::Asker::User);
        find(PackageUpdates::Asker::User);
        _runLoop.runOnce();
        QCOMPARE(_answers.size(), 1);
        QCOMPARE(_answers[0].outcome, Outcome::Failed);
        QTRY_COMPARE(_answers.size(), 2);
        QCOMPARE(_answers[1].outcome, Outcome::UpToDate);
    }

    void whoGotTheAnswerMayReleaseTheAsker() {
        int answers = 0;
        _updates->findUpdate(QStringLiteral("clipmule-sync"), PackageUpdates::Asker::User,
                             [this, &answers](const PackageUpdates::Answer &) {
                                 ++answers;
                                 _updates.reset();
                             });
        QTRY_COMPARE(answers, 1);
    }

private:
    PackageUpdates::Callback keep() {
        return [this](const PackageUpdates::Answer &answer) { _answers.append(answer); };
    }
    void find(PackageUpdates::Asker asker) {
        _updates->findUpdate(QStringLiteral("clipmule-sync"), asker, keep());
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
    std::unique_ptr<MockPackageKit> _daemon;
    std::unique_ptr<PackageUpdates> _updates;
    QList<PackageUpdates::Answer> _answers;
};

QTEST_GUILESS_MAIN(PackageUpdatesTest)
#include "tst_packageupdates.moc"
