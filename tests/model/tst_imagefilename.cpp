// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

namespace {

const QDateTime afternoon(QDate(2026, 1, 31), QTime(15, 4, 5));
const QDateTime night(QDate(2026, 1, 31), QTime(0, 4, 5));
const QString png = QStringLiteral("png");

QString nameOf(const QString &title) {
    return ZRKClipmuleData::imageFileName(title, afternoon, std::nullopt, png);
}

} // namespace

class ImageFileNameTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void untitled() {
        const QString name = QStringLiteral("Clipmule 2026-01-31 15.04.05 PM.png");
        QCOMPARE(ZRKClipmuleData::imageFileName(std::nullopt, afternoon, std::nullopt, png), name);
        QCOMPARE(ZRKClipmuleData::imageFileName(QString(), afternoon, std::nullopt, png), name);
        QCOMPARE(ZRKClipmuleData::imageFileName(std::nullopt, night, std::nullopt,
                                                QStringLiteral("jpg")),
                 QStringLiteral("Clipmule 2026-01-31 00.04.05 AM.jpg"));
    }

    void titled() {
        QCOMPARE(nameOf(QStringLiteral("Münster 1%2")), QStringLiteral("Münster 1%2.png"));
    }

    void counted() {
        QCOMPARE(ZRKClipmuleData::imageFileName(QStringLiteral("title"), afternoon, 2, png),
                 QStringLiteral("title 2.png"));
        QCOMPARE(ZRKClipmuleData::imageFileName(std::nullopt, afternoon, 1, png),
                 QStringLiteral("Clipmule 2026-01-31 15.04.05 PM 1.png"));
    }

    void unsafeTitles_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("name");
        QTest::newRow("path") << QStringLiteral("../../etc/passwd")
                              << QStringLiteral("..-..-etc-passwd.png");
        QTest::newRow("absolute path") << QStringLiteral("/etc") << QStringLiteral("-etc.png");
        QTest::newRow("dot") << QStringLiteral(".") << QStringLiteral("-.png");
        QTest::newRow("two dots") << QStringLiteral("..") << QStringLiteral("--.png");
        QTest::newRow("NUL") << QStringLiteral("a") + QChar(u'\0') + QStringLiteral("b")
                             << QStringLiteral("a-b.png");
        QTest::newRow("line break") << QStringLiteral("a\r\nb") << QStringLiteral("a--b.png");
        QTest::newRow("delete") << QStringLiteral("a\u007f") << QStringLiteral("a-.png");
        QTest::newRow("C1 control") << QStringLiteral("a\u009bb") << QStringLiteral("a-b.png");
        QTest::newRow("right to left")
            << QStringLiteral("\u202egnp.exe") << QStringLiteral("-gnp.exe.png");
        QTest::newRow("isolate and mark")
            << QStringLiteral("a\u2067b\u200fc") << QStringLiteral("a-b-c.png");
        QTest::newRow("line separator")
            << QStringLiteral("a\u2028b\u2029c") << QStringLiteral("a-b-c.png");
        QTest::newRow("byte order mark") << QStringLiteral("a\ufeffb") << QStringLiteral("a-b.png");
        QTest::newRow("tag") << QString::fromUcs4(U"a\U000e0041b") << QStringLiteral("a-b.png");
        QTest::newRow("joiners") << QStringLiteral("\u0646\u200c\u0646\u200d")
                                 << QStringLiteral("\u0646\u200c\u0646\u200d.png");
        QTest::newRow("blanks") << QStringLiteral("  \t\u3000")
                                << QStringLiteral("Clipmule 2026-01-31 15.04.05 PM.png");
        QTest::newRow("blanks around") << QStringLiteral(" a ") << QStringLiteral(" a .png");
        QTest::newRow("half a character")
            << QString(QChar(u'\xD800')) + u'a' << QStringLiteral("?a.png");
        QTest::newRow("the other half, at the end")
            << u'a' + QString(QChar(u'\xDC00')) << QStringLiteral("a?.png");
    }

    void unsafeTitles() {
        QFETCH(QString, title);
        QFETCH(QString, name);
        QCOMPARE(nameOf(title), name);
    }

    // ".png" takes 4 of the 255 bytes.
    void longTitles_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("kept");
        QTest::newRow("one below") << QString(250, u'a') << QString(250, u'a');
        QTest::newRow("at the limit") << QString(251, u'a') << QString(251, u'a');
        QTest::newRow("one above") << QString(252, u'a') << QString(251, u'a');
        QTest::newRow("two-byte characters") << QString(300, u'ü') << QString(125, u'ü');
        QTest::newRow("three-byte characters") << QString(300, u'€') << QString(83, u'€');
        QTest::newRow("four-byte characters")
            << QStringLiteral("😀").repeated(300) << QStringLiteral("😀").repeated(62);
        QTest::newRow("character across the limit")
            << QString(250, u'a') + u'ü' << QString(250, u'a');
    }

    void longTitles() {
        QFETCH(QString, title);
        QFETCH(QString, kept);
        QCOMPARE(nameOf(title), kept + QStringLiteral(".png"));
        const QString counted = ZRKClipmuleData::imageFileName(title, afternoon, 10, png);
        QVERIFY(counted.endsWith(QStringLiteral(" 10.png")));
        QVERIFY(counted.toUtf8().size() <= 255);
    }
};

QTEST_GUILESS_MAIN(ImageFileNameTest)
#include "tst_imagefilename.moc"
