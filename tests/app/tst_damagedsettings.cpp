// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/app/AgentFixture.h"
#include "tests/kit/EveryKind.h"
#include "tests/kit/TestCase.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

QString domainOf(const Settings::Setting &setting) {
    switch (setting.domain) {
    case Settings::Domain::Shared:
        return sharedDomain;
    case Settings::Domain::Agent:
        return agentDomain;
    case Settings::Domain::Statistics:
        break;
    }
    return statisticsDomain;
}

} // namespace

// The agent with any value under any of its settings, from the file and from the bus.
class DamagedSettingsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        // What an earlier test reported counts as said until a right value was read.
        for (const Settings::Setting &each : Settings::all())
            Settings::reportKind(each, std::nullopt, true);
        _agent = std::make_unique<AgentFixture>();
    }

    void end() override { _agent.reset(); }

public:
    // Only what is said of settings is expected here, by each test in its own words.
    DamagedSettingsTest()
        : TestCase(QStringLiteral("^(?!setting )")) {}

private Q_SLOTS:
    void everyKindInTheFile_data() { addEveryKindUnderEveryKey(); }
    void everyKindInTheFile() {
        QFETCH(const Settings::Setting *, setting);
        QFETCH(int, index);
        const PropertyList value = kit::everyKind()[index].value;
        if (setting->key != Settings::Key::ServerServices)
            _agent->setRegistered(_agent->registered = {u"Anna"_s});
        QVERIFY(_agent->database.setValue(domainOf(*setting), setting->name, value));
        _agent->shared->reset();
        _agent->applicationDefaults->reset();
        announceReport(*setting, value);
        _agent->launch();
        worksAsItIsSet(*setting, value);
    }

    void everyKindFromTheBus_data() { addEveryKindUnderEveryKey(); }
    void everyKindFromTheBus() {
        QFETCH(const Settings::Setting *, setting);
        QFETCH(int, index);
        const PropertyList value = kit::everyKind()[index].value;
        _agent->setRegistered(_agent->registered = {u"Anna"_s});
        _agent->launch();
        announceReport(*setting, value);
        // As another program sets it: the file, then the signal.
        const QString domain = domainOf(*setting);
        QVERIFY(_agent->database.setValue(domain, setting->name, value));
        _agent->notifications.post(ZRKUserDefaultsDidChangeNotification + u'.' + domain,
                                   ZRKUserDefaultsDidChangeNotification,
                                   {{u"gUserDefaultsKey"_s, setting->name},
                                    {u"gUserDefaultsValue"_s, value},
                                    {u"gUUIDDefaultsKey"_s, value}});
        _agent->advance(1);
        // The counters are the agent's own: it does not hear of others that change them.
        worksAsItIsSet(*setting, setting->domain == Settings::Domain::Statistics
                                     ? std::optional<PropertyList>()
                                     : value);
    }

private:
    static void addEveryKindUnderEveryKey() {
        QTest::addColumn<const Settings::Setting *>("setting");
        QTest::addColumn<int>("index");
        const auto values = kit::everyKind();
        for (const Settings::Setting &setting : Settings::all()) {
            for (int i = 0; i < values.size(); ++i)
                QTest::addRow("%s: %s", qPrintable(setting.name), values[i].name) << &setting << i;
        }
    }
    // A report comes at most once; which values are reported, the settings' own test tells.
    static void announceReport(const Settings::Setting &setting, const PropertyList &value) {
        QTest::failOnWarning(QRegularExpression(
            u"^(?!setting %1 of the domain \"%2\" holds %3, which is not )"_s.arg(
                setting.name, Settings::nameOf(setting.domain),
                PropertyList::nameOfKind(value.kind()))));
    }

    void worksAsItIsSet(const Settings::Setting &setting,
                        const std::optional<PropertyList> &value) {
        using Settings::Key;
        const auto &app = *_agent->app;
        QCOMPARE(app.isEnabled(), setting.key != Key::SyncEnabled ||
                                      Settings::truth(*_agent->applicationDefaults, setting.key));
        const bool hasPhone = setting.key != Key::ServerServices && app.isEnabled();
        QCOMPARE(_agent->announced(), hasPhone ? QStringList{u"Anna"_s} : QStringList());
        QVERIFY(app.registeredDeviceNames().size() <= 1);
        if (!hasPhone)
            return;
        const auto phone = _agent->appear(u"Anna"_s);
        QVERIFY(app.isConnected());
        // A clip each way is counted, and neither is told as refused.
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        phone->send(u"1"_s,
                    PropertyList(PropertyList::Dictionary{
                        {u"items"_s, PropertyList::List{PropertyList::Dictionary{
                                         {u"createdBy"_s, 1}, {u"string"_s, u"World"_s}}}}}));
        _agent->settle();
        QVERIFY(!app.lastRefusal());
        QCOMPARE(_agent->pasteboard.text(), u"World"_s);
        if (setting.domain == Settings::Domain::Statistics)
            countsFromWhatWasThere(setting, value);
    }

    void countsFromWhatWasThere(const Settings::Setting &setting,
                                const std::optional<PropertyList> &value) {
        const auto before = ZRKUserDefaults::initWithIdentifier(u"com.zendrik.Before"_s);
        if (value)
            QVERIFY(before->setObjectForKey(*value, setting.name));
        if (setting.kind == Settings::Kind::Count) {
            const PropertyList after = _agent->statistic(setting.name);
            QVERIFY(after.isNumber());
            const quint64 was = Settings::count(*before, setting.key);
            const quint64 moved = after.unsignedValue() - was;
            QVERIFY2(moved > 0 && moved < 100, qPrintable(after.description()));
        } else {
            const qint32 more = setting.key == Settings::Key::TextItems ? 2 : 0;
            const quint32 was = quint32(Settings::count32(*before, setting.key));
            if (more > 0)
                QCOMPARE(_agent->statistic(setting.name), PropertyList(qint32(was + 2U)));
        }
    }

    std::unique_ptr<AgentFixture> _agent;
};

QTEST_GUILESS_MAIN(DamagedSettingsTest)

#include "tst_damagedsettings.moc"
