// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Utf8.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QTest>

#include <random>

using namespace clipmule;

namespace {

std::optional<QString> decoded(const QByteArray &bytes, const Utf8Kernel *kernel) {
    // One unit more, which must survive.
    QString buffer(bytes.size() + 1, u'#');
    auto *const units = reinterpret_cast<char16_t *>(buffer.data());
    const char16_t *const end = decodeUtf8(units, bytes, kernel);
    if (buffer.back() != u'#')
        return QStringLiteral("wrote beyond the bound");
    QString closer(utf16Bound(bytes) + 32, u'#');
    auto *const closerUnits = reinterpret_cast<char16_t *>(closer.data());
    const char16_t *const closerEnd = decodeUtf8(closerUnits, bytes, kernel);
    if (closer.last(32) != QString(32, u'#') || bool(closerEnd) != bool(end) ||
        (end && closer.first(closerEnd - closerUnits) != buffer.first(end - units)))
        return QStringLiteral("wrote beyond the closer bound");
    if (!end)
        return std::nullopt;
    return buffer.first(end - units);
}

/// The same with all instructions, or a text that says otherwise.
std::optional<QString> decoded(const QByteArray &bytes) {
    const auto text = decoded(bytes, nullptr);
    return decoded(bytes, utf8VectorKernel()) == text
               ? text
               : QStringLiteral("differs with vector instructions");
}

QByteArray escaped(const QString &text, const Utf8Kernel *kernel) {
    const QByteArray guard(64, '\xaa');
    const qsizetype size = escapedUtf8Size(text, kernel);
    QByteArray buffer = QByteArray(size, '\0') + guard;
    const char *const end = escapeAsUtf8(buffer.data(), text, kernel);
    if (end - buffer.constData() != size || !buffer.endsWith(guard))
        return "wrote another size than announced";
    return buffer.first(size);
}

QByteArray escaped(const QString &text) {
    const QByteArray bytes = escaped(text, nullptr);
    return escaped(text, utf8VectorKernel()) == bytes ? bytes : "differs with vector instructions";
}

QString withoutLoneSurrogates(const QString &text) {
    QString result;
    for (const char32_t character : text.toUcs4())
        result += QChar::fromUcs4(QChar::isSurrogate(character) ? 0xfffd : character);
    return result;
}

} // namespace

class Utf8Test final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void decodesEveryCharacter() {
        for (char32_t character = 0; character <= 0x10ffff; ++character) {
            if (QChar::isSurrogate(character))
                continue;
            const QString text = QString::fromUcs4(&character, 1);
            if (const QByteArray bytes = text.toUtf8(); decoded(bytes) != text)
                QCOMPARE(decoded(bytes), text);
        }
    }

    void keepsAByteOrderMarkInFront() {
        QCOMPARE(decoded("\xef\xbb\xbf"
                         "a"),
                 QStringLiteral("\ufeff"
                                "a"));
    }

    void refusesWhatIsNotUtf8_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("continuation alone") << QByteArray("\x80");
        QTest::newRow("overlong in two bytes") << QByteArray("\xc1\xbf");
        QTest::newRow("overlong in three bytes") << QByteArray("\xe0\x9f\xbf");
        QTest::newRow("overlong in four bytes") << QByteArray("\xf0\x8f\xbf\xbf");
        QTest::newRow("first surrogate") << QByteArray("\xed\xa0\x80");
        QTest::newRow("last surrogate") << QByteArray("\xed\xbf\xbf");
        QTest::newRow("U+110000") << QByteArray("\xf4\x90\x80\x80");
        QTest::newRow("five bytes") << QByteArray("\xf8\x88\x80\x80\x80");
        QTest::newRow("FF") << QByteArray("\xff");
        QTest::newRow("one of two bytes") << QByteArray("\xc3");
        QTest::newRow("two of three bytes") << QByteArray("\xe4\xbd");
        QTest::newRow("three of four bytes") << QByteArray("\xf0\x9f\x98");
        QTest::newRow("letter for a second byte") << QByteArray("\xc3"
                                                                "a");
        QTest::newRow("letter for a third byte") << QByteArray("\xe4\xbd"
                                                               "a");
        QTest::newRow("letter for a fourth byte") << QByteArray("\xf0\x9f\x98"
                                                                "a");
    }
    void refusesWhatIsNotUtf8() {
        QFETCH(QByteArray, bytes);
        QCOMPARE(decoded(bytes), std::nullopt);
        // At the end of every part of a block, and with more behind it.
        for (qsizetype before = 0; before < 40; ++before) {
            QCOMPARE(decoded(QByteArray(before, 'x') + bytes), std::nullopt);
            QCOMPARE(decoded(QByteArray(before, 'x') + bytes + QByteArray(40, 'y')), std::nullopt);
        }
    }

    void acceptsWhatIsJustInside_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("first of two bytes") << QByteArray("\xc2\x80") << QStringLiteral("\u0080");
        QTest::newRow("first of three bytes")
            << QByteArray("\xe0\xa0\x80") << QStringLiteral("\u0800");
        QTest::newRow("before the surrogates")
            << QByteArray("\xed\x9f\xbf") << QStringLiteral("\ud7ff");
        QTest::newRow("after the surrogates")
            << QByteArray("\xee\x80\x80") << QStringLiteral("\ue000");
        QTest::newRow("first of four bytes")
            << QByteArray("\xf0\x90\x80\x80") << QStringLiteral("\U00010000");
        QTest::newRow("last of all")
            << QByteArray("\xf4\x8f\xbf\xbf") << QStringLiteral("\U0010ffff");
        QTest::newRow("no character") << QByteArray("\xef\xbf\xbf") << QString(QChar(0xffff));
        QTest::newRow("zero") << QByteArray("\0", 1) << QString(QChar(0));
    }
    void acceptsWhatIsJustInside() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        for (qsizetype before = 0; before < 40; ++before) {
            QCOMPARE(decoded(QByteArray(before, 'x') + bytes + "yz"),
                     QString(before, u'x') + text + QStringLiteral("yz"));
        }
    }

    void escapesOnlyThree() {
        QCOMPARE(escaped(QStringLiteral("a<b>&\"'\r\n\t\x01 plain")),
                 QByteArray("a&lt;b&gt;&amp;\"'\r\n\t\x01 plain"));
        // Neighbours of the three, and what equals them in the low byte.
        QCOMPARE(escaped(QStringLiteral(";=?%'\u013c\u013e\u0126")),
                 QByteArray(";=?%'\xc4\xbc\xc4\xbe\xc4\xa6"));
    }

    void replacesLoneSurrogates() {
        const QByteArray replacement = "\xef\xbf\xbd";
        const QChar high(0xd83d);
        const QChar low(0xde00);
        for (qsizetype before = 0; before < 20; ++before) {
            const QString text(before, u'x');
            const QByteArray bytes(before, 'x');
            QCOMPARE(escaped(text + high), bytes + replacement);
            QCOMPARE(escaped(text + low + u'y'), bytes + replacement + 'y');
            QCOMPARE(escaped(text + low + high), bytes + replacement + replacement);
            QCOMPARE(escaped(text + high + high + low), bytes + replacement + "\xf0\x9f\x98\x80");
        }
    }

    void usesVectorInstructionsWhereTheProcessorHasThem() {
        // Otherwise the comparisons would compare the portable loops with themselves.
        QFile processor(QStringLiteral("/proc/cpuinfo"));
        QVERIFY(processor.open(QIODevice::ReadOnly));
        QCOMPARE(utf8VectorKernel() != nullptr, processor.readAll().contains(" avx2 "));
    }

    void tellsTheSizeBeforehand() {
        // Longer than what is summed up in 16 bits at a time.
        for (const auto *kernel : {static_cast<const Utf8Kernel *>(nullptr), utf8VectorKernel()}) {
            QCOMPARE(escapedUtf8Size(QString(300'000, u'&'), kernel), 5 * 300'000);
            QCOMPARE(escapedUtf8Size(QStringLiteral("😀").repeated(300'000), kernel), 4 * 300'000);
            QCOMPARE(escapedUtf8Size(QString(300'000, QChar(0xdc00)), kernel), 3 * 300'000);
        }
    }

    // Each length of character in runs of each length, next to each other one, at each place of a
    // block; escaped() holds the size to the bytes.
    void convertsRunsOfEveryLength() {
        const QStringList characters{
            QStringLiteral("a"),      QStringLiteral("&"),      QStringLiteral("<"),
            QStringLiteral("\u0080"), QStringLiteral("\u07ff"), QStringLiteral("\u0800"),
            QStringLiteral("\ud7ff"), QStringLiteral("\ue000"), QStringLiteral("\uffff"),
            QStringLiteral("😀"),      QString(QChar(0xd800)),   QString(QChar(0xdfff))};
        for (const QString &first : characters) {
            for (const QString &second : characters) {
                for (qsizetype before = 0; before < 40; ++before) {
                    for (const qsizetype run : {1, 2, 7, 8, 9, 15, 16, 17, 33}) {
                        const QString text =
                            first.repeated(before) + second.repeated(run) + first.repeated(50);
                        const QString expected = withoutLoneSurrogates(text);
                        const QByteArray bytes = escaped(text);
                        QString plain = expected;
                        plain.replace(u'&', QStringLiteral("&amp;"))
                            .replace(u'<', QStringLiteral("&lt;"));
                        if (bytes != plain.toUtf8())
                            QCOMPARE(bytes, plain.toUtf8());
                        if (const QByteArray utf8 = expected.toUtf8(); decoded(utf8) != expected)
                            QCOMPARE(decoded(utf8), expected);
                    }
                }
            }
        }
    }

    // One byte at a time, so that every malformed sequence comes up in the middle of runs.
    void refusesTheSameWithAllInstructions() {
        std::mt19937 random(5);
        const QByteArray whole =
            QStringLiteral("日本語のテキスト, Überschrift, Привет мир, 😀 ").repeated(3).toUtf8();
        int refused = 0;
        for (int round = 0; round < 20000; ++round) {
            QByteArray bytes = whole.sliced(qsizetype(random()) % 40);
            bytes[qsizetype(random()) % bytes.size()] = char(random());
            const QString expected = QString::fromUtf8(bytes);
            const auto text = decoded(bytes);
            refused += text ? 0 : 1;
            if (text != (expected.toUtf8() == bytes ? std::optional(expected) : std::nullopt))
                QCOMPARE(text, expected);
        }
        QVERIFY(refused > 5000 && refused < 19000);
    }

    void escapesAndDecodesRandomTexts() {
        std::mt19937 random(4);
        for (int round = 0; round < 5000; ++round) {
            QString text;
            const auto size = random() % 100;
            while (text.size() < qsizetype(size)) {
                switch (random() % 5) {
                case 0:
                    text += QChar(char16_t(random() % 0x10000));
                    break;
                case 1:
                    text += QChar::fromUcs4(0x10000 + random() % 0x100000);
                    break;
                default:
                    text += QString(qsizetype(random() % 20), QChar(char16_t(random() % 0x80)));
                }
            }
            const QByteArray bytes = escaped(text);
            QString expected = withoutLoneSurrogates(text);
            QCOMPARE(bytes, expected.replace(u'&', QStringLiteral("&amp;"))
                                .replace(u'<', QStringLiteral("&lt;"))
                                .replace(u'>', QStringLiteral("&gt;"))
                                .toUtf8());
            QCOMPARE(decoded(bytes), expected);
        }
    }
};

QTEST_GUILESS_MAIN(Utf8Test)
#include "tst_utf8.moc"
