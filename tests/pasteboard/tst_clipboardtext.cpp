// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardTargets.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <algorithm>

using namespace clipmule;

class ClipboardTextTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void becomesUtf8_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const char16_t *target, const char16_t *type,
                            const QByteArray &bytes, const char16_t *text) {
            QTest::newRow(name) << QStringView(target).toString() << QStringView(type).toString()
                                << bytes << QStringView(text).toString();
        };
        row("UTF-8", u"UTF8_STRING", u"UTF8_STRING", "caf\xc3\xa9 \xe2\x82\xac", u"café €");
        row("Latin-1", u"STRING", u"STRING", "caf\xe9", u"café");
        row("the type tells, not the target", u"TEXT", u"STRING", "caf\xe9", u"café");
        row("UTF-8 under TEXT", u"TEXT", u"UTF8_STRING", "caf\xc3\xa9", u"café");
        row("STRING answered with its own name", u"STRING", u"STRING", "\xff", u"ÿ");
        row("MIME with UTF-8", u"text/plain;charset=utf-8", u"text/plain;charset=utf-8", "\xc3\xa9",
            u"é");
        row("MIME with Latin-1", u"text/plain;charset=ISO-8859-1", u"text/plain;charset=ISO-8859-1",
            "\xe9", u"é");
        row("MIME with UTF-16", u"text/plain;charset=\"utf-16\"", u"text/plain",
            QByteArray("\xe9\0A\0", 4), u"éA");
        row("MIME with UTF-16, big end first", u"text/plain;charset=utf-16be", u"x",
            QByteArray("\0A", 2), u"A");
        row("UTF-16 by its mark", u"text/html", u"text/html", QByteArray("\xff\xfe<\0b\0>\0", 8),
            u"<b>");
        row("UTF-16 by its mark, big end first", u"text/html", u"text/html",
            QByteArray("\xfe\xff\0<", 4), u"<");
        row("UTF-8 mark", u"UTF8_STRING", u"UTF8_STRING", "\xef\xbb\xbfx", u"x");
        row("not UTF-8", u"UTF8_STRING", u"UTF8_STRING",
            "a\xff"
            "b",
            u"a\ufffd"
            u"b");
        row("characters of every length", u"UTF8_STRING", u"UTF8_STRING",
            "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80z", u"aé€\U0001f600z");
        row("UTF-8 mark, of which the second is a character", u"UTF8_STRING", u"UTF8_STRING",
            "\xef\xbb\xbf\xef\xbb\xbfx", u"\ufeffx");
        row("not UTF-8 behind two marks", u"UTF8_STRING", u"UTF8_STRING",
            "\xef\xbb\xbf\xef\xbb\xbf\xff", u"\ufeff\ufffd");
        row("a mark among others", u"UTF8_STRING", u"UTF8_STRING", "x\xef\xbb\xbfy", u"x\ufeffy");
        row("a character that another cuts short", u"UTF8_STRING", u"UTF8_STRING",
            "\xc3"
            "b\xe2\xc3\xa9",
            u"\ufffd"
            u"b\ufffdé");
        row("cut in the middle of a character", u"UTF8_STRING", u"UTF8_STRING", "a\xe2\x82", u"a");
        row("line ends stay", u"UTF8_STRING", u"UTF8_STRING", "a\r\nb\r", u"a\r\nb\r");
        row("trailing NULs go", u"UTF8_STRING", u"UTF8_STRING", QByteArray("ab\0\0", 4), u"ab");
        row("one character", u"UTF8_STRING", u"UTF8_STRING", "a", u"a");
        row("nothing", u"UTF8_STRING", u"UTF8_STRING", "", u"");
        row("compound, plain", u"COMPOUND_TEXT", u"COMPOUND_TEXT", "a\tb\n\xe9", u"a\tb\né");
        row("compound, Latin-1 by name", u"COMPOUND_TEXT", u"COMPOUND_TEXT", "\x1b-A\xe9", u"é");
        row("compound by its target", u"COMPOUND_TEXT", u"x", "\x1b-A\xe9", u"é");
        row("compound by its type, whatever the charset", u"text/plain;charset=iso-8859-1",
            u"COMPOUND_TEXT", "\x1b-A\xe9", u"é");
        row("asked for as compound, answered as Latin-1", u"COMPOUND_TEXT", u"STRING", "\x1b-A\xe9",
            u"\x1b-Aé");
        row("asked for as compound, answered in a charset", u"COMPOUND_TEXT",
            u"text/plain;charset=iso-8859-1", "\x1b-A\xe9", u"\x1b-Aé");
        row("compound, UTF-8 part", u"TEXT", u"COMPOUND_TEXT", "a\x1b%G\xe2\x82\xac\x1b%@\xe9",
            u"a€é");
        row("compound, a set that is not read", u"COMPOUND_TEXT", u"COMPOUND_TEXT",
            "a\x1b-L\xd0"
            "b\x1b$(B0\x1b(Bc",
            u"a\ufffd"
            u"b\ufffd"
            u"c");
        row("compound, endless escape", u"COMPOUND_TEXT", u"COMPOUND_TEXT", "\x1b////abc", u"abc");
    }
    void becomesUtf8() {
        QFETCH(QString, target);
        QFETCH(QString, type);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        ClipboardText whole(target, type);
        whole.append(bytes);
        QCOMPARE(whole.take(), text.toUtf8());
        // The same in pieces.
        for (qsizetype size = 1; size < 6; ++size) {
            ClipboardText pieces(target, type);
            for (qsizetype from = 0; from < bytes.size(); from += size)
                pieces.append(
                    QByteArrayView(bytes).sliced(from).first(std::min(size, bytes.size() - from)));
            QCOMPARE(pieces.take(), text.toUtf8());
        }
    }
};

QTEST_GUILESS_MAIN(ClipboardTextTest)
#include "tst_clipboardtext.moc"
