// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/web/PageClient.h"
#include "web/PageChannel.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::PageClient;
using Kind = PageChannel::Kind;

namespace {

const QString vectorsPath = QStringLiteral(CLIPMULE_TEST_DATA "/page/handshake.json");

QByteArray counted(int from, int count) {
    QByteArray bytes;
    for (int at = 0; at < count; ++at)
        bytes += char(from + at);
    return bytes;
}

QString hex(const QByteArray &bytes) {
    return QString::fromLatin1(bytes.toHex());
}

// Gives out these bytes one after the other.
Randomness fixedRandomness(QByteArray bytes) {
    auto left = std::make_shared<QByteArray>(std::move(bytes));
    return [left](std::span<unsigned char> out) {
        QVERIFY(size_t(left->size()) >= out.size());
        std::copy_n(left->constBegin(), out.size(), out.begin());
        left->remove(0, qsizetype(out.size()));
    };
}

PageChannel::KeyOf knows(const PageClient::Secrets &secrets) {
    return [secrets](Kind kind, QByteArrayView id) -> std::optional<SecretKey> {
        if (char(kind) != secrets.kind || id != secrets.id)
            return std::nullopt;
        return SecretKey(secrets.key);
    };
}

PageClient::Secrets resuming() {
    return {.kind = 'R', .id = counted(1, 16), .key = counted(100, 32)};
}

// A whole conversation of known secrets, as JSON: what the page has to come to as well.
QJsonObject transcript(const PageClient::Secrets &secrets, const QByteArray &serverSecret,
                       const QByteArray &serverNonce, const QList<QByteArray> &fromPage,
                       const QList<QByteArray> &toPage) {
    PageClient page(secrets);
    PageChannel channel(knows(secrets), fixedRandomness(serverSecret + serverNonce));
    const QByteArray answer = channel.receive(page.hello()).answer;
    if (!page.takeAnswer(answer))
        return {};
    QJsonArray sealedFromPage;
    for (const QByteArray &plain : fromPage) {
        const QByteArray sealed = page.seal(plain);
        if (channel.receive(sealed).opened != plain)
            return {};
        sealedFromPage += QJsonObject{{u"plain"_s, hex(plain)}, {u"sealed"_s, hex(sealed)}};
    }
    QJsonArray sealedToPage;
    for (const QByteArray &plain : toPage) {
        const QByteArray sealed = channel.seal(plain);
        if (page.open(sealed) != plain)
            return {};
        sealedToPage += QJsonObject{{u"plain"_s, hex(plain)}, {u"sealed"_s, hex(sealed)}};
    }
    QJsonObject result{{u"kind"_s, QString(QLatin1Char(secrets.kind))},
                       {u"id"_s, hex(secrets.id)},
                       {u"key"_s, hex(secrets.key)},
                       {u"clientSecret"_s, hex(secrets.secret)},
                       {u"clientPublic"_s, hex(page.publicKey())},
                       {u"helloNonce"_s, hex(secrets.nonce)},
                       {u"hello"_s, hex(page.hello())},
                       {u"serverSecret"_s, hex(serverSecret)},
                       {u"answerNonce"_s, hex(serverNonce)},
                       {u"answer"_s, hex(answer)},
                       {u"shared"_s, hex(page.shared())},
                       {u"pageToProgramKey"_s, hex(page.toProgram())},
                       {u"programToPageKey"_s, hex(page.toPage())},
                       {u"fromPage"_s, sealedFromPage},
                       {u"toPage"_s, sealedToPage}};
    if (secrets.kind == 'P') {
        if (channel.browser().id != page.browserId() ||
            channel.browser().key.view() != page.browserKey())
            return {};
        result[u"browserId"_s] = hex(page.browserId());
        result[u"browserKey"_s] = hex(page.browserKey());
    }
    return result;
}

QJsonObject transcripts() {
    PageClient::Secrets pairing = PageClient::withCode(counted(1, 32));
    pairing.secret = counted(33, 32);
    pairing.nonce = counted(65, 24);
    const auto text = [](const char *literal) { return QByteArray(1, '\0') + literal; };
    const QJsonObject pair = transcript(
        pairing, counted(90, 32), counted(130, 24),
        {text(R"({"is":"pair","name":"Anna’s phone","language":"de"})"), text(R"({"is":"ping"})"),
         QByteArray(1, '\1') + counted(0, 4) + counted(7, 200)},
        {text(R"({"is":"welcome","computer":"desk","name":"Anna’s phone"})"),
         QByteArray(1, '\1') + counted(0, 4) + QByteArray(600, 'x')});
    PageClient::Secrets resume = resuming();
    resume.secret = counted(200, 32);
    resume.nonce = counted(3, 24);
    const QJsonObject resumed =
        transcript(resume, counted(17, 32), counted(40, 24),
                   {text(R"({"is":"resume","language":"ja"})")}, {text(R"({"is":"pong"})")});
    return {{u"pair"_s, pair}, {u"resume"_s, resumed}};
}

} // namespace

// The sealed channel against a page that was written from the protocol's description.
class PageChannelTest final : public kit::TestCase {
    Q_OBJECT

    // A channel and a page that have come as far as the answer.
    struct Pair {
        PageClient::Secrets secrets;
        PageClient page;
        PageChannel channel;
        explicit Pair(const PageClient::Secrets &with = resuming())
            : secrets(with)
            , page(with)
            , channel(knows(with)) {
            const PageChannel::Step step = channel.receive(page.hello());
            QVERIFY(!step.isOver);
            QVERIFY(page.takeAnswer(step.answer));
        }
    };

    static void verifyEnded(PageChannel &channel, const PageChannel::Step &step,
                            const QByteArray &good) {
        QVERIFY(step.isOver);
        QVERIFY(!step.opened);
        QVERIFY(step.answer.isEmpty());
        // Nor does what would have been right bring it back.
        const PageChannel::Step after = channel.receive(good);
        QVERIFY(after.isOver);
        QVERIFY(!after.opened);
        QVERIFY(after.answer.isEmpty());
    }

private Q_SLOTS:
    void bothComeToTheRecordedBytes() {
        const QJsonObject computed = transcripts();
        if (qEnvironmentVariableIsSet("CLIPMULE_WRITE_VECTORS")) {
            QFile file(vectorsPath);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QJsonDocument(computed).toJson());
        }
        QFile file(vectorsPath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonObject recorded = QJsonDocument::fromJson(file.readAll()).object();
        QVERIFY(!computed[u"pair"_s].toObject().isEmpty());
        QVERIFY(!computed[u"resume"_s].toObject().isEmpty());
        QCOMPARE(computed, recorded);
    }

    void isProvedByTheFirstMessageThatOpens() {
        Pair pair(PageClient::withCode(counted(1, 32)));
        QVERIFY(!pair.channel.isProved());
        QCOMPARE(pair.channel.kind(), Kind::Pair);
        QCOMPARE(pair.channel.id(), pair.secrets.id);
        QCOMPARE(pair.channel.receive(pair.page.seal("first")).opened, "first"_ba);
        QVERIFY(pair.channel.isProved());
        QCOMPARE(pair.channel.receive(pair.page.seal("second")).opened, "second"_ba);
        QCOMPARE(pair.page.open(pair.channel.seal("one")), "one"_ba);
        QCOMPARE(pair.page.open(pair.channel.seal("two")), "two"_ba);
    }

    void eachConnectionHasKeysOfItsOwn() {
        Pair one;
        Pair two(one.secrets);
        const QByteArray sealed = one.page.seal("first");
        QVERIFY(one.channel.receive(sealed).opened);
        QVERIFY(two.page.shared() != one.page.shared());
        // What was listened to on one connection says nothing on another.
        verifyEnded(two.channel, two.channel.receive(sealed), two.page.seal("first"));
    }

    void anyOtherByteOfAHelloEndsIt() {
        const PageClient::Secrets secrets = resuming();
        const PageClient page(secrets);
        const QByteArray good = page.hello();
        QCOMPARE(good.size(), PageChannel::helloSize);
        for (qsizetype at = 0; at < good.size(); ++at) {
            for (const int flip : {1, 0x80}) {
                QByteArray bad = good;
                bad[at] = char(bad[at] ^ flip);
                PageChannel channel(knows(secrets));
                const PageChannel::Step step = channel.receive(bad);
                QVERIFY2(step.isOver, QByteArray::number(at).constData());
                QVERIFY(!step.opened);
                // An id that nobody has is the one thing that is said.
                const bool isOfId = at >= 2 && at < 18;
                QCOMPARE(step.answer, isOfId ? "\3"_ba : QByteArray());
                const PageChannel::Step after = channel.receive(good);
                QVERIFY(after.isOver && after.answer.isEmpty());
            }
        }
    }

    void aHelloOfAnyOtherLengthEndsIt() {
        const PageClient::Secrets secrets = resuming();
        const QByteArray good = PageClient(secrets).hello();
        for (qsizetype length = 0; length <= 300; ++length) {
            if (length == good.size())
                continue;
            PageChannel channel(knows(secrets));
            verifyEnded(channel, channel.receive((good + QByteArray(300, 'x')).first(length)),
                        good);
        }
    }

    void aKindOpensOnlyItsOwnKeys() {
        PageClient::Secrets secrets = resuming();
        const PageChannel::KeyOf keyOf = knows(secrets);
        secrets.kind = 'P';
        PageChannel channel(keyOf);
        const PageChannel::Step step = channel.receive(PageClient(secrets).hello());
        QVERIFY(step.isOver);
        QCOMPARE(step.answer, "\3"_ba);
    }

    void aPublicKeyThatGivesAwayTheSecretEndsIt() {
        const PageClient::Secrets secrets = resuming();
        // The points of small order: every secret leads from them to nothing.
        QByteArray one(32, '\0');
        one[0] = 1;
        for (const QByteArray &point : {QByteArray(32, '\0'), one}) {
            PageChannel channel(knows(secrets));
            const QByteArray hello = "\1R"_ba + secrets.id + secrets.nonce +
                                     PageClient::box(point, secrets.nonce, secrets.key);
            verifyEnded(channel, channel.receive(hello), PageClient(secrets).hello());
        }
    }

    void anyOtherByteOfAMessageEndsIt() {
        const QByteArray plain = "what was copied";
        for (qsizetype at = 0; at < plain.size() + PageChannel::overhead; ++at) {
            Pair pair;
            QVERIFY(pair.channel.receive(pair.page.seal("first")).opened);
            const QByteArray good = pair.page.seal(plain);
            QByteArray bad = good;
            bad[at] = char(bad[at] ^ 1);
            verifyEnded(pair.channel, pair.channel.receive(bad), good);
        }
    }

    void aMessageThatIsCutOrLengthenedEndsIt() {
        for (const bool isFirst : {true, false}) {
            for (qsizetype length = 0; length <= 40; ++length) {
                Pair pair;
                if (!isFirst)
                    QVERIFY(pair.channel.receive(pair.page.seal("first")).opened);
                const QByteArray good = pair.page.seal("what was");
                if (length == good.size())
                    continue;
                verifyEnded(pair.channel,
                            pair.channel.receive((good + QByteArray(40, 'x')).first(length)), good);
            }
        }
    }

    void aMessageComesOnceAndInItsPlace() {
        Pair replayed;
        const QByteArray first = replayed.page.seal("first");
        QVERIFY(replayed.channel.receive(first).opened);
        verifyEnded(replayed.channel, replayed.channel.receive(first),
                    replayed.page.seal("second"));

        Pair swapped;
        const QByteArray one = swapped.page.seal("one");
        const QByteArray two = swapped.page.seal("two");
        verifyEnded(swapped.channel, swapped.channel.receive(two), one);

        Pair lost;
        QVERIFY(lost.channel.receive(lost.page.seal("one")).opened);
        (void)lost.page.seal("two");
        const QByteArray three = lost.page.seal("three");
        verifyEnded(lost.channel, lost.channel.receive(three), three);
    }

    void ourOwnMessagesAreNoneOfThePage() {
        Pair pair;
        QVERIFY(pair.channel.receive(pair.page.seal("first")).opened);
        QVERIFY(pair.channel.receive(pair.page.seal("second")).opened);
        (void)pair.channel.seal("zero");
        (void)pair.channel.seal("one");
        const QByteArray ours = pair.channel.seal("two");
        verifyEnded(pair.channel, pair.channel.receive(ours), pair.page.seal("third"));
    }

    void manyMessagesCountBeyondAByte() {
        Pair pair;
        for (int number = 0; number < 300; ++number) {
            const QByteArray plain = QByteArray::number(number);
            QCOMPARE(pair.channel.receive(pair.page.seal(plain)).opened, plain);
            QCOMPARE(pair.page.open(pair.channel.seal(plain)), plain);
        }
    }

    void beforeTheProofAMessageIsShort() {
        for (const qsizetype size : {-1, 0, 1}) {
            Pair pair;
            const QByteArray plain(PageChannel::largestUnproved - PageChannel::overhead + size,
                                   'x');
            const PageChannel::Step step = pair.channel.receive(pair.page.seal(plain));
            QCOMPARE(step.isOver, size == 1);
            QCOMPARE(step.opened.has_value(), size != 1);
        }
    }

    void afterTheProofAMessageHasALimit() {
        for (const qsizetype size : {-1, 0, 1}) {
            Pair pair;
            QVERIFY(pair.channel.receive(pair.page.seal("first")).opened);
            const QByteArray plain(PageChannel::largest - PageChannel::overhead + size, 'x');
            const PageChannel::Step step = pair.channel.receive(pair.page.seal(plain));
            QCOMPARE(step.isOver, size == 1);
            QCOMPARE(step.opened.has_value(), size != 1);
        }
    }

    void keysAreComparedAsWholes() {
        const QByteArray bytes = counted(1, 32);
        for (qsizetype at = 0; at < bytes.size(); ++at) {
            QByteArray other = bytes;
            other[at] = char(other[at] ^ 0x40);
            QVERIFY(SecretKey(bytes) != SecretKey(other));
        }
        QVERIFY(SecretKey(bytes) == SecretKey(bytes));
        QVERIFY(!PageKeys::areEqual("ab", "abc"));
    }

    void aKeyIsWipedWhenItGoes() {
        alignas(SecretKey) unsigned char room[sizeof(SecretKey)];
        auto *const key = new (room) SecretKey(counted(1, 32));
        QCOMPARE(QByteArray(reinterpret_cast<char *>(room), 32), counted(1, 32));
        key->~SecretKey();
        volatile const unsigned char *const left = room;
        for (int at = 0; at < 32; ++at)
            QCOMPARE(int(left[at]), 0);
    }
};

QTEST_GUILESS_MAIN(PageChannelTest)
#include "tst_pagechannel.moc"
