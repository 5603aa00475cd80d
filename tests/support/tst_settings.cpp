// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/Settings.h"
#include "tests/kit/EveryKind.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/support/TestStores.h"

#include <QTest>

#include <set>

using namespace clipmule;
using namespace Qt::StringLiterals;
using Settings::Key;

namespace {

const QString domain = QStringLiteral("com.zendrik.Test");

// What a truth reads as: nothing for damage.
std::optional<bool> expectedTruth(const QString &name) {
    static const QSet<QString> right{u"true"_s,
                                     u"one"_s,
                                     u"negative"_s,
                                     u"smallest integer"_s,
                                     u"largest integer"_s,
                                     u"largest unsigned"_s,
                                     u"real"_s,
                                     u"negative real"_s,
                                     u"huge real"_s,
                                     u"infinity"_s,
                                     u"negative infinity"_s,
                                     u"no number"_s,
                                     u"text of digits"_s,
                                     u"text of yes"_s};
    static const QSet<QString> wrong{u"false"_s, u"zero"_s, u"text of no"_s};
    if (right.contains(name))
        return true;
    return wrong.contains(name) ? std::optional(false) : std::nullopt;
}

std::optional<quint64> expectedCount(const QString &name) {
    static const QMap<QString, quint64> counts{
        {u"true"_s, 1},
        {u"false"_s, 0},
        {u"zero"_s, 0},
        {u"one"_s, 1},
        {u"largest integer"_s, quint64(std::numeric_limits<qint64>::max())},
        {u"largest unsigned"_s, std::numeric_limits<quint64>::max()},
        {u"real"_s, 1},
        {u"text of digits"_s, 12}};
    const auto found = counts.constFind(name);
    return found == counts.constEnd() ? std::nullopt : std::optional(*found);
}

std::optional<qint32> expectedCount32(const QString &name) {
    constexpr qint32 least = std::numeric_limits<qint32>::min();
    constexpr qint32 most = std::numeric_limits<qint32>::max();
    static const QMap<QString, qint32> counts{{u"true"_s, 1},
                                              {u"false"_s, 0},
                                              {u"zero"_s, 0},
                                              {u"one"_s, 1},
                                              {u"negative"_s, -5},
                                              {u"smallest integer"_s, 0},
                                              {u"largest integer"_s, -1},
                                              {u"largest unsigned"_s, -1},
                                              {u"real"_s, 1},
                                              {u"negative real"_s, 0},
                                              {u"huge real"_s, most},
                                              {u"infinity"_s, most},
                                              {u"negative infinity"_s, least},
                                              {u"no number"_s, 0},
                                              {u"text of digits"_s, 12}};
    const auto found = counts.constFind(name);
    return found == counts.constEnd() ? std::nullopt : std::optional(*found);
}

} // namespace

// One table of settings, and one rule for reading each, whatever is stored.
class SettingsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _runLoop.advance(60.0);
        _session = std::make_unique<kit::UserSession>();
        _process = std::make_unique<kit::Process>(*_session);
        _store = _process->open(domain);
        // What an earlier test reported counts as said until a right value was read.
        for (const Settings::Setting &each : Settings::all())
            Settings::reportKind(each, std::nullopt, true);
    }

    void end() override {
        _store.reset();
        _process.reset();
    }

private Q_SLOTS:
    void theTableNamesEverySettingOnce() {
        QStringList names;
        std::set<Key> keys;
        for (const Settings::Setting &each : Settings::all()) {
            names.append(Settings::nameOf(each.domain) + u'/' + each.name);
            keys.insert(each.key);
            QCOMPARE(&Settings::setting(each.key), &each);
            QCOMPARE(Settings::find(each.name), &each);
            QCOMPARE(Settings::nameOf(each.key), each.name);
        }
        QCOMPARE(keys.size(), size_t(names.size()));
        const QStringList expected{u"agent/syncEnabled"_s,     u"agent/watchClipboardByTimer"_s,
                                   u"shared/serverServices"_s, u"shared/autoUpdateEnabled"_s,
                                   u"shared/showStatus"_s,     u"shared/pasteMode"_s,
                                   u"stats/dataSent"_s,        u"stats/dataReceived"_s,
                                   u"stats/imageItems"_s,      u"stats/textItems"_s};
        QCOMPARE(names, expected);
        QCOMPARE(Settings::find(u"nonsense"_s), nullptr);
    }

    void nothingStoredIsTheFallback() {
        QVERIFY(Settings::truth(*_store, Key::SyncEnabled));
        QVERIFY(!Settings::truth(*_store, Key::WatchClipboardByTimer));
        QVERIFY(!Settings::truth(*_store, Key::ShowStatus));
        QVERIFY(!Settings::truth(*_store, Key::AutoUpdateEnabled));
        QCOMPARE(Settings::pasteMode(*_store), PasteMode::Paste);
        QCOMPARE(Settings::count(*_store, Key::DataSent), quint64(0));
        QCOMPARE(Settings::count(*_store, Key::DataReceived), quint64(0));
        QCOMPARE(Settings::count32(*_store, Key::ImageItems), 0);
        QCOMPARE(Settings::count32(*_store, Key::TextItems), 0);
    }

    // A text that is none counts as nothing stored, which for this setting is true.
    void aTextThatBeginsWithANumberIsATruth() {
        const auto truthOf = [this](const QString &text) {
            static_cast<void>(_store->setObjectForKey(PropertyList(text), u"syncEnabled"_s));
            return Settings::truth(*_store, Key::SyncEnabled);
        };
        for (const QString &no : {u"0"_s, u"+0"_s, u"-0"_s, u" 0 apples"_s, u"no"_s})
            QVERIFY2(!truthOf(no), qUtf8Printable(no));
        for (const QString &yes : {u"1"_s, u"+9"_s, u"-1"_s, u" 2 apples"_s, u"yes"_s})
            QVERIFY2(truthOf(yes), qUtf8Printable(yes));
        for (const QString &neither : {u"+"_s, u"/"_s, u":"_s, u"apples"_s}) {
            expectWarning(Key::SyncEnabled, u"text of digits"_s, false);
            QVERIFY2(truthOf(neither), qUtf8Printable(neither));
            QVERIFY(!truthOf(u"0"_s));
        }
    }

    void everyKindUnderATruth_data() { addEveryKind(); }
    void everyKindUnderATruth() {
        QFETCH(QString, name);
        const auto expected = expectedTruth(name);
        for (const Key key : {Key::SyncEnabled, Key::ShowStatus, Key::AutoUpdateEnabled}) {
            store(key, name, expected.has_value());
            const bool fallback = key == Key::SyncEnabled;
            QCOMPARE(Settings::truth(*_store, key), expected.value_or(fallback));
            // A registered default of a right kind is the default then.
            _store->registerDefaults({{Settings::nameOf(key), !fallback}});
            QCOMPARE(Settings::truth(*_store, key), expected.value_or(!fallback));
            // One of a wrong kind is none.
            _store->registerDefaults({{Settings::nameOf(key), QByteArray()}});
            QCOMPARE(Settings::truth(*_store, key), expected.value_or(fallback));
        }
    }

    void everyKindUnderACount_data() { addEveryKind(); }
    void everyKindUnderACount() {
        QFETCH(QString, name);
        const auto expected = expectedCount(name);
        for (const Key key : {Key::DataSent, Key::DataReceived}) {
            store(key, name, expected.has_value());
            QCOMPARE(Settings::count(*_store, key), expected.value_or(0));
        }
    }

    void everyKindUnderASmallCount_data() { addEveryKind(); }
    void everyKindUnderASmallCount() {
        QFETCH(QString, name);
        const auto expected = expectedCount32(name);
        for (const Key key : {Key::ImageItems, Key::TextItems}) {
            store(key, name, expected.has_value());
            QCOMPARE(Settings::count32(*_store, key), expected.value_or(0));
        }
    }

    void everyKindUnderThePasteMode_data() { addEveryKind(); }
    void everyKindUnderThePasteMode() {
        QFETCH(QString, name);
        store(Key::PasteMode, name, false);
        QCOMPARE(Settings::pasteMode(*_store), PasteMode::Paste);
        _store->registerDefaults({{u"pasteMode"_s, u"clipboard"_s}});
        QCOMPARE(Settings::pasteMode(*_store), PasteMode::Clipboard);
    }

    void thePasteModeIsOneOfTwoWords() {
        for (const PasteMode mode : {PasteMode::Paste, PasteMode::Clipboard}) {
            QVERIFY(_store->setObjectForKey(Settings::wordFor(mode), u"pasteMode"_s));
            QCOMPARE(Settings::pasteMode(*_store), mode);
        }
        QCOMPARE(Settings::wordFor(PasteMode::Paste), u"paste"_s);
        QCOMPARE(Settings::wordFor(PasteMode::Clipboard), u"clipboard"_s);
        QCOMPARE(Settings::pasteModeFrom(u"Paste"_s), std::nullopt);
    }

    // Damage is said once; it is said anew when it comes back after a right value.
    void damageIsReportedOnce() {
        store(Key::ShowStatus, u"date"_s, false);
        QVERIFY(!Settings::truth(*_store, Key::ShowStatus));
        QVERIFY(!Settings::truth(*_store, Key::ShowStatus)); // no second line
        _store->setBoolForKey(true, u"showStatus"_s);
        QVERIFY(Settings::truth(*_store, Key::ShowStatus));
        store(Key::ShowStatus, u"date"_s, false);
        QVERIFY(!Settings::truth(*_store, Key::ShowStatus));
    }

    void refusals_data() {
        QTest::addColumn<Key>("key");
        QTest::addColumn<QSet<QString>>("fitting");
        QTest::addColumn<QString>("refusal");
        const QSet<QString> truths{u"true"_s, u"false"_s};
        QTest::newRow("truth") << Key::ShowStatus << truths << u"showStatus is true or false"_s;
        QTest::newRow("choice") << Key::PasteMode << QSet<QString>()
                                << u"pasteMode is paste or clipboard"_s;
        QTest::newRow("count") << Key::DataSent
                               << QSet<QString>{u"zero"_s, u"one"_s, u"largest integer"_s,
                                                u"largest unsigned"_s}
                               << u"dataSent is a whole number, 0 or more"_s;
        QTest::newRow("count32") << Key::TextItems
                                 << QSet<QString>{u"zero"_s, u"one"_s, u"negative"_s}
                                 << u"textItems is a whole number of at most 32 bits"_s;
    }
    void refusals() {
        QFETCH(Key, key);
        QFETCH(QSet<QString>, fitting);
        QFETCH(QString, refusal);
        for (const kit::NamedValue &each : kit::everyKind()) {
            const QString name = QString::fromLatin1(each.name);
            const auto checked = Settings::check(Settings::setting(key), each.value);
            QCOMPARE(checked ? QString() : checked.error().reason,
                     fitting.contains(name) ? QString() : refusal);
        }
    }
    void whatFitsAtTheEnds() {
        const auto &items = Settings::setting(Key::TextItems);
        for (const qint64 end : {qint64(std::numeric_limits<qint32>::min()),
                                 qint64(std::numeric_limits<qint32>::max())}) {
            const qint64 outside = end < 0 ? end - 1 : end + 1;
            QVERIFY(Settings::check(items, end));
            QVERIFY(!Settings::check(items, outside));
        }
        const auto &mode = Settings::setting(Key::PasteMode);
        QVERIFY(Settings::check(mode, u"paste"_s));
        QVERIFY(Settings::check(mode, u"clipboard"_s));
    }

    void words_data() {
        QTest::addColumn<Key>("key");
        QTest::addColumn<QString>("word");
        QTest::addColumn<std::optional<PropertyList>>("value");
        const std::optional<PropertyList> none;
        const auto some = [](PropertyList value) { return std::optional(std::move(value)); };
        for (const char *word : {"true", "yes", "on", "1", "TRUE", "Yes"})
            QTest::newRow(word) << Key::SyncEnabled << QString::fromLatin1(word) << some(true);
        for (const char *word : {"false", "no", "off", "0", "OFF"})
            QTest::newRow(word) << Key::SyncEnabled << QString::fromLatin1(word) << some(false);
        for (const char *word : {"maybe", "", "2", "tru"})
            QTest::newRow((QByteArray("truth ") + word).constData())
                << Key::SyncEnabled << QString::fromLatin1(word) << none;
        QTest::newRow("choice") << Key::PasteMode << u"Clipboard"_s << some(u"clipboard"_s);
        QTest::newRow("count") << Key::DataSent << u"18446744073709551615"_s
                               << some(std::numeric_limits<quint64>::max());
        QTest::newRow("count above") << Key::DataSent << u"18446744073709551616"_s << none;
        QTest::newRow("count below") << Key::DataSent << u"-1"_s << none;
        QTest::newRow("no count") << Key::DataSent << u"much"_s << none;
        QTest::newRow("small count") << Key::TextItems << u"-7"_s << some(-7);
        QTest::newRow("no small count") << Key::TextItems << u"true"_s << none;
        QTest::newRow("list") << Key::ServerServices << u"hello"_s << none;
    }
    void words() {
        QFETCH(Key, key);
        QFETCH(QString, word);
        QFETCH(std::optional<PropertyList>, value);
        QCOMPARE(Settings::valueFromWord(Settings::setting(key), word), value);
    }

private:
    static void addEveryKind() {
        QTest::addColumn<QString>("name");
        for (const kit::NamedValue &each : kit::everyKind())
            QTest::newRow(each.name) << QString::fromLatin1(each.name);
    }
    static PropertyList valueNamed(const QString &name) {
        for (const kit::NamedValue &each : kit::everyKind()) {
            if (name == QLatin1String(each.name))
                return each.value;
        }
        return {};
    }
    static void expectWarning(Key key, const QString &name, bool isRight) {
        if (isRight)
            return;
        const Settings::Setting &setting = Settings::setting(key);
        const QString line =
            u"setting %1 of the domain \"%2\" holds %3, which is not %4: not used"_s.arg(
                setting.name, Settings::nameOf(setting.domain),
                PropertyList::nameOfKind(valueNamed(name).kind()), Settings::describeKind(setting));
        QTest::ignoreMessage(QtWarningMsg, line.toUtf8().constData());
    }
    void store(Key key, const QString &name, bool isRight) {
        expectWarning(key, name, isRight);
        QVERIFY(_store->setObjectForKey(valueNamed(name), Settings::nameOf(key)));
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<kit::UserSession> _session;
    std::unique_ptr<kit::Process> _process;
    std::shared_ptr<ZRKUserDefaults> _store;
};

QTEST_GUILESS_MAIN(SettingsTest)

#include "tst_settings.moc"
