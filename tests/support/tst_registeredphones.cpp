// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/RegisteredPhones.h"
#include "tests/kit/EveryKind.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;
using RegisteredPhones::Phone;
using Dictionary = PropertyList::Dictionary;
using List = PropertyList::List;

namespace {

const QString service = QStringLiteral("serverService");
const QString name = QStringLiteral("serverName");

PropertyList entry(const QString &phone) {
    return Dictionary{{service, phone}, {name, phone + u"'s"_s}};
}

QString refusalOf(const PropertyList &value) {
    const auto checked = RegisteredPhones::check(value);
    return checked ? QString() : checked.error().reason;
}

QString changedBy(const char *key, const PropertyList &value) {
    Dictionary entry{{service, QStringLiteral("Anna")}};
    entry.insert(QString::fromLatin1(key), value);
    return refusalOf(List{entry});
}

} // namespace

// The one reader and writer of the list of registered phones.
class RegisteredPhonesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        Settings::reportKind(Settings::setting(Settings::Key::ServerServices), std::nullopt, true);
    }

private Q_SLOTS:
    void readsAllThatAnEntryMayHold() {
        const PropertyList stored = List{
            Dictionary{{service, u"Anna"_s},
                       {name, u"Anna's"_s},
                       {u"pasteMode"_s, u"clipboard"_s},
                       {u"address"_s, u"[fe80::1]:7"_s}},
            Dictionary{{service, u"Bert"_s}, {u"pasteMode"_s, u"paste"_s}},
        };
        const QList<Phone> expected{
            {.service = u"Anna"_s,
             .name = u"Anna's"_s,
             .pasteMode = PasteMode::Clipboard,
             .address = u"[fe80::1]:7"_s},
            {.service = u"Bert"_s, .name = {}, .pasteMode = PasteMode::Paste}};
        QCOMPARE(RegisteredPhones::phones(stored), expected);
        QCOMPARE(RegisteredPhones::phone(stored, u"Bert"_s), expected[1]);
        QCOMPARE(RegisteredPhones::phone(stored, u"Carl"_s), std::nullopt);
        QCOMPARE(expected[0].shownName(), u"Anna's"_s);
        QCOMPARE(expected[1].shownName(), u"Bert"_s);
    }

    void whatIsNoListHoldsNoPhones_data() {
        QTest::addColumn<QString>("kind");
        for (const kit::NamedValue &each : kit::everyKind())
            QTest::newRow(each.name) << PropertyList::nameOfKind(each.value.kind());
    }
    void whatIsNoListHoldsNoPhones() {
        QFETCH(QString, kind);
        PropertyList value;
        for (const kit::NamedValue &each : kit::everyKind()) {
            if (qstrcmp(each.name, QTest::currentDataTag()) == 0)
                value = each.value;
        }
        if (!value.isList()) {
            const QString line = u"setting serverServices of the domain \"shared\" holds %1, which "
                                 "is not a list of phones: not used"_s.arg(kind);
            QTest::ignoreMessage(QtWarningMsg, line.toUtf8().constData());
        }
        QCOMPARE(RegisteredPhones::isList(value), value.isList());
        QCOMPARE(RegisteredPhones::phones(value), QList<Phone>());
        QCOMPARE(RegisteredPhones::phones(value), QList<Phone>()); // said once
        QCOMPARE(RegisteredPhones::displayNames(value), QStringList());
        // The value alone, and as the one entry of a list.
        QVERIFY(RegisteredPhones::check(value).has_value() == (value == PropertyList(List())));
        QVERIFY(!RegisteredPhones::check(List{value}));
    }

    // Each kind as an entry, and under each key of an entry.
    void everyKindInAnEntryIsPassedOver() {
        for (const kit::NamedValue &each : kit::everyKind()) {
            const PropertyList stored =
                List{each.value, Dictionary{{service, each.value}}, entry(u"Anna"_s)};
            const bool isName = each.value.isString() && !each.value.string().isEmpty();
            QCOMPARE(RegisteredPhones::phones(stored).size(), isName ? 2 : 1);
            QCOMPARE(RegisteredPhones::phones(stored).constLast().service, u"Anna"_s);
            const PropertyList fields = List{Dictionary{{service, u"Anna"_s},
                                                        {name, each.value},
                                                        {u"pasteMode"_s, each.value},
                                                        {u"address"_s, each.value}}};
            const QString text = each.value.isString() ? each.value.string() : QString();
            const QList<Phone> expected{
                {.service = u"Anna"_s, .name = text, .pasteMode = {}, .address = text}};
            QCOMPARE(RegisteredPhones::phones(fields), expected);
            // And stays where it is when something else changes.
            const PropertyList changed =
                RegisteredPhones::changed(stored, u"Carl"_s, {.name = u"C"_s});
            QCOMPARE(changed.list().size(), 4);
            QCOMPARE(changed.list().first(3), stored.list());
        }
        QCOMPARE(RegisteredPhones::phones(std::nullopt), QList<Phone>());
    }

    void aPhoneNamedTwiceCountsOnceByItsFirstEntry() {
        const PropertyList stored =
            List{entry(u"Anna"_s), Dictionary{{service, u"Anna"_s}, {name, u"other"_s}}};
        const QList<Phone> expected{{.service = u"Anna"_s, .name = u"Anna's"_s}};
        QCOMPARE(RegisteredPhones::phones(stored), expected);
        // A change meets the entry that counts.
        const auto changed = RegisteredPhones::changed(stored, u"Anna"_s, {.name = u"new"_s});
        QCOMPARE(RegisteredPhones::phones(changed).constFirst().name, u"new"_s);
        QCOMPARE(changed.list()[1], stored.list()[1]);
    }

    void thePhonesAreBounded_data() {
        QTest::addColumn<qsizetype>("count");
        QTest::newRow("one below") << RegisteredPhones::mostPhones - 1;
        QTest::newRow("at") << RegisteredPhones::mostPhones;
        QTest::newRow("one above") << RegisteredPhones::mostPhones + 1;
    }
    void thePhonesAreBounded() {
        QFETCH(qsizetype, count);
        List list;
        for (qsizetype i = 0; i < count; ++i)
            list.append(entry(QString::number(i)));
        const qsizetype expected = std::min(count, RegisteredPhones::mostPhones);
        QCOMPARE(RegisteredPhones::phones(list).size(), expected);
        QCOMPARE(RegisteredPhones::displayNames(list).size(), expected);
        QCOMPARE(RegisteredPhones::check(list).has_value(), count == expected);
    }

    void displayNamesAreThoseOfAllEntries() {
        const PropertyList stored = List{entry(u"Anna"_s),
                                         Dictionary{{name, u"Nobody's"_s}},
                                         Dictionary{{service, u"B"_s}},
                                         Dictionary{{service, u"C"_s}, {name, 7}},
                                         5,
                                         entry(u"Anna"_s)};
        const QStringList expected{u"Anna's"_s, u"Nobody's"_s, u"Anna's"_s};
        QCOMPARE(RegisteredPhones::displayNames(stored), expected);
    }

    void aNewPhoneGoesToTheEnd() {
        const auto first = RegisteredPhones::changed(std::nullopt, u"Anna"_s, {});
        QCOMPARE(first, PropertyList(List{Dictionary{{service, u"Anna"_s}, {name, u"Anna"_s}}}));
        const auto second = RegisteredPhones::changed(
            first, u"Bert"_s,
            {.name = u"B"_s, .pasteMode = {{PasteMode::Clipboard}}, .address = u"host:1"_s});
        QCOMPARE(second.list()[0], first.list()[0]);
        const PropertyList expected = Dictionary{{service, u"Bert"_s},
                                                 {name, u"B"_s},
                                                 {u"pasteMode"_s, u"clipboard"_s},
                                                 {u"address"_s, u"host:1"_s}};
        QCOMPARE(second.list()[1], expected);
    }

    void aChangeKeepsWhatItDoesNotName() {
        const PropertyList anna = Dictionary{{service, u"Anna"_s},
                                             {name, u"Anna's"_s},
                                             {u"pasteMode"_s, u"paste"_s},
                                             {u"address"_s, u"host:1"_s},
                                             {u"colour"_s, List{1, 2}}};
        const PropertyList stored = List{5, anna, entry(u"Bert"_s)};
        QCOMPARE(RegisteredPhones::changed(stored, u"Anna"_s, {}), stored);
        const auto with = [&](const QString &key, std::optional<PropertyList> value) {
            PropertyList::List list = stored.list();
            if (value)
                list[1].dictionary().insert(key, *value);
            else
                list[1].dictionary().remove(key);
            return PropertyList(list);
        };
        const auto change = [&](const RegisteredPhones::Change &wanted) {
            return RegisteredPhones::changed(stored, u"Anna"_s, wanted);
        };
        QCOMPARE(change({.name = u"A"_s}), with(name, u"A"_s));
        QCOMPARE(change({.pasteMode = {{PasteMode::Clipboard}}}),
                 with(u"pasteMode"_s, u"clipboard"_s));
        QCOMPARE(change({.pasteMode = std::optional<PasteMode>()}),
                 with(u"pasteMode"_s, std::nullopt));
        QCOMPARE(change({.address = u"[::1]:2"_s}), with(u"address"_s, u"[::1]:2"_s));
        QCOMPARE(change({.address = QString()}), with(u"address"_s, std::nullopt));
    }

    void removingTakesAllEntriesOfThePhone() {
        const PropertyList stored = List{5, entry(u"Anna"_s), entry(u"Bert"_s), entry(u"Anna"_s)};
        const PropertyList rest = List{5, entry(u"Bert"_s)};
        QCOMPARE(RegisteredPhones::removed(stored, u"Anna"_s), rest);
        const auto entries = RegisteredPhones::entriesOf(stored, u"Anna"_s);
        QCOMPARE(entries.size(), 2);
        QCOMPARE(entries[1].index, 3);
        QCOMPARE(RegisteredPhones::restored(rest, entries), stored);
        // A list that has become shorter takes them at its end.
        QCOMPARE(RegisteredPhones::restored(List{}, entries),
                 PropertyList(List{entry(u"Anna"_s), entry(u"Anna"_s)}));
    }

    void refusalsNameWhatIsWrong() {
        QVERIFY(RegisteredPhones::check(List{}));
        QVERIFY(RegisteredPhones::check(List{entry(u"Anna"_s)}));
        QCOMPARE(refusalOf(7), u"serverServices is a list of phones; \"pair\" adds one"_s);
        QCOMPARE(
            refusalOf(List{entry(QString())}),
            u"an entry of serverServices is a dictionary with a text under \"serverService\""_s);
        QCOMPARE(changedBy("serverName", 7),
                 u"\"serverName\" of an entry of serverServices is a text"_s);
        QCOMPARE(changedBy("address", 7), u"\"address\" of an entry of serverServices is a text"_s);
        QCOMPARE(changedBy("pasteMode", u"glue"_s),
                 u"\"pasteMode\" of an entry of serverServices is paste or clipboard"_s);
        QVERIFY(changedBy("pasteMode", u"clipboard"_s).isEmpty());
        QVERIFY(changedBy("colour", 7).isEmpty());
    }

    void aProgramOfThisComputerIsNamedAsItNamesItself() {
        const PropertyList list = RegisteredPhones::changed({}, u"local/Anna"_s, {});
        QCOMPARE(RegisteredPhones::phones(list),
                 (QList<Phone>{{.service = u"local/Anna"_s, .name = u"Anna"_s}}));
        QCOMPARE((Phone{.service = u"local/Anna"_s}.shownName()), u"Anna"_s);
        QCOMPARE((Phone{.service = u"Anna"_s}.shownName()), u"Anna"_s);
        QCOMPARE((Phone{.service = u"local/Anna"_s, .name = u"local/x"_s}.shownName()),
                 u"local/x"_s);
    }
};

QTEST_GUILESS_MAIN(RegisteredPhonesTest)

#include "tst_registeredphones.moc"
