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
using Settings::Key;

namespace {

const QString domain = QStringLiteral("com.zendrik.Test");

// What a truth reads as: nothing for damage.
std::optional<bool> expectedTruth(const QString &name) {
    static const QSet<QString> right{u"true"_qs,
                                     u"one"_qs,
                                     u"negative"_qs,
                                     u"smallest integer"_qs,
                                     u"largest integer"_qs,
                                     u"largest unsigned"_qs,
                                     u"real"_qs,
                                     u"negative real"_qs,
                                     u"huge real"_qs,
                                     u"infinity"_qs,
                                     u"negative infinity"_qs,
                                     u"no number"_qs,
                                     u"text of digits"_qs,
                                     u"text of yes"_qs};
    static const QSet<QString> wrong{u"false"_qs, u"zero"_qs, u"text of no"_qs};
    if (right.contains(name))
        return true;
    return wrong.contains(name) ? std::optional(false) : std::nullopt;
}

std::optional<quint64> expectedCount(const QString &name) {
    static const QMap<QString, quint64> counts{
        {u"true"_qs, 1},
        {u"false"_qs, 0},
        {u"zero"_qs, 0},
        {u"one"_qs, 1},
        {u"largest integer"_qs, quint64(std::numeric_limits<qint64>::max())},
        {u"largest unsigned"_qs, std::numeric_limits<quint64>::max()},
        {u"real"_qs, 1},
        {u"text of digits"_qs, 12}};
    const auto found = counts.constFind(name);
    return found == counts.constEnd() ? std::nullopt : std::optional(*found);
}

std::optional<qint32> expectedCount32(const QString &name) {
    constexpr qint32 least = std::numeric_limits<qint32>::min();
    constexpr qint32 most = std::numeric_limits<qint32>::max();
    static const QMap<QString, qint32> counts{{u"true"_qs, 1},
                                              {u"false"_qs, 0},
                                              {u"zero"_qs, 0},
                                              {u"one"_qs, 1},
                                              {u"negative"_qs, -5},
                                              {u"smallest integer"_qs, 0},
                                              {u"largest integer"_qs, -1},
                                              {u"largest unsigned"_qs, -1},
                                              {u"real"_qs, 1},
                                              {u"negative real"_qs, 0},
                                              {u"huge real"_qs, most},
                                              {u"infinity"_qs, most},
                                              {u"negative infinity"_qs, least},
                                              {u"no number"_qs, 0},
                                              {u"text of digits"_qs, 12}};
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
        const QStringList expected{u"agent/syncEnabled"_qs,     u"agent/watchClipboardByTimer"_qs,
                                   u"shared/serverServices"_qs, u"shared/autoUpdateEnabled"_qs,
                                   u"shared/showStatus"_qs,     u"shared/pasteMode"_qs,
                                   u"stats/dataSent"_qs,        u"stats/dataReceived"_qs,
                                   u"stats/imageItems"_qs,      u"stats/textItems"_qs};
        QCOMPARE(names, expected);
        QCOMPARE(Settings::find(u"nonsense"_qs), nullptr);
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
            _store->setObjectForKey(PropertyList(text), u"syncEnabled"_qs);
            return Settings::truth(*_store, Key::SyncEnabled);
        };
        for (const QString &no : {u"0"_qs, u"+0"_qs, u"-0"_qs, u" 0 apples"_qs, u"no"_qs})
            QVERIFY2(!truthOf(no), qUtf8Printable(no));
        for (const QString &yes : {u"1"_qs, u"+9"_qs, u"-1"_qs, u" 2 apples"_qs, u"yes"_qs})
            QVERIFY2(truthOf(yes), qUtf8Printable(yes));
        for (const QString &neither : {u"+"_qs, u"/"_qs, u":"_qs, u"apples"_qs}) {
            expectWarning(Key::SyncEnabled, u"text of digits"_qs, false);
            QVERIFY2(truthOf(neither), qUtf8Printable(neither));
            QVERIFY(!truthOf(u"0"_qs));
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
        _store->registerDefaults({{u"pasteMode"_qs, u"clipboard"_qs}});
        QCOMPARE(Settings::pasteMode(*_store), PasteMode::Clipboard);
    }

    void thePasteModeIsOneOfTwoWords() {
        for (const PasteMode mode : {PasteMode::Paste, PasteMode::Clipboard}) {
            _store->setObjectForKey(Settings::wordFor(mode), u"pasteMode"_qs);
            QCOMPARE(Settings::pasteMode(*_store), mode);
        }
        QCOMPARE(Settings::wordFor(PasteMode::Paste), u"paste"_qs);
        QCOMPARE(Settings::wordFor(PasteMode::Clipboard), u"clipboard"_qs);
        QCOMPARE(Settings::pasteModeFrom(u"Paste"_qs), std::nullopt);
    }

    // Damage is said once; it is said anew when it comes back after a right value.
    void damageIsReportedOnce() {
        store(Key::ShowStatus, u"date"_qs, false);
        QVERIFY(!Settings::truth(*_store, Key::ShowStatus));
        QVERIFY(!Settings::truth(*_store, Key::ShowStatus)); // no second line
        _store->setBoolForKey(true, u"showStatus"_qs);
        QVERIFY(Settings::truth(*_store, Key::ShowStatus));
        store(Key::ShowStatus, u"date"_qs, false);
        QVERIFY(!Settings::truth(*_store, Key::ShowStatus));
    }

    void refusals_data() {
        QTest::addColumn<Key>("key");
        QTest::addColumn<QSet<QString>>("fitting");
        QTest::addColumn<QString>("refusal");
        const QSet<QString> truths{u"true"_qs, u"false"_qs};
        QTest::newRow("truth") << Key::ShowStatus << truths << u"showStatus is true or false"_qs;
        QTest::newRow("choice") << Key::PasteMode << QSet<QString>()
                                << u"pasteMode is paste or clipboard"_qs;
        QTest::newRow("count") << Key::DataSent
                               << QSet<QString>{u"zero"_qs, u"one"_qs, u"largest integer"_qs,
                                                u"largest unsigned"_qs}
                               << u"dataSent is a whole number, 0 or more"_qs;
        QTest::newRow("count32") << Key::TextItems
                                 << QSet<QString>{u"zero"_qs, u"one"_qs, u"negative"_qs}
                                 << u"textItems is a whole number of at most 32 bits"_qs;
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
        QVERIFY(Settings::check(mode, u"paste"_qs));
        QVERIFY(Settings::check(mode, u"clipboard"_qs));
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
        QTest::newRow("choice") << Key::PasteMode << u"Clipboard"_qs << some(u"clipboard"_qs);
        QTest::newRow("count") << Key::DataSent << u"18446744073709551615"_qs
                               << some(std::numeric_limits<quint64>::max());
        QTest::newRow("count above") << Key::DataSent << u"18446744073709551616"_qs << none;
        QTest::newRow("count below") << Key::DataSent << u"-1"_qs << none;
        QTest::newRow("no count") << Key::DataSent << u"much"_qs << none;
        QTest::newRow("small count") << Key::TextItems << u"-7"_qs << some(-7);
        QTest::newRow("no small count") << Key::TextItems << u"true"_qs << none;
        QTest::newRow("list") << Key::ServerServices << u"hello"_qs << none;
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
            u"setting %1 of the domain \"%2\" holds %3, which is not %4: not used"_qs.arg(
                setting.name, Settings::nameOf(setting.domain),
                PropertyList::nameOfKind(valueNamed(name).kind()), Settings::describeKind(setting));
        QTest::ignoreMessage(QtWarningMsg, line.toUtf8().constData());
    }
    void store(Key key, const QString &name, bool isRight) {
        expectWarning(key, name, isRight);
        _store->setObjectForKey(valueNamed(name), Settings::nameOf(key));
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<kit::UserSession> _session;
    std::unique_ptr<kit::Process> _process;
    std::shared_ptr<ZRKUserDefaults> _store;
};

QTEST_GUILESS_MAIN(SettingsTest)

#include "tst_settings.moc"
