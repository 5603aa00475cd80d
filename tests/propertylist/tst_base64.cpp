// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/Base64.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QTest>

#include <array>
#include <random>

using namespace clipmule;

namespace {

constexpr std::array engines{Base64::Engine::Scalar, Base64::Engine::Fastest};

/// Encodes into a buffer of exactly the announced size, followed by bytes that must survive.
QByteArray encoded(const QByteArray &bytes, Base64::Lines lines, Base64::Engine engine) {
    const QByteArray guard(64, '\xaa');
    const qsizetype size = Base64::encodedSize(bytes.size(), lines);
    QByteArray buffer = QByteArray(size, '\0') + guard;
    const char *const end = Base64::encode(buffer.data(), bytes, lines, engine);
    if (end - buffer.constData() != size || !buffer.endsWith(guard))
        return "wrote another size than announced";
    return buffer.first(size);
}

/// Decodes into a buffer of exactly the bound, followed by bytes that must survive.
std::optional<QByteArray> decoded(const QByteArray &text, Base64::Engine engine) {
    const QByteArray guard(64, '\xaa');
    QByteArray buffer = QByteArray(Base64::decodedBound(text.size()), '\0') + guard;
    const auto size = Base64::decode(buffer.data(), text, engine);
    if (!buffer.endsWith(guard))
        return "wrote beyond the bound";
    if (!size)
        return std::nullopt;
    return buffer.first(*size);
}

QByteArray randomBytes(std::mt19937 &random, size_t size) {
    QByteArray bytes(qsizetype(size), '\0');
    for (char &byte : bytes)
        byte = char(random());
    return bytes;
}

} // namespace

class Base64Test final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void usesVectorInstructionsWhereTheProcessorHasThem() {
        // Otherwise the comparisons below would compare the scalar loops with themselves.
        QFile processor(QStringLiteral("/proc/cpuinfo"));
        QVERIFY(processor.open(QIODevice::ReadOnly));
        QCOMPARE(Base64::vectorKernel() != nullptr, processor.readAll().contains(" avx2 "));
    }

    void encodesWithPadding_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("nothing is no line") << QByteArray() << QByteArray();
        QTest::newRow("one byte") << QByteArray("f") << QByteArray("Zg==\n");
        QTest::newRow("two bytes") << QByteArray("fo") << QByteArray("Zm8=\n");
        QTest::newRow("three bytes") << QByteArray("foo") << QByteArray("Zm9v\n");
        QTest::newRow("last digits") << QByteArray("\xff\xef\xfe") << QByteArray("/+/+\n");
    }
    void encodesWithPadding() {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, text);
        for (const auto engine : engines)
            QCOMPARE(encoded(bytes, {76, 0}, engine), text);
    }

    void breaksLinesAndIndentsThem() {
        const QByteArray zeros(20, '\0');
        for (const auto engine : engines) {
            QCOMPARE(encoded(zeros.first(9), {12, 2}, engine), QByteArray("\t\tAAAAAAAAAAAA\n"));
            QCOMPARE(encoded(zeros.first(10), {12, 2}, engine),
                     QByteArray("\t\tAAAAAAAAAAAA\n\t\tAA==\n"));
            QCOMPARE(encoded(zeros, {20, 8}, engine),
                     QByteArray("\t\t\t\t\t\t\t\tAAAAAAAAAAAAAAAAAAAA\n"
                                "\t\t\t\t\t\t\t\tAAAAAAA=\n"));
        }
    }

    void encodesTheSameWithAllInstructions() {
        std::mt19937 random(1);
        for (const Base64::Lines lines :
             {Base64::Lines{76, 0}, Base64::Lines{68, 1}, Base64::Lines{44, 4},
              Base64::Lines{12, 8}, Base64::Lines{4, 0}, Base64::Lines{64, 3}}) {
            for (size_t size = 0; size < 500; ++size) {
                const QByteArray bytes = randomBytes(random, size);
                const QByteArray text = encoded(bytes, lines, Base64::Engine::Scalar);
                QCOMPARE(encoded(bytes, lines, Base64::Engine::Fastest), text);
                QByteArray digits = text;
                digits.replace('\n', "").replace('\t', "");
                QCOMPARE(digits, bytes.toBase64());
                for (const auto engine : engines)
                    QCOMPARE(decoded(text, engine), bytes);
            }
        }
    }

    void decodes_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("nothing") << QByteArray() << QByteArray("");
        QTest::newRow("two padding characters") << QByteArray("Zg==") << QByteArray("f");
        QTest::newRow("one padding character") << QByteArray("Zm8=") << QByteArray("fo");
        QTest::newRow("an incomplete group is dropped")
            << QByteArray("Zm9vZm8") << QByteArray("foo");
        QTest::newRow("padding inside white space") << QByteArray("Z g\t=\n=\r") << QByteArray("f");
        QTest::newRow("other characters are skipped")
            << QByteArray("-Z*m,9(v)_") << QByteArray("foo");
        QTest::newRow("a group after padding") << QByteArray("Zg==Zm9v") << QByteArray("ffoo");
        QTest::newRow("padding inside a group is a zero digit")
            << QByteArray("Zm=v") << QByteArray("f`/");
        QTest::newRow("only padding is a zero byte") << QByteArray("====") << QByteArray("\0", 1);
    }
    void decodes() {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, bytes);
        for (const auto engine : engines) {
            QCOMPARE(decoded(text, engine), bytes);
            // The same in the middle of what whole blocks are taken from.
            const QByteArray before(64, 'A');
            QCOMPARE(decoded(before + text, engine), QByteArray(48, '\0') + bytes);
        }
    }

    void refusesBytesAboveAscii() {
        const QByteArray text = QByteArray(100, 'A');
        for (const auto engine : engines) {
            for (qsizetype at = 0; at < text.size(); ++at) {
                for (const char byte : {'\x80', '\xc1', '\xff'}) {
                    QByteArray wrong = text;
                    wrong[at] = byte;
                    QCOMPARE(decoded(wrong, engine), std::nullopt);
                }
            }
        }
    }

    void decodesTheSameWithAllInstructions() {
        std::mt19937 random(2);
        // Mostly digits; then one kind of disturbance more with each round.
        const QByteArray disturbances = "\n\t =\x01-<\x7f@[`{:,.\x80\xaf\xff";
        for (int round = 0; round < 20000; ++round) {
            QByteArray text = randomBytes(random, random() % 300).toBase64();
            const auto kinds = 1 + random() % size_t(disturbances.size());
            const auto count = random() % 12;
            for (size_t index = 0; index < count && !text.isEmpty(); ++index) {
                const auto at = qsizetype(random() % size_t(text.size()));
                const char disturbance = disturbances[qsizetype(random() % kinds)];
                if (random() % 2 == 0)
                    text[at] = disturbance;
                else
                    text.insert(at, qsizetype(random() % 40), disturbance);
            }
            QCOMPARE(decoded(text, Base64::Engine::Fastest), decoded(text, Base64::Engine::Scalar));
        }
    }

    void decodesAnyBytesTheSameWithAllInstructions() {
        std::mt19937 random(3);
        for (int round = 0; round < 5000; ++round) {
            QByteArray text = randomBytes(random, random() % 200);
            // Half of the rounds without what is refused at once.
            if (round % 2 == 0) {
                for (char &byte : text)
                    byte &= 0x7f;
            }
            QCOMPARE(decoded(text, Base64::Engine::Fastest), decoded(text, Base64::Engine::Scalar));
        }
    }
};

QTEST_GUILESS_MAIN(Base64Test)
#include "tst_base64.moc"
