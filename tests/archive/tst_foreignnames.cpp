// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/SequentialArchiver.h"
#include "platform/archive/TypedStream.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/archive/KeyedArchives.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using Writer = TypedStream::Writer;

namespace {

// A colour for the terminal, a line that looks like another, a turn of the direction, places for
// arg(), and too long.
const QString name = QStringLiteral(u"E\u001b[31m\r\nx\u009b\u202e%2%1") + QString(100, u'y');
const QString shownName = QStringLiteral("E\\x1b[31m\\x0d\\nx\\x9b\\u202e%2%1") +
                          QString(49, u'y') + QStringLiteral(u"\u2026 (115)");
// The same in bytes that are read as Latin-1, which has no such turn.
const QByteArray bytes = "E\x1b[31m\r\nx\x9b%2%1" + QByteArray(100, 'y');
const QString shownBytes = QStringLiteral("E\\x1b[31m\\x0d\\nx\\x9b%2%1") + QString(50, u'y') +
                           QStringLiteral(u"\u2026 (114)");

QString ofSequential(const TypedStream::ClassChain &classes,
                     const std::function<void(Writer &)> &write = {}) {
    Writer writer;
    writer.writeTypes("@");
    writer.beginObject(classes);
    if (write)
        write(writer);
    writer.endObject();
    const QByteArray archive = writer.take();
    return reasonOf([&] {
        (void)kit::valueOf(SequentialUnarchiver::unarchivedObject(archive, archivedClasses()));
    });
}

QString ofKeyed(const PropertyList::List &objects) {
    return reasonOf([&] { (void)unarchive(archiveOf(objects)); });
}

PropertyList::Dictionary objectOf(quint32 classNumber) {
    return {{QStringLiteral("$class"), PropertyList::Uid{classNumber}}};
}

} // namespace

// What readers say of foreign input goes to logs and terminals.
class ForeignNamesTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void errorsShowNamesOnOneLine_data() {
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *what, const QString &error, const QString &expected) {
            QTest::newRow(what) << error << expected;
        };
        const QString old = QStringLiteral("old archive: ");
        row("class of a keyed archive", ofKeyed({objectOf(2), classRecord(name)}),
            QStringLiteral("unknown class ") + shownName);
        row("class of an old archive", ofSequential({{name.toUtf8(), 0}}),
            old + QStringLiteral("unknown class ") + shownName);
        row("version of an old archive", ofSequential({{name.toUtf8(), 3}}),
            old + shownName + QStringLiteral(" of version 3"));
        row("number of an old archive",
            ofSequential({{"NSNumber", 0}},
                         [](Writer &writer) {
                             writer.writeTypes("*");
                             writer.writeCString(bytes);
                             writer.writeTypes(bytes);
                         }),
            old + QStringLiteral("a number of type \"%1\"")
                      .replace(QStringLiteral("%1"), shownBytes));
        row("types of an old archive",
            ofSequential({{"NSDate", 0}}, [](Writer &writer) { writer.writeTypes(bytes); }),
            old + QStringLiteral("types \"") + shownBytes + QStringLiteral("\" instead of \"d\""));
        const auto xml = [](const QByteArray &text) {
            return kit::reasonOf(PropertyListSerialization::parseXml(text));
        };
        const QByteArray utf8 = name.toUtf8().replace('\r', "").replace('\n', "");
        const QString shownInXml =
            QString(shownName)
                .replace(QStringLiteral("\\x0d\\n"), QString())
                .replace(QStringLiteral(u"\u2026 (115)"), QStringLiteral(u"yy\u2026 (113)"));
        row("element of XML", xml('<' + utf8 + '>'),
            QStringLiteral("unknown element <") + shownInXml + QStringLiteral("> in line 1"));
        row("number of XML", xml("<integer>" + utf8 + "</integer>"),
            u'"' + shownInXml + QStringLiteral("\" is no <integer> in line 1"));
        row("reference of XML", xml("<string>&\x1b%1;</string>"),
            QStringLiteral("unknown reference \"&\\x1b%1\" in line 1"));
        row("encoding of XML", xml("<?xml encoding='\x1b%1'?>"),
            QStringLiteral("unknown encoding \"\\x1b%1\""));
        row("character of a text list",
            kit::reasonOf(PropertyListSerialization::parseOpenStep("(\x1b)")),
            QStringLiteral("text property list: unexpected character U+001b in line 1"));
        row("a value's description",
            PropertyList(PropertyList::Dictionary{{name, PropertyList::List{name}}}).description(),
            u'{' + shownName + QStringLiteral(": (\"") + shownName + QStringLiteral("\")}"));
    }
    void errorsShowNamesOnOneLine() {
        QFETCH(QString, error);
        QFETCH(QString, expected);
        QCOMPARE(error, expected);
    }
};

QTEST_GUILESS_MAIN(ForeignNamesTest)
#include "tst_foreignnames.moc"
