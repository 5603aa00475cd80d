// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QLoggingCategory>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

QStringList lines;
QtMessageHandler before = nullptr;

void record(QtMsgType type, const QMessageLogContext &context, const QString &line) {
    if (QLatin1StringView(context.category) == QLatin1StringView("clipmule.app"))
        lines += line;
    if (type != QtDebugMsg)
        before(type, context, line);
}

PropertyList clip(const QString &text) {
    return PropertyList(PropertyList::Dictionary{
        {u"items"_s,
         PropertyList::List{PropertyList(PropertyList::Dictionary{{u"string"_s, text}})}}});
}

} // namespace

// One line for each thing that happens, for people who ask for it, and never a clip's text.
class VerboseLogTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _agent = std::make_unique<AgentFixture>();
        QLoggingCategory::setFilterRules(u"clipmule.app.debug=true"_s);
        before = qInstallMessageHandler(record);
    }

    void end() override {
        _agent.reset();
        qInstallMessageHandler(before);
        QLoggingCategory::setFilterRules({});
        lines.clear();
    }

private Q_SLOTS:
    void whatIsCopiedHere() {
        _agent->connectedPhone(u"Anna"_s);
        _agent->connectedPhone(u"Ben"_s);
        for (int copy = 0; copy < 2; ++copy) {
            _agent->pasteboard.copyText(u"a secret"_s);
            _agent->advance(0.5);
        }
        QCOMPARE(told(), (QStringList{u"sending text of 34 bytes to phones: 2"_s,
                                      u"copied here: the last clip again, which is not sent "
                                      u"twice"_s}));
    }

    void whatPhonesSend() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        _agent->connectedPhone(u"Ben"_s);
        anna->send(u"1"_s, clip(u"a secret"_s));
        _agent->settle();
        QCOMPARE(told(), (QStringList{u"received text of 8 bytes from Anna"_s, u"pasted"_s}));
        _agent->advance(1);
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"clipboard"_s), u"pasteMode"_s));
        anna->send(u"1"_s, clip(u"a secret"_s));
        _agent->settle();
        QCOMPARE(told(), (QStringList{u"received text of 8 bytes from Anna"_s,
                                      u"put on the clipboard, not pasted: so the settings say"_s}));
        anna->send(u"2"_s, clip(u"a secret"_s));
        _agent->settle();
        QCOMPARE(told(), QStringList{u"passing a clip from Anna on to Ben"_s});
        anna->send(u"4"_s, PropertyList(PropertyList::Dictionary{{u"name"_s, u"A"_s}}));
        _agent->settle();
        QCOMPARE(told(), QStringList{u"received the device record of Anna"_s});
    }

    void sleep() {
        _agent->connectedPhone(u"Anna"_s);
        _agent->power.send(PowerMessage::SystemWillSleep);
        QCOMPARE(told(), QStringList{u"the computer goes to sleep"_s});
        _agent->power.send(PowerMessage::SystemHasPoweredOn);
        QCOMPARE(told(), QStringList{u"the computer woke up"_s});
    }

private:
    // Since the last look.
    static QStringList told() { return std::exchange(lines, {}); }

    std::unique_ptr<AgentFixture> _agent;
};

QTEST_GUILESS_MAIN(VerboseLogTest)
#include "tst_verboselog.moc"
