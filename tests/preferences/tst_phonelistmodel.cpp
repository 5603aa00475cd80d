// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneListModel.h"
#include "tests/kit/TestCase.h"

#include <QAbstractItemModelTester>
#include <QItemSelectionModel>
#include <QSignalSpy>
#include <QTest>

using namespace clipmule;

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
            phone.service = u"local/Pixel"_qs;
            _model->setPhones({phone}, circumstances);
            return _model->data(_model->index(0, 0), PhoneListModel::DescriptionRole).toString();
        };
        PhoneListModel::Circumstances off = working;
        off.agentRuns = false;
        PhoneListModel::Circumstances paused = working;
        paused.syncEnabled = false;
        auto phone = paired(u"Pixel"_qs);
        QCOMPARE(line(phone, working), u"Connected · On this computer"_qs);
        phone.presence = Presence::Seen;
        QCOMPARE(line(phone, working), u"Not connected · On this computer"_qs);
        QCOMPARE(line(phone, off), u"On this computer"_qs);
        QCOMPARE(line(phone, paused), u"On this computer"_qs);
        phone.lastError = u"why"_qs;
        QCOMPARE(line(phone, working), u"Not connected: why · On this computer"_qs);
        phone.presence = Presence::NotSeen;
        QCOMPARE(line(phone, working), u"Not seen yet · On this computer"_qs);
        phone.lastSeen = now;
        QVERIFY(line(phone, working).startsWith(u"Not running, last seen today at "_qs));
        QVERIFY(line(phone, working).endsWith(u" · On this computer"_qs));
        // Only its own name is said where it was given another.
        phone.presence = Presence::Connected;
        phone.name = u"Mine"_qs;
        QCOMPARE(line(phone, working), u"Connected · On this computer · Pixel"_qs);
        phone.isRegistered = false;
        phone.name = u"Pixel"_qs;
        QCOMPARE(line(phone, working), u"On this computer"_qs);
    }

    void rowsComeAndGoAloneAndWhatIsSelectedStays() {
        const auto a = paired(u"a"_qs);
        const auto b = paired(u"b"_qs);
        const auto c = paired(u"c"_qs);
        const auto d = paired(u"d"_qs);
        QItemSelectionModel selection(_model.get());
        show({a, b, c});
        selection.setCurrentIndex(_model->index(1, 0), QItemSelectionModel::SelectCurrent);
        show({d, b, c, a});
        QCOMPARE(names(), (QStringList{u"d"_qs, u"b"_qs, u"c"_qs, u"a"_qs}));
        QCOMPARE(_model->serviceAt(selection.currentIndex()), u"b"_qs);
        show({c, b});
        QCOMPARE(names(), (QStringList{u"c"_qs, u"b"_qs}));
        QCOMPARE(_model->serviceAt(selection.currentIndex()), u"b"_qs);
        QCOMPARE(_model->indexOf(u"b"_qs).row(), 1);
        QVERIFY(!_model->indexOf(u"a"_qs).isValid());
        show({});
        QCOMPARE(_model->rowCount(), 0);
    }

    void theSameAgainIsNoChange() {
        show({paired(u"a"_qs)});
        const QSignalSpy changes(_model.get(), &QAbstractItemModel::dataChanged);
        show({paired(u"a"_qs)});
        QCOMPARE(changes.size(), 0);
        show({paired(u"a"_qs, Presence::Seen)});
        QCOMPARE(changes.size(), 1);
    }

    void howAPhoneStandsIsToldInWords_data() {
        QTest::addColumn<PhoneList::Phone>("phone");
        QTest::addColumn<bool>("agentRuns");
        QTest::addColumn<bool>("syncEnabled");
        QTest::addColumn<QString>("text");
        const auto seen = paired(u"a"_qs, Presence::Seen);
        auto failing = seen;
        failing.lastError = u"no answer"_qs;
        auto gone = paired(u"a"_qs, Presence::NotSeen);
        auto named = paired(u"a"_qs);
        named.name = u"Anna"_qs;
        QTest::newRow("connected") << paired(u"a"_qs) << true << true << u"Connected"_qs;
        QTest::newRow("named") << named << true << true << u"Connected · a"_qs;
        QTest::newRow("seen") << seen << true << true << u"On the network, not connected"_qs;
        QTest::newRow("failing") << failing << true << true << u"Not connected: no answer"_qs;
        QTest::newRow("no agent") << failing << false << true << u"On the network"_qs;
        QTest::newRow("switched off") << failing << true << false << u"On the network"_qs;
        QTest::newRow("never seen") << gone << true << true << u"Not seen yet"_qs;
        gone.lastSeen = now;
        const QString time = now.toDateTime().toLocalTime().toString(u"HH:mm"_qs);
        QTest::newRow("gone") << gone << true << true
                              << u"Not on the network, last seen today at "_qs + time;
        gone.lastSeen = Date{now.secondsSinceReference - 24 * 60 * 60};
        QTest::newRow("yesterday")
            << gone << true << true << u"Not on the network, last seen yesterday at "_qs + time;
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
                 phone.name + u", "_qs + text);
        QCOMPARE(_model->data(_model->index(0), PhoneListModel::PresenceRole).toInt(),
                 int(phone.presence));
    }

    void whatAPhoneTellsIsShown() {
        PhoneList::Phone phone{.service = u"a"_qs,
                               .name = u"a"_qs,
                               .isRegistered = false,
                               .presence = Presence::Seen,
                               .lastSeen = std::nullopt,
                               .details = {},
                               .lastError = QString()};
        show({phone});
        QCOMPARE(description(), u"Ready to be paired"_qs);
        QVERIFY(!_model->data(_model->index(0), PhoneListModel::PresenceRole).isValid());
        phone.details = {{u"model"_qs, PropertyList(u"Zeta\n<b>"_qs)},
                         {u"flag"_qs, PropertyList(QString())},
                         {u"secret"_qs, PropertyList(QByteArray("\xff"))},
                         {u"text"_qs, PropertyList(QString(100, u'x'))}};
        show({phone});
        QCOMPARE(description(), u"flag · model: Zeta\\n<b> · text: "_qs + QString(58, u'x') + u'…');
        // A name is no markup.
        phone.service = u"<i>"_qs;
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
