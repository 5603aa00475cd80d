// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneListModel.h"
#include "tests/kit/TestCase.h"

#include <QAbstractItemModelTester>
#include <QItemSelectionModel>
#include <QSignalSpy>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

using Presence = PhoneList::Presence;
constexpr Date now{800000000};
const PhoneListModel::Circumstances working{.agentRuns = true, .syncEnabled = true, .now = now};

PhoneList::Phone paired(const QString &name, Presence presence = Presence::Connected) {
    return {.service = name,
            .name = name,
            .isRegistered = true,
            .presence = presence,
            .lastSeen = std::nullopt,
            .details = {},
            .lastError = QString()};
}

} // namespace

class PhoneListModelTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        QLocale::setDefault(QLocale::c());
        _model = std::make_unique<PhoneListModel>();
        // Fails the test when a signal does not say what happens.
        _tester = std::make_unique<QAbstractItemModelTester>(
            _model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    }

    void end() override {
        _tester.reset();
        _model.reset();
    }

private Q_SLOTS:
    void aProgramOnThisComputerSaysWhereItIs() {
        const auto line = [this](PhoneList::Phone phone,
                                 const PhoneListModel::Circumstances &circumstances) {
            phone.service = u"local/Pixel"_s;
            _model->setPhones({phone}, circumstances);
            return _model->data(_model->index(0, 0), PhoneListModel::DescriptionRole).toString();
        };
        PhoneListModel::Circumstances off = working;
        off.agentRuns = false;
        PhoneListModel::Circumstances paused = working;
        paused.syncEnabled = false;
        auto phone = paired(u"Pixel"_s);
        QCOMPARE(line(phone, working), u"Connected · On this computer"_s);
        phone.presence = Presence::Seen;
        QCOMPARE(line(phone, working), u"Not connected · On this computer"_s);
        QCOMPARE(line(phone, off), u"On this computer"_s);
        QCOMPARE(line(phone, paused), u"On this computer"_s);
        phone.lastError = u"why"_s;
        QCOMPARE(line(phone, working), u"Not connected: why · On this computer"_s);
        phone.presence = Presence::NotSeen;
        QCOMPARE(line(phone, working), u"Not seen yet · On this computer"_s);
        phone.lastSeen = now;
        QVERIFY(line(phone, working).startsWith(u"Not running, last seen today at "_s));
        QVERIFY(line(phone, working).endsWith(u" · On this computer"_s));
        // Only its own name is said where it was given another.
        phone.presence = Presence::Connected;
        phone.name = u"Mine"_s;
        QCOMPARE(line(phone, working), u"Connected · On this computer · Pixel"_s);
        phone.isRegistered = false;
        phone.name = u"Pixel"_s;
        QCOMPARE(line(phone, working), u"On this computer"_s);
    }

    void rowsComeAndGoAloneAndWhatIsSelectedStays() {
        const auto a = paired(u"a"_s);
        const auto b = paired(u"b"_s);
        const auto c = paired(u"c"_s);
        const auto d = paired(u"d"_s);
        QItemSelectionModel selection(_model.get());
        show({a, b, c});
        selection.setCurrentIndex(_model->index(1, 0), QItemSelectionModel::SelectCurrent);
        show({d, b, c, a});
        QCOMPARE(names(), (QStringList{u"d"_s, u"b"_s, u"c"_s, u"a"_s}));
        QCOMPARE(_model->serviceAt(selection.currentIndex()), u"b"_s);
        show({c, b});
        QCOMPARE(names(), (QStringList{u"c"_s, u"b"_s}));
        QCOMPARE(_model->serviceAt(selection.currentIndex()), u"b"_s);
        QCOMPARE(_model->indexOf(u"b"_s).row(), 1);
        QVERIFY(!_model->indexOf(u"a"_s).isValid());
        show({});
        QCOMPARE(_model->rowCount(), 0);
    }

    void theSameAgainIsNoChange() {
        show({paired(u"a"_s)});
        const QSignalSpy changes(_model.get(), &QAbstractItemModel::dataChanged);
        show({paired(u"a"_s)});
        QCOMPARE(changes.size(), 0);
        show({paired(u"a"_s, Presence::Seen)});
        QCOMPARE(changes.size(), 1);
    }

    void howAPhoneStandsIsToldInWords_data() {
        QTest::addColumn<PhoneList::Phone>("phone");
        QTest::addColumn<bool>("agentRuns");
        QTest::addColumn<bool>("syncEnabled");
        QTest::addColumn<QString>("text");
        const auto seen = paired(u"a"_s, Presence::Seen);
        auto failing = seen;
        failing.lastError = u"no answer"_s;
        auto gone = paired(u"a"_s, Presence::NotSeen);
        auto named = paired(u"a"_s);
        named.name = u"Anna"_s;
        QTest::newRow("connected") << paired(u"a"_s) << true << true << u"Connected"_s;
        QTest::newRow("named") << named << true << true << u"Connected · a"_s;
        QTest::newRow("seen") << seen << true << true << u"On the network, not connected"_s;
        QTest::newRow("failing") << failing << true << true << u"Not connected: no answer"_s;
        QTest::newRow("no agent") << failing << false << true << u"On the network"_s;
        QTest::newRow("switched off") << failing << true << false << u"On the network"_s;
        QTest::newRow("never seen") << gone << true << true << u"Not seen yet"_s;
        gone.lastSeen = now;
        const QString time = now.toDateTime().toLocalTime().toString(u"HH:mm"_s);
        QTest::newRow("gone") << gone << true << true
                              << u"Not on the network, last seen today at "_s + time;
        gone.lastSeen = Date{now.secondsSinceReference - 24 * 60 * 60};
        QTest::newRow("yesterday")
            << gone << true << true << u"Not on the network, last seen yesterday at "_s + time;
    }
    void howAPhoneStandsIsToldInWords() {
        QFETCH(PhoneList::Phone, phone);
        QFETCH(bool, agentRuns);
        QFETCH(bool, syncEnabled);
        QFETCH(QString, text);
        _model->setPhones({phone},
                          {.agentRuns = agentRuns, .syncEnabled = syncEnabled, .now = now});
        QCOMPARE(description(), text);
        QCOMPARE(_model->data(_model->index(0), Qt::AccessibleTextRole).toString(),
                 phone.name + u", "_s + text);
        QCOMPARE(_model->data(_model->index(0), PhoneListModel::PresenceRole).toInt(),
                 int(phone.presence));
    }

    void whatAPhoneTellsIsShown() {
        PhoneList::Phone phone{.service = u"a"_s,
                               .name = u"a"_s,
                               .isRegistered = false,
                               .presence = Presence::Seen,
                               .lastSeen = std::nullopt,
                               .details = {},
                               .lastError = QString()};
        show({phone});
        QCOMPARE(description(), u"Ready to be paired"_s);
        QVERIFY(!_model->data(_model->index(0), PhoneListModel::PresenceRole).isValid());
        phone.details = {{u"model"_s, PropertyList(u"Zeta\n<b>"_s)},
                         {u"flag"_s, PropertyList(QString())},
                         {u"secret"_s, PropertyList(QByteArray("\xff"))},
                         {u"text"_s, PropertyList(QString(100, u'x'))}};
        show({phone});
        QCOMPARE(description(), u"flag · model: Zeta\\n<b> · text: "_s + QString(58, u'x') + u'…');
        // A name is no markup.
        phone.service = u"<i>"_s;
        show({phone});
        const QString toolTip = _model->data(_model->index(0), Qt::ToolTipRole).toString();
        QVERIFY2(toolTip.startsWith(u"<qt>&lt;i&gt;<br/>"), qPrintable(toolTip));
        QVERIFY2(toolTip.contains(u"Zeta\\n&lt;b&gt;<br/>"), qPrintable(toolTip));
    }

private:
    void show(const QList<PhoneList::Phone> &phones) { _model->setPhones(phones, working); }
    QStringList names() const {
        QStringList result;
        for (int row = 0; row < _model->rowCount(); ++row)
            result.append(_model->data(_model->index(row), Qt::DisplayRole).toString());
        return result;
    }
    QString description() const {
        return _model->data(_model->index(0), PhoneListModel::DescriptionRole).toString();
    }

    std::unique_ptr<PhoneListModel> _model;
    std::unique_ptr<QAbstractItemModelTester> _tester;
};

QTEST_GUILESS_MAIN(PhoneListModelTest)
#include "tst_phonelistmodel.moc"
